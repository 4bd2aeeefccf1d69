#pragma once
// A log of the transfers on all pipes, with the beginning and the length of each.

#include <chrono>
#include <cstdint>
#include <deque>
#include <string_view>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// The pipes of the camera.
enum class Channel : std::uint8_t { BulkOut, BulkIn, Interrupt, Control };

/// Used on the thread of the event loop only.
class TransactionLog {
  public:
    struct Entry {
        std::chrono::milliseconds time{};  ///< since the log was created
        Channel channel{};
        Bytes head;  ///< at most 64 bytes
        std::uint64_t length = 0;
        bool ended = false;  ///< false: it was broken off, or isn't over
    };

    /// Adds bytes to the current transfer of this channel, or begins a new one. `ends` says that
    /// the transfer ends with them.
    void add(Channel channel, ByteView bytes, bool ends);
    /// Makes the next bytes of the channel a new transfer, after a transaction was broken off.
    void breakOff(Channel channel) { open(channel) = none; }

    /// The oldest first; at most the last two thousand.
    const std::deque<Entry>& entries() const { return entries_; }
    void clear();
    /// Bytes since the start, which clear() doesn't change.
    std::uint64_t bytesOf(Channel channel) const { return bytes_[index(channel)]; }

  private:
    static constexpr std::uint64_t none = ~std::uint64_t{0};
    static constexpr std::size_t index(Channel channel) {
        return static_cast<std::size_t>(channel);
    }
    std::uint64_t& open(Channel channel) { return open_[index(channel)]; }

    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::deque<Entry> entries_;
    std::uint64_t dropped_ = 0;  // entries that were removed from the front
    // For each channel the number of its unfinished entry, counted from the very first one.
    std::uint64_t open_[4] = {none, none, none, none};
    std::uint64_t bytes_[4] = {};
};

std::string_view nameOf(Channel channel);

}  // namespace zlk::camsim
