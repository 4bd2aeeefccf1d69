#pragma once
// A row of the table of supported cameras.

#include <string>

namespace zlk {

/// Describes a kind of camera or of pass-through device, and how it is recognised on USB and as a
/// volume.
class CCamInfo {
  public:
    virtual ~CCamInfo() = default;

    std::u16string MSDC_vendID;          ///< vendor that its volume reports, upper case
    std::u16string MSDC_prodID;          ///< product that its volume reports, upper case
    std::u16string MSDC_prodID_alt;      ///< another product that its volume may report, upper case
    std::u16string Cam_protocol;         ///< protocol on USB, such as "PTP", upper case
    std::u16string Cam_pnpID;            ///< `VID_xxxx&PID_xxxx`, upper case
    bool AbilityToConsumeIntent = true;  ///< print order and intent may be deleted on the camera
    bool SwiftPostSupport = false;       ///< supports the share menu
    bool builtIn = false;                ///< the row isn't from the settings
    bool valid = false;                  ///< false in the result of a search that found nothing
    bool PreCueCamera = false;
    bool Monitor = true;
    std::u16string FriendlyName;
    std::u16string contextId;            ///< id of the kind, always with the serial number 0000
    std::u16string DevType = u"Camera";  ///< CAMERA, PASSTHRU or PASSTHRU2
    std::u16string Model;
    std::u16string
        PassThruProductClass;  ///< class of the ids that stand for this pass-through device

    bool isPtp() const;
    bool isCamera() const;
    /// Whether this is taken for a model of another maker, which may deviate from the built-in
    /// models in unknown ways.
    bool isOtherMakers() const { return !builtIn && !SwiftPostSupport; }
    bool isPassThru() const;  ///< whether a camera can be plugged into this device
};

}  // namespace zlk
