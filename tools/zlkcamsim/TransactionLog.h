#pragma once
// What went over the pipes, transfer by transfer: the beginning of each, and how long it was.

#include <chrono>
#include <cstdint>
#include <deque>
#include <string_view>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

enum class Channel : std::uint8_t { BulkOut, BulkIn, Interrupt, Control };

class TransactionLog {
  public:
    struct Entry {
        std::chrono::milliseconds time{};  ///< since the log's beginning
        Channel channel{};
        Bytes head;  ///< at most 64 bytes
        std::uint64_t length = 0;
        bool ended = false;  ///< else it was broken off, or goes on
    };

    /// Bytes of the transfer that goes on in this channel, or of a new one.
    void add(Channel channel, ByteView bytes, bool ends);
    /// What comes next is a new transfer.
    void breakOff(Channel channel) { open(channel) = none; }

    /// The oldest first; the last two thousand.
    const std::deque<Entry>& entries() const { return entries_; }
    void clear();
    std::uint64_t bytesOf(Channel channel) const { return bytes_[index(channel)]; }

  private:
    static constexpr std::uint64_t none = ~std::uint64_t{0};
    static constexpr std::size_t index(Channel channel) {
        return static_cast<std::size_t>(channel);
    }
    std::uint64_t& open(Channel channel) { return open_[index(channel)]; }

    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::deque<Entry> entries_;
    std::uint64_t dropped_ = 0;  // entries in front of the first
    std::uint64_t open_[4] = {none, none, none, none};
    std::uint64_t bytes_[4] = {};
};

std::string_view nameOf(Channel channel);

}  // namespace zlk::camsim
