#pragma once
// The tables of ports that processes share in named sections, one for each driver family. Arbiters
// enter ports in the first family's table; the driver enters attached cameras in the second
// family's. Each entry has the id of the port's next transaction.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "transport/SharedSection.h"
#include "usbscan/usbscan.h"

namespace zlk {

/// An entry of the first driver family's table. The layout is fixed, since processes of different
/// versions share the table.
struct CameraPortEntry {
    char port[20];                ///< zero-terminated
    char mutexName[128];          ///< zero-terminated
    std::uint32_t transactionID;  ///< id of the next command
    std::uint16_t refCount;       ///< calls of setPort() not yet matched by removePort()
    std::uint8_t unused[2];
} __attribute__((packed));
static_assert(sizeof(CameraPortEntry) == 156);

/// The table is a count in one byte, followed by the packed entries. Every process can write into
/// the section, so count() never gives more entries than the section has room for. An object of
/// this class is a view of the mapped section, which has to stay mapped. Nothing is locked here.
template <class Entry>
class PortTable {
  public:
    /// `most`: how many bytes a table of this kind has. If the mapped section is shorter, so is the
    /// table.
    PortTable(const SharedSection& section, std::size_t most) noexcept
        : bytes_(static_cast<std::uint8_t*>(section.view())) {
        const std::size_t real = std::min(most, section.size());
        capacity_ = real > 1 ? (real - 1) / sizeof(Entry) : 0;
    }

    std::size_t capacity() const noexcept { return capacity_; }
    std::size_t count() const noexcept {
        return capacity_ == 0 ? 0 : std::min<std::size_t>(bytes_[0], capacity_);
    }
    void setCount(std::size_t count) noexcept { bytes_[0] = static_cast<std::uint8_t>(count); }

    Entry* begin() const noexcept { return reinterpret_cast<Entry*>(bytes_ + 1); }
    Entry* end() const noexcept { return begin() + count(); }

    /// The first entry whose port begins with `port`; null if there is none. The case of ASCII
    /// letters doesn't count. All processes compare ports in this way, since they have to agree on
    /// one entry.
    Entry* find(std::string_view port) const noexcept {
        for (Entry& entry : *this)
            if (port.size() <= sizeof entry.port &&
                std::equal(port.begin(), port.end(), entry.port,
                           [](char a, char b) { return lower(a) == lower(b); }))
                return &entry;
        return nullptr;
    }

    /// Removes an entry. The entries after it move down one by one; `moved` is called after each
    /// move.
    template <class Moved>
    void remove(Entry* entry, Moved moved) {
        const std::size_t before = count();
        for (Entry* const last = begin() + before - 1; entry < last; ++entry) {
            *entry = entry[1];
            moved();
        }
        if (before > 0) setCount(before - 1);
    }
    /// Completes a removal in whose middle a process died. The entry that was being moved then
    /// stands at two neighbouring places. It is moved once more, and the entries after it follow.
    /// Nothing is done if no two neighbours have the same port.
    void resumeRemoval() {
        for (Entry* entry = begin(); entry + 1 < end(); ++entry)
            if (std::equal(std::begin(entry->port), std::end(entry->port), entry[1].port))
                return remove(entry, [] {});
    }

  private:
    static char lower(char c) noexcept {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }

    std::uint8_t* bytes_;
    std::size_t capacity_ = 0;
};

}  // namespace zlk
