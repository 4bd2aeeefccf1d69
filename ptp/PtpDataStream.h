#pragma once
// The bytes of containers and datasets, as they are built and taken apart.

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
/// What a camera sends is never trusted: a read behind the block, or behind the end of what was
/// received, raises PTP_GENERAL_ERROR; a count of elements allocates no more than there are of
/// them; a text without a terminator ends at its count. A write that the growth below doesn't make
/// room for raises the same.
class PtpDataStream {
  public:
    PtpDataStream() = default;
    /// If the memory can't be had, the size stays 0 and nothing is raised.
    explicit PtpDataStream(std::uint16_t size);
    PtpDataStream(const PtpDataStream&) = delete;
    PtpDataStream& operator=(const PtpDataStream&) = delete;
    virtual ~PtpDataStream() = default;

    /// Fills the whole block with zeros; the cursor stays, and reads go to the end of the block.
    /// Costs what has been written since.
    void clear();
    /// Reads go no further than this. A text that would begin there is empty: cameras leave the
    /// last ones of a dataset out.
    void endReadsAt(std::uint32_t end) { end_ = end; }
    const std::uint8_t* data() const { return buffer_.get(); }
    /// A place for somebody else to write to; PTP_GENERAL_ERROR if it isn't inside the block.
    std::uint8_t* place(std::uint32_t at, std::uint32_t length);
    std::uint32_t size() const { return size_; }
    std::uint32_t cursor() const { return cursor_; }
    /// Anywhere, behind the block too.
    void setCursor(std::uint32_t position) { cursor_ = position; }
    /// Keeps the bytes that fit, and the cursor; new ones are zeros. PTP_OUT_OF_MEMORY, with the
    /// block as before.
    void resize(std::uint32_t size);
    /// Grows to that size, for bytes that are about to be received: the new ones hold anything
    /// until then, since writing a large block twice costs as much as receiving it.
    void makeRoom(std::uint32_t size);

    std::uint8_t readByte() { return static_cast<std::uint8_t>(read(1)); }
    std::uint16_t readU16() { return static_cast<std::uint16_t>(read(2)); }
    std::uint32_t readU32() { return static_cast<std::uint32_t>(read(4)); }
    std::uint64_t readU64() { return read(8); }
    /// A PTP string: a count of units in a byte, and the units. It ends at the first zero.
    wString readString();
    /// A PTP array: a count in 32 bits, and the elements, appended to `target`. An element of
    /// value 0 is left out.
    void readU16Array(std::vector<std::uint16_t>& target);
    void readU32Array(std::vector<std::uint32_t>& target);

    /// Doesn't make the block grow.
    void writeByte(std::uint8_t value) { write(value, 1); }
    void writeU16(std::uint16_t value) { write(value, 2); }
    void writeU32(std::uint32_t value) { write(value, 4); }
    /// PTP_GENERAL_ERROR above 254 units, which the count can't express.
    void writeString(const wString& string);

  private:
    struct Free {
        void operator()(std::uint8_t* block) const noexcept { std::free(block); }
    };
    static constexpr std::uint32_t noEnd = 0xFFFFFFFF;
    using Block = std::unique_ptr<std::uint8_t[], Free>;

    static Block allocate(std::uint32_t size);
    void replace(Block block, std::uint32_t size);
    /// Whether that much lies between the cursor and `end`.
    bool hasRoom(std::uint32_t width, std::uint32_t end) const {
        return cursor_ < end && end - cursor_ >= width;
    }
    std::uint64_t read(std::uint32_t width);
    void write(std::uint32_t value, std::uint32_t width);
    /// One step, and not always enough: the blocks are sized for what is written into them.
    void growFor(std::uint32_t width);

    Block buffer_;
    std::uint32_t cursor_ = 0;
    std::uint32_t size_ = 0;
    std::uint32_t written_ = 0;  // zeros behind
    std::uint32_t end_ = noEnd;
};

}  // namespace zlk
