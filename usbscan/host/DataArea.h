#pragma once
// Memory that a host shares with one client, for large pieces of data: the host copies one in, the
// client out, and the kernel neither.

#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include "usbscan/Protocol.h"

namespace zlk::usbscan {

class DataArea {
  public:
    DataArea() = default;
    ~DataArea();
    DataArea(const DataArea&) = delete;
    DataArea& operator=(const DataArea&) = delete;

    /// False where there is no memory for it.
    bool make();
    bool exists() const noexcept { return bytes_ != nullptr; }
    /// To be sent to the client. Its size is fixed for good.
    int descriptor() const noexcept { return descriptor_; }

    /// A slot for these bytes, and the bytes in it; none if all are taken or it is too small.
    std::optional<std::uint32_t> put(std::span<const std::byte> bytes);
    /// The client has read it. False if there was nothing in it.
    bool free(std::uint32_t slot);

  private:
    int descriptor_ = -1;
    std::byte* bytes_ = nullptr;
    std::array<bool, areaSlots> taken_{};
};

}  // namespace zlk::usbscan
