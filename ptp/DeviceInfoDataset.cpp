#include "ptp/DeviceInfoDataset.h"

namespace zlk {

DeviceInfoDataset::DeviceInfoDataset(PtpDataStream& stream) {
    StandardVersion = stream.readU16();
    VendorExtensionID = stream.readU32();
    VendorExtensionVersion = stream.readU16();
    VendorExtensionDesc.assign(stream.readString());
    FunctionalMode = stream.readU16();
    stream.readU16Array(OperationsSupported);
    stream.readU16Array(EventsSupported);
    stream.readU16Array(DevicePropertiesSupported);
    stream.readU16Array(CaptureFormats);
    stream.readU16Array(ImageFormats);
    Manufacturer.assign(stream.readString());
    Model.assign(stream.readString());
    DeviceVersion.assign(stream.readString());
    SerialNumber.assign(stream.readString());
}

}  // namespace zlk
