#pragma once
// Names of the small files by which a camera and this system communicate. On a volume they are in
// the folder MISC below the root; on a PTP camera they are found by their names.

#include "platform/types.h"

namespace zlk::specialFiles {

inline constexpr WCHAR folder[] = u"MISC";             ///< on volumes only
inline constexpr std::uint16_t scriptFormat = 0x3002;  ///< the object format of the XML files

inline constexpr WCHAR printOrder[] = u"AUTPRINT.MRK";    ///< DPOF
inline constexpr WCHAR intent[] = u"INTENT.XML";          ///< what is to be done with the pictures
inline constexpr WCHAR shareRequest[] = u"CNFSHARE.XML";  ///< exists if a share menu is requested
inline constexpr WCHAR shareOld[] = u"SHAREOLD.XML";      ///< the share menu that the camera has
inline constexpr WCHAR shareNew[] = u"SHARENEW.XML";      ///< the share menu that we send
inline constexpr WCHAR tagRequest[] = u"CNFTAG.XML";      ///< exists if a tag list is requested
inline constexpr WCHAR tagOld[] = u"TAGOLD.XML";          ///< the tag list that the camera has
inline constexpr WCHAR tagNew[] = u"TAGNEW.XML";          ///< the tag list that we send
inline constexpr WCHAR deviceId[] = u"DEVICEID.XML";
inline constexpr WCHAR diagnostics[] = u"DIAGNOSTICS.XML";
inline constexpr WCHAR message[] = u"CAMCODE.XML";  ///< a camera message that we send

}  // namespace zlk::specialFiles
