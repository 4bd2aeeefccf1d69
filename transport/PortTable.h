#pragma once
// The port tables that all processes share, as their bytes lie in a named section.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/named_objects.h"
#include "platform/usbscan.h"

namespace zlk {

/// An entry of the table that this system makes.
struct CameraPortEntry {
    char port[20];        ///< zero-terminated
    char mutexName[128];  ///< zero-terminated
    std::uint32_t transactionID;
    std::uint16_t refCount;
    std::uint8_t unused[2];
} __attribute__((packed));
static_assert(sizeof(CameraPortEntry) == 156);

/// A count in one byte, and the entries, packed behind it. Any process can scribble over it, so
/// the count is believed only as far as the section reaches.
template <class Entry>
class PortTable {
  public:
    /// `view` is one of MapViewOfFile, `size` what the table has by its format; a peer's section
    /// may be shorter.
    PortTable(void* view, std::size_t size) noexcept : bytes_(static_cast<std::uint8_t*>(view)) {
        const std::size_t real = std::min(size, viewSize(view));
        capacity_ = real > 1 ? (real - 1) / sizeof(Entry) : 0;
    }

    std::size_t capacity() const noexcept { return capacity_; }
    std::size_t count() const noexcept {
        return capacity_ == 0 ? 0 : std::min<std::size_t>(bytes_[0], capacity_);
    }
    void setCount(std::size_t count) noexcept { bytes_[0] = static_cast<std::uint8_t>(count); }

    Entry* begin() const noexcept { return reinterpret_cast<Entry*>(bytes_ + 1); }
    Entry* end() const noexcept { return begin() + count(); }

    /// The first entry whose port begins with `port`, in any case; null if there is none. That
    /// `\\.\Usbscan1` finds `\\.\Usbscan10` is what peers do too, and all have to agree.
    Entry* find(std::string_view port) const noexcept {
        for (Entry& entry : *this)
            if (port.size() <= sizeof entry.port &&
                std::equal(port.begin(), port.end(), entry.port,
                           [](char a, char b) { return lower(a) == lower(b); }))
                return &entry;
        return nullptr;
    }

  private:
    static char lower(char c) noexcept {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }

    std::uint8_t* bytes_;
    std::size_t capacity_ = 0;
};

}  // namespace zlk
