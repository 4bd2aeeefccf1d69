#pragma once
#include <string>

namespace zlk {

/// One row of the supported camera table: a kind of camera, and how it is told from others.
class CCamInfo {
  public:
    virtual ~CCamInfo() = default;

    std::u16string MSDC_vendID;      ///< vendor that its volume reports, upper case
    std::u16string MSDC_prodID;      ///< product that its volume reports, upper case
    std::u16string MSDC_prodID_alt;  ///< a second product of the same row
    std::u16string Cam_protocol;     ///< of its USB interface, upper case: "PTP"
    std::u16string Cam_pnpID;        ///< `VID_xxxx&PID_xxxx`, upper case
    bool AbilityToConsumeIntent = true;
    bool SwiftPostSupport = false;  ///< takes the share menu
    bool builtIn = false;           ///< no row of the settings
    bool valid = false;             ///< passed validation; a look-up that found nothing gives false
    bool PreCueCamera = false;
    bool Monitor = true;
    std::u16string FriendlyName;
    std::u16string contextId;  ///< always with the serial 0000
    std::u16string DevType = u"Camera";
    std::u16string Model;
    std::u16string
        PassThruProductClass;  ///< class of the ids that stand for this pass-through device

    bool isPtp() const;
    bool isCamera() const;
    /// Nobody knows how it differs from the maker's own models.
    bool isOtherMakers() const { return !builtIn && !SwiftPostSupport; }
    bool isPassThru() const;  ///< "PASSTHRU" and "PASSTHRU2"
};

}  // namespace zlk
