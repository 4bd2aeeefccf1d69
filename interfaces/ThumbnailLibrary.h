#pragma once
// The thumbnail library's only entry point, which callers look up by name after loading the module.

#include "platform/types.h"

inline constexpr WCHAR thumbnailLibraryName[] = u"zlkthbg2.DLL";
inline constexpr char thumbnailEntryPoint[] = "ZLGenerateThumbnailCompressedBufferInForeGround";

/// Makes a JPEG of at most `width` x `height` pixels (each 1 to 1024; more counts as 1024) from the
/// picture at `path` (a buffer of 260 units, terminated), or from a stock picture where that one
/// can't be decoded. May be called on any thread. `flags` is 0. *buffer and *size, in bytes, stay
/// the library's and are valid until the next call on the same thread; *second is always 0. Returns
/// 0 on success, else one of the numbers below; *extendedError is then a last error that says more,
/// or 0.
using ThumbnailEntryPoint = std::int32_t (*)(WCHAR* path, std::int32_t width, std::int32_t height,
                                             std::int32_t flags, BYTE** buffer, DWORD* size,
                                             std::int32_t* second, std::int32_t* extendedError);
inline constexpr std::int32_t thumbnailErrorUnknown = 4;    ///< a bad argument or unreadable file
inline constexpr std::int32_t thumbnailErrorImlFailed = 6;  ///< the picture couldn't be encoded
