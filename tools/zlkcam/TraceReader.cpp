#include "tools/zlkcam/TraceReader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace zlk {
namespace {

constexpr BYTE marker[] = {0xFF, 0xFF};
constexpr BYTE kindAndFlags[] = {0x3F, 0x00};
constexpr std::size_t headSize = 8;
// Enough that the times of the newest records are among it: equal lines differ by them.
constexpr std::size_t memorySize = 256;

bool isHead(std::span<const BYTE> bytes) {
    return bytes.size() > headSize && std::equal(marker, marker + 2, bytes.begin()) &&
           std::equal(kindAndFlags, kindAndFlags + 2, bytes.begin() + 6);
}

/// Takes a text and its zero off the front; false if there is no zero.
bool takeText(std::span<const BYTE>& bytes, std::string& text) {
    const auto end = std::find(bytes.begin(), bytes.end(), BYTE{0});
    if (end == bytes.end()) return false;
    text.assign(bytes.begin(), end);
    bytes = bytes.subspan(text.size() + 1);
    return true;
}

}  // namespace

void TraceReader::fetch(std::span<const BYTE> ring, std::size_t writeOffset) {
    if (wasOvertaken(ring, writeOffset)) {
        // What lies behind the writer is the end of the round before.
        lost_ += writeOffset >= position_ ? writeOffset - position_
                                          : ring.size() - position_ + writeOffset;
        const auto behind = ring.subspan(writeOffset);
        older_.assign(behind.begin(), behind.end());
        newer_.assign(ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(writeOffset));
    } else if (writeOffset >= position_) {
        const auto fresh = ring.subspan(position_, writeOffset - position_);
        older_.clear();
        newer_.assign(fresh.begin(), fresh.end());
    } else {
        const auto behind = ring.subspan(position_);
        older_.assign(behind.begin(), behind.end());
        newer_.assign(ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(writeOffset));
    }
    position_ = writeOffset;
    const auto memory = ring.first(position_).last(std::min(position_, memorySize));
    last_.assign(memory.begin(), memory.end());
}

bool TraceReader::wasOvertaken(std::span<const BYTE> ring, std::size_t writeOffset) const {
    if (position_ > ring.size()) return true;
    const bool moved =
        !std::equal(last_.begin(), last_.end(),
                    ring.begin() + static_cast<std::ptrdiff_t>(position_ - last_.size()));
    // In the round that follows, everything up to the writer is new, and the rest is as it was.
    return moved && !(writeOffset < position_ && writeOffset > position_ - last_.size());
}

std::vector<TraceRecord> TraceReader::records() {
    std::vector<TraceRecord> records;
    parseTraceRecords(std::exchange(older_, {}), records);
    parseTraceRecords(std::exchange(newer_, {}), records);
    return records;
}

std::uint64_t TraceReader::takeLost() {
    return std::exchange(lost_, 0);
}

void parseTraceRecords(std::span<const BYTE> bytes, std::vector<TraceRecord>& records) {
    while (bytes.size() > headSize) {
        if (!isHead(bytes)) {
            const auto next = std::find(bytes.begin() + 1, bytes.end(), marker[0]);
            bytes = bytes.subspan(static_cast<std::size_t>(next - bytes.begin()));
            continue;
        }
        TraceRecord record;
        std::memcpy(&record.time, bytes.data() + 2, sizeof record.time);
        std::span<const BYTE> rest = bytes.subspan(headSize);
        if (!takeText(rest, record.category) || !takeText(rest, record.message)) return;
        records.push_back(std::move(record));
        bytes = rest.empty() ? rest : rest.subspan(1);
    }
}

}  // namespace zlk
