#pragma once
// Where one PTP container ends and the next begins (USB still image class, bulk containers). A
// container's length splits what came; it bounds nothing and allocates nothing.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zlk::usbscan {

inline constexpr std::size_t containerHeaderSize = 12;
enum class ContainerType : std::uint16_t { Command = 1, Data = 2, Response = 3 };

/// A container's head; the bytes must be there.
std::uint32_t containerLength(std::span<const std::byte> container);
ContainerType containerType(std::span<const std::byte> container);
std::uint16_t containerCode(std::span<const std::byte> container);
std::uint32_t containerTransaction(std::span<const std::byte> container);
/// Any bytes: whether they are a response from its first byte to its last.
bool isWholeResponse(std::span<const std::byte> bytes);

/// A part of what came: bytes of one container and one transfer.
struct ContainerCut {
    std::span<const std::byte> bytes;  ///< none for a zero-length packet
    /// They came with the piece before, in part, and stay where they are until the next call.
    bool isHeld = false;
    /// The container is whole and fills its packets: its reader looks for a packet of no bytes
    /// behind it.
    bool zeroPacketDue = false;
    std::uint64_t container = 0;  ///< bytes of the container so far, these included
    bool endsContainer = false;   ///< it is whole
    bool endsData = false;        ///< and it is a data phase, after which a response comes
    bool endsResponse = false;    ///< and it answers the transaction
};

class ContainerFollower {
  public:
    explicit ContainerFollower(std::uint16_t packetSize) noexcept : packetSize_(packetSize) {}

    /// Begins anew, with a container and with a transfer, in the answer to this transaction.
    /// `first`: the bytes that are due until the answer's head is known.
    void reset(std::uint32_t transaction, std::uint64_t first = dueOfUnknown) noexcept;
    /// Appends the cuts of the next bytes of a transfer.
    void follow(std::span<const std::byte> bytes, bool endsTransfer,
                std::vector<ContainerCut>& cuts);
    /// How many bytes may be asked for without going beyond the container that is under way. Of
    /// one that has yet to begin, or whose end only a short packet shows, a buffer full.
    std::uint64_t due() const noexcept;

    /// A response and a small data phase fit.
    static constexpr std::uint64_t dueOfUnknown = 16 * 1024;

  private:
    void takeHead(std::span<const std::byte> bytes) noexcept;
    void append(ContainerCut cut, std::vector<ContainerCut>& cuts);
    /// How many of the bytes belong to the container that is under way.
    std::size_t take(std::span<const std::byte> bytes) noexcept;
    bool headIsWhole() const noexcept { return headSize_ == containerHeaderSize; }
    bool isAnswer() const noexcept;
    void forgetContainer() noexcept;

    const std::uint16_t packetSize_;
    std::uint32_t transaction_ = 0;
    std::uint64_t first_ = dueOfUnknown;
    std::array<std::byte, containerHeaderSize> head_{};
    std::size_t headSize_ = 0;
    bool isHeld_ = false;  // what there is of the head hasn't been given out
    std::array<std::byte, containerHeaderSize> held_{};
    std::uint64_t container_ = 0;  // bytes of the one under way
    std::uint64_t missing_ = 0;   // behind the head; of a length that can't be, all of the transfer
    std::uint64_t transfer_ = 0;  // bytes of the transfer under way
};

}  // namespace zlk::usbscan
