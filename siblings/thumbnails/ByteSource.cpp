#include "siblings/thumbnails/ByteSource.h"

namespace zlk {
namespace {

// Bytes. Cameras put their EXIF block first, and it has at most 64 KB. The rest is room for blocks
// that other programs put before it.
constexpr std::size_t headSize = 128 * 1024;

}  // namespace

FileSource::FileSource(const WCHAR* path)
    : file_(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (!file_) {
        error_ = GetLastError();
        return;
    }
    head_.resize(headSize);
    head_.resize(readFile(head_));
    headRest_ = MemorySource(head_);
}

std::size_t FileSource::read(std::span<BYTE> room) noexcept {
    const std::size_t fromHead = headRest_.read(room);
    return fromHead > 0 ? fromHead : readFile(room);
}

std::size_t FileSource::readFile(std::span<BYTE> room) noexcept {
    DWORD count = 0;
    if (error_ != ERROR_SUCCESS) return 0;
    if (!ReadFile(file_.get(), room.data(), static_cast<DWORD>(room.size()), &count, nullptr)) {
        error_ = GetLastError();
        return 0;
    }
    return count;
}

}  // namespace zlk
