#pragma once
// Memory that a host shares with one client for large pieces of data: the host copies a piece in
// and the client copies it out, without the kernel copying it through the socket.

#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include "platform/descriptor.h"
#include "usbscan/Protocol.h"

namespace zlk::usbscan {

class DataArea {
  public:
    DataArea() = default;
    ~DataArea();
    DataArea(const DataArea&) = delete;
    DataArea& operator=(const DataArea&) = delete;

    /// Makes and maps the memory. False if that fails.
    bool make();
    bool exists() const noexcept { return bytes_ != nullptr; }
    /// The memory's descriptor, to be sent to the client; it stays the area's. The memory's size is
    /// sealed.
    int descriptor() const noexcept { return memory_.get(); }

    /// Copies the bytes into a free slot and returns its number; none if no slot is free, or if the
    /// bytes don't fit.
    std::optional<std::uint32_t> put(std::span<const std::byte> bytes);
    /// To be called when the client has read the slot. False if the slot wasn't taken.
    bool free(std::uint32_t slot);

  private:
    Descriptor memory_;
    std::byte* bytes_ = nullptr;
    std::array<bool, areaSlots> taken_{};
};

}  // namespace zlk::usbscan
