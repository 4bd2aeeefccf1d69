#include "tools/zlkcamsim/TransactionLog.h"

#include <algorithm>

namespace zlk::camsim {
namespace {

// Transfers may be gigabytes; their beginnings are enough to see what they were.
constexpr std::size_t maxEntries = 2000, headSize = 64;

}  // namespace

void TransactionLog::add(Channel channel, ByteView bytes, bool ends) {
    bytes_[index(channel)] += bytes.size();
    std::uint64_t& current = open(channel);
    // A new entry is begun if no transfer is going on, or if the transfer's entry was dropped
    // because the log was full or cleared.
    if (current == none || current < dropped_) {
        if (entries_.size() == maxEntries) {
            entries_.pop_front();
            ++dropped_;
        }
        current = dropped_ + entries_.size();
        const auto passed = std::chrono::steady_clock::now() - start_;
        entries_.push_back(
            {std::chrono::duration_cast<std::chrono::milliseconds>(passed), channel, {}, 0, false});
    }
    Entry& entry = entries_[current - dropped_];
    const ByteView head = bytes.first(std::min(bytes.size(), headSize - entry.head.size()));
    entry.head.insert(entry.head.end(), head.begin(), head.end());
    entry.length += bytes.size();
    entry.ended = ends;
    if (ends) current = none;
}

void TransactionLog::clear() {
    dropped_ += entries_.size();
    entries_.clear();
}

std::string_view nameOf(Channel channel) {
    static constexpr std::string_view names[]{"out", "in", "interrupt", "control"};
    return names[static_cast<std::size_t>(channel)];
}

}  // namespace zlk::camsim
