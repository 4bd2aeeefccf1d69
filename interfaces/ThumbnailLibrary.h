#pragma once
// The one entry point of the thumbnail library, found by name in its module.

#include "platform/types.h"

inline constexpr WCHAR thumbnailLibraryName[] = u"zlkthbg2.DLL";
inline constexpr char thumbnailEntryPoint[] = "ZLGenerateThumbnailCompressedBufferInForeGround";

/// Makes a JPEG of at most `width` x `height` from the picture at `path` (a buffer of 260 units,
/// terminated), or gives the stock picture for what it can't read. `flags` is 0. *buffer stays in
/// the library's keeping until the next call on the same thread. *second is not used.
/// 0 on success; 4: unknown error, 6: no picture library; *extendedError says more.
using ThumbnailEntryPoint = std::int32_t (*)(WCHAR* path, std::int32_t width, std::int32_t height,
                                             std::int32_t flags, BYTE** buffer, DWORD* size,
                                             std::int32_t* second, std::int32_t* extendedError);
inline constexpr std::int32_t thumbnailErrorUnknown = 4;
inline constexpr std::int32_t thumbnailErrorImlFailed = 6;
