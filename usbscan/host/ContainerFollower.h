#pragma once
// Finds out where one PTP container ends and the next begins in what a device sends (USB still
// image class, bulk containers). A container with a wrong length can't make this code read out of
// bounds or allocate memory.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "usbscan/Protocol.h"

namespace zlk::usbscan {

enum class ContainerType : std::uint16_t { Command = 1, Data = 2, Response = 3 };

/// Fields of a container's header, of which `container` must hold all 12 bytes.
std::uint32_t containerLength(std::span<const std::byte> container);
ContainerType containerType(std::span<const std::byte> container);
std::uint16_t containerCode(std::span<const std::byte> container);
std::uint32_t containerTransaction(std::span<const std::byte> container);
/// Whether the bytes, of which there may be any number, are exactly one response.
bool isWholeResponse(std::span<const std::byte> bytes);

/// A part of what came, which belongs to one container and one transfer. A cut without bytes stands
/// for a zero-length packet.
struct ContainerCut {
    std::span<const std::byte> bytes;  ///< none for a zero-length packet
    /// The bytes are those of a header that began in an earlier piece. They are in the follower's
    /// own memory and valid until the next call of follow().
    bool isHeld = false;
    /// The container is complete and fills its packets, so its reader looks for a zero-length
    /// packet.
    bool zeroPacketDue = false;
    std::uint64_t container = 0;  ///< size of the container so far, this cut included
    bool endsContainer = false;   ///< the container is complete
    bool endsData = false;        ///< the container is a complete data phase; a response follows
    bool endsResponse = false;    ///< the container is the complete response to the transaction
};

class ContainerFollower {
  public:
    /// `packetSize`: bytes in a packet of the bulk-in pipe.
    explicit ContainerFollower(std::uint16_t packetSize) noexcept : packetSize_(packetSize) {}

    /// Begins anew with the answer to this transaction. `first` is how many bytes are due until the
    /// answer's header is known.
    void reset(std::uint32_t transaction, std::uint64_t first = dueOfUnknown) noexcept;
    /// Splits the next bytes of a transfer, and appends the cuts. `endsTransfer`: the last packet
    /// of the bytes is short, or a zero-length packet followed them.
    void follow(std::span<const std::byte> bytes, bool endsTransfer,
                std::vector<ContainerCut>& cuts);
    /// How many bytes may be asked for without reading beyond the container under way. If its
    /// header isn't known yet, or if only the transfer's end shows where it ends, the result is the
    /// `first` of reset(), or dueOfUnknown once a container has ended.
    std::uint64_t due() const noexcept;

    /// Bytes; a small data phase and a response fit.
    static constexpr std::uint64_t dueOfUnknown = 16 * 1024;

  private:
    /// Appends bytes to the header, and computes `missing_` once it is complete.
    void takeHead(std::span<const std::byte> bytes) noexcept;
    /// Fills in what the cut says about its container, and appends the cut.
    void append(ContainerCut cut, std::vector<ContainerCut>& cuts);
    /// Takes those of the bytes that belong to the container under way, and returns how many.
    std::size_t take(std::span<const std::byte> bytes) noexcept;
    bool headIsWhole() const noexcept { return headSize_ == containerHeaderSize; }
    /// Whether the container under way is the response to the transaction.
    bool isAnswer() const noexcept;
    void forgetContainer() noexcept;

    const std::uint16_t packetSize_;
    std::uint32_t transaction_ = 0;
    std::uint64_t first_ = dueOfUnknown;  // bytes due while no header is known
    std::array<std::byte, containerHeaderSize> head_{};
    std::size_t headSize_ = 0;  // bytes of the header that have come
    bool isHeld_ = false;       // the header is incomplete, and its bytes aren't handed out yet
    std::array<std::byte, containerHeaderSize> held_{};  // bytes of the last cut with `isHeld`
    std::uint64_t container_ = 0;                        // bytes of the container under way
    std::uint64_t missing_ = 0;   // bytes to come; toTheTransfersEnd for an unusable length
    std::uint64_t transfer_ = 0;  // bytes of the transfer under way
};

}  // namespace zlk::usbscan
