#include "ptp/PtpDataStream.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace zlk {
namespace {

constexpr std::uint32_t longestString = 254;  // units; with the terminator, 255, the largest count

}  // namespace

PtpDataStream::PtpDataStream(std::uint16_t size) : buffer_(allocate(size)) {
    if (buffer_) size_ = size;
}

/// Even a block of size 0 has one byte, so that null only means a lack of memory.
PtpDataStream::Block PtpDataStream::allocate(std::uint32_t size) {
    return Block(static_cast<std::uint8_t*>(std::calloc(std::max(size, 1u), 1)));
}

void PtpDataStream::clear() {
    // All bytes from `written_` on are zeros already, so a small container costs little in a large
    // block.
    if (written_ > 0) std::memset(buffer_.get(), 0, written_);
    written_ = 0;
    end_ = noEnd;
}

std::uint8_t* PtpDataStream::place(std::uint32_t at, std::uint32_t length) {
    if (at > size_ || length > size_ - at) throw PTP_GENERAL_ERROR;
    written_ = std::max(written_, at + length);
    return buffer_.get() + at;
}

void PtpDataStream::replace(Block block, std::uint32_t size) {
    if (!block) throw PTP_OUT_OF_MEMORY;
    if (buffer_) std::memcpy(block.get(), buffer_.get(), std::min(size, size_));
    buffer_ = std::move(block);
    size_ = size;
    written_ = std::min(written_, size);
}

void PtpDataStream::resize(std::uint32_t size) {
    replace(allocate(size), size);
}

void PtpDataStream::makeRoom(std::uint32_t size) {
    if (size <= size_) return;
    replace(Block(static_cast<std::uint8_t*>(std::malloc(size))), size);
    // The new bytes aren't zeros, so they count as written.
    written_ = size;
}

std::uint64_t PtpDataStream::read(std::uint32_t width) {
    if (!hasRoom(width, std::min(size_, end_))) throw PTP_GENERAL_ERROR;
    std::uint64_t value = 0;
    for (std::uint32_t i = 0; i < width; ++i)
        value |= std::uint64_t{buffer_[cursor_ + i]} << (8 * i);
    cursor_ += width;
    return value;
}

void PtpDataStream::growFor(std::uint32_t width) {
    if (std::uint64_t{cursor_} + width >= size_) resize(size_ + size_ / 2);
}

void PtpDataStream::write(std::uint32_t value, std::uint32_t width) {
    if (width > 1) growFor(width);
    if (!hasRoom(width, size_)) throw PTP_GENERAL_ERROR;
    std::uint8_t* const bytes = place(cursor_, width);
    for (std::uint32_t i = 0; i < width; ++i)
        bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
    cursor_ += width;
}

wString PtpDataStream::readString() {
    // The camera left this text out.
    if (cursor_ == end_) return {};
    const std::uint32_t count = readByte();
    // A count in one byte can't exceed this array.
    std::array<WCHAR, 255> units;
    for (std::uint32_t i = 0; i < count; ++i) units[i] = readU16();
    const std::u16string_view all(units.data(), count);
    return wString(all.substr(0, all.find(u'\0')));
}

void PtpDataStream::readU16Array(std::vector<std::uint16_t>& target) {
    // If the count is too large, the first read beyond the end throws, so no more elements are kept
    // than have come.
    for (std::uint32_t count = readU32(); count > 0; --count)
        if (const std::uint16_t element = readU16()) target.push_back(element);
}

void PtpDataStream::readU32Array(std::vector<std::uint32_t>& target) {
    for (std::uint32_t count = readU32(); count > 0; --count)
        if (const std::uint32_t element = readU32()) target.push_back(element);
}

void PtpDataStream::writeString(const wString& string) {
    if (string.length == 0) return writeByte(0);
    if (string.length > longestString) throw PTP_GENERAL_ERROR;
    writeByte(static_cast<std::uint8_t>(string.length + 1));
    for (std::uint32_t i = 0; i < string.length; ++i) writeU16(string.charAt(i));
    writeU16(0);
}

}  // namespace zlk
