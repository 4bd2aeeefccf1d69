#include "directory/CCamInfo.h"

#include "platform/text.h"

namespace zlk {

bool CCamInfo::isPtp() const {
    return equalIgnoringCase(Cam_protocol, u"PTP");
}

bool CCamInfo::isCamera() const {
    return equalIgnoringCase(DevType, u"CAMERA");
}

bool CCamInfo::isPassThru() const {
    // Two types begin like this; CDeviceUtilFunctions tells them apart.
    constexpr std::u16string_view front = u"PASSTHRU";
    return equalIgnoringCase(std::u16string_view(DevType).substr(0, front.size()), front);
}

}  // namespace zlk
