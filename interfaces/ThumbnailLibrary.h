#pragma once
// The thumbnail library's only entry point, which callers look up by name after loading the module.

#include "platform/types.h"

inline constexpr WCHAR thumbnailLibraryName[] = u"zlkthbg2.DLL";
inline constexpr char thumbnailEntryPoint[] = "ZLGenerateThumbnailCompressedBufferInForeGround";

/// Makes a JPEG of at most `width` x `height` pixels from the picture at `path` (a buffer of 260
/// units, terminated), or from a stock picture if the picture can't be decoded. Width and height
/// must be at least 1; more than 1024 counts as 1024. May be called on any thread. `flags` is 0.
///
/// *buffer receives the JPEG, which stays the library's and is valid until the next call on the
/// same thread. *size receives the JPEG's length in bytes, and *second always 0. Returns 0 on
/// success, else one of the numbers below; *extendedError is then a last error that says more, or
/// 0.
using ThumbnailEntryPoint = std::int32_t (*)(WCHAR* path, std::int32_t width, std::int32_t height,
                                             std::int32_t flags, BYTE** buffer, DWORD* size,
                                             std::int32_t* second, std::int32_t* extendedError);
inline constexpr std::int32_t thumbnailErrorUnknown = 4;    ///< a bad argument or file, no memory
inline constexpr std::int32_t thumbnailErrorImlFailed = 6;  ///< the picture couldn't be encoded
