#pragma once
// The bytes of containers and datasets, while they are built or taken apart.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/types.h"
#include "ptp/PTPCommErrors.h"
#include "ptp/wString.h"

namespace zlk {

/// A block of bytes with one cursor for reading and writing; all values are little-endian.
///
/// What a camera sends is never trusted. A read beyond the block, or beyond the end of what was
/// received, throws PTP_GENERAL_ERROR, except for a text that was left out (see endReadsAt()). A
/// count of elements doesn't allocate memory before the elements are read. A text without a
/// terminator ends at its count. A write throws PTP_GENERAL_ERROR if the block is too small and
/// doesn't grow enough, and PTP_OUT_OF_MEMORY if there is no memory for it to grow.
///
/// A stream is for one thread.
class PtpDataStream {
  public:
    PtpDataStream() = default;
    /// A block of `size` zeros. If there is no memory, the size stays 0 and nothing is thrown.
    explicit PtpDataStream(std::uint16_t size);
    PtpDataStream(const PtpDataStream&) = delete;
    PtpDataStream& operator=(const PtpDataStream&) = delete;
    virtual ~PtpDataStream() = default;

    /// Fills the block with zeros, and lets reads go to its end. The cursor stays.
    void clear();
    /// Lets reads go no further than `end`. A text that would begin exactly there reads as empty,
    /// since cameras leave out the last texts of a dataset.
    void endReadsAt(std::uint32_t end) { end_ = end; }
    const std::uint8_t* data() const { return buffer_.get(); }
    /// A place in the block that the caller may write to directly. Throws PTP_GENERAL_ERROR if it
    /// isn't inside the block. Valid until resize() is called or the block grows.
    std::uint8_t* place(std::uint32_t at, std::uint32_t length);
    std::uint32_t size() const { return size_; }
    std::uint32_t cursor() const { return cursor_; }
    /// Any position is allowed, even one beyond the block.
    void setCursor(std::uint32_t position) { cursor_ = position; }
    /// Keeps the bytes that fit, and the cursor; new bytes are zeros. Throws PTP_OUT_OF_MEMORY, in
    /// which case the block is unchanged.
    void resize(std::uint32_t size);
    /// Grows to `size` bytes, unless the block is that large already. The new bytes are undefined,
    /// since they are about to be received. Throws PTP_OUT_OF_MEMORY.
    void makeRoom(std::uint32_t size);

    std::uint8_t readByte() { return static_cast<std::uint8_t>(read(1)); }
    std::uint16_t readU16() { return static_cast<std::uint16_t>(read(2)); }
    std::uint32_t readU32() { return static_cast<std::uint32_t>(read(4)); }
    std::uint64_t readU64() { return read(8); }
    /// Reads a PTP string: a count of UTF-16 units in one byte, and the units. The text ends at the
    /// first zero.
    wString readString();
    /// Reads a PTP array, a count in 32 bits and the elements, and appends it to `target`. Elements
    /// of value 0 are left out.
    void readU16Array(std::vector<std::uint16_t>& target);
    void readU32Array(std::vector<std::uint32_t>& target);

    /// Unlike the other writes, this one never makes the block grow.
    void writeByte(std::uint8_t value) { write(value, 1); }
    void writeU16(std::uint16_t value) { write(value, 2); }
    void writeU32(std::uint32_t value) { write(value, 4); }
    /// Throws PTP_GENERAL_ERROR for more than 254 units, which the count can't express.
    void writeString(const wString& string);

  private:
    struct Free {
        void operator()(std::uint8_t* block) const noexcept { std::free(block); }
    };
    static constexpr std::uint32_t noEnd = 0xFFFFFFFF;
    using Block = std::unique_ptr<std::uint8_t[], Free>;

    /// A block of zeros; null if there is no memory.
    static Block allocate(std::uint32_t size);
    /// Moves the bytes to `block`, of `size` bytes. Throws PTP_OUT_OF_MEMORY if `block` is null.
    void replace(Block block, std::uint32_t size);
    /// Whether at least `width` bytes lie between the cursor and `end`.
    bool hasRoom(std::uint32_t width, std::uint32_t end) const {
        return cursor_ < end && end - cursor_ >= width;
    }
    std::uint64_t read(std::uint32_t width);
    void write(std::uint32_t value, std::uint32_t width);
    /// Grows by half if a write of `width` bytes would reach the block's end. For a block of a few
    /// bytes this may not be enough.
    void growFor(std::uint32_t width);

    Block buffer_;
    std::uint32_t cursor_ = 0;
    std::uint32_t size_ = 0;
    std::uint32_t written_ = 0;  // all bytes from here on are zeros
    std::uint32_t end_ = noEnd;  // reads end here
};

}  // namespace zlk
