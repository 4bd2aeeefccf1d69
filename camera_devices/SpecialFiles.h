#pragma once
// The small files by which a camera and this system talk to each other. On a volume they lie in
// the folder MISC below the root; on a PTP camera they are found by their names.

#include "platform/types.h"

namespace zlk::specialFiles {

inline constexpr WCHAR folder[] = u"MISC";             ///< on volumes only
inline constexpr std::uint16_t scriptFormat = 0x3002;  ///< on PTP cameras, of those in XML

inline constexpr WCHAR printOrder[] = u"AUTPRINT.MRK";    ///< DPOF; the camera's, we may delete it
inline constexpr WCHAR intent[] = u"INTENT.XML";          ///< the camera's, deleted when consumed
inline constexpr WCHAR shareRequest[] = u"CNFSHARE.XML";  ///< its presence asks for a share menu
inline constexpr WCHAR shareOld[] = u"SHAREOLD.XML";      ///< the share menu that the camera holds
inline constexpr WCHAR shareNew[] = u"SHARENEW.XML";      ///< the one that we send
inline constexpr WCHAR tagRequest[] = u"CNFTAG.XML";      ///< its presence asks for a tag list
inline constexpr WCHAR tagOld[] = u"TAGOLD.XML";          ///< the tag list that the camera holds
inline constexpr WCHAR tagNew[] = u"TAGNEW.XML";          ///< the one that we send
inline constexpr WCHAR deviceId[] = u"DEVICEID.XML";
inline constexpr WCHAR diagnostics[] = u"DIAGNOSTICS.XML";
inline constexpr WCHAR message[] = u"CAMCODE.XML";  ///< a camera message that we send

}  // namespace zlk::specialFiles
