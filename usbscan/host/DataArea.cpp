#include "usbscan/host/DataArea.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace zlk::usbscan {

DataArea::~DataArea() {
    if (bytes_) ::munmap(bytes_, areaSize);
}

bool DataArea::make() {
    Descriptor memory(::memfd_create("zlk-usbscan", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    // The size is sealed: if one process truncated the memory, another that uses it would be killed
    // with SIGBUS.
    if (!memory || ::ftruncate(memory.get(), areaSize) != 0 ||
        ::fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
        return false;
    void* const mapped =
        ::mmap(nullptr, areaSize, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0);
    if (mapped == MAP_FAILED) return false;
    bytes_ = static_cast<std::byte*>(mapped);
    memory_ = std::move(memory);
    return true;
}

std::optional<std::uint32_t> DataArea::put(std::span<const std::byte> bytes) {
    const auto slot = std::find(taken_.begin(), taken_.end(), false);
    if (!exists() || slot == taken_.end() || bytes.size() > areaSlotSize) return std::nullopt;
    *slot = true;
    const auto number = static_cast<std::uint32_t>(slot - taken_.begin());
    std::copy(bytes.begin(), bytes.end(), bytes_ + std::size_t{number} * areaSlotSize);
    return number;
}

bool DataArea::free(std::uint32_t slot) {
    if (slot >= taken_.size() || !taken_[slot]) return false;
    taken_[slot] = false;
    return true;
}

}  // namespace zlk::usbscan
