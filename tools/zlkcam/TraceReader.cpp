#include "tools/zlkcam/TraceReader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace zlk {
namespace {

// The parts of a record's head that are always the same.
constexpr BYTE marker[] = {0xFF, 0xFF};
constexpr BYTE kindAndFlags[] = {0x3F, 0x00};
constexpr std::size_t headSize = 8;
// How many bytes are remembered to notice that they were overwritten. A record's time should be
// among them, since two records may differ only in their times.
constexpr std::size_t memorySize = 256;

bool isHead(std::span<const BYTE> bytes) {
    return bytes.size() > headSize && std::equal(marker, marker + 2, bytes.begin()) &&
           std::equal(kindAndFlags, kindAndFlags + 2, bytes.begin() + 6);
}

/// Takes a text with its terminating zero off the front; false if there is no zero.
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
        // After the writer's position there is what is left of its previous round, the oldest data.
        lost_ += writeOffset >= position_ ? writeOffset - position_
                                          : ring.size() - position_ + writeOffset;
        const auto behind = ring.subspan(writeOffset);
        older_.assign(behind.begin(), behind.end());
        newer_.assign(ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(writeOffset));
    } else if (writeOffset >= position_) {
        // The writer went on in the same round.
        const auto fresh = ring.subspan(position_, writeOffset - position_);
        older_.clear();
        newer_.assign(fresh.begin(), fresh.end());
    } else {
        // The writer has begun a new round, and the rest of the previous one is unread, too.
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
    // If the bytes before the reader's position have changed, the writer has been there.
    const bool moved =
        !std::equal(last_.begin(), last_.end(),
                    ring.begin() + static_cast<std::ptrdiff_t>(position_ - last_.size()));
    // If the writer began a new round and stopped within the remembered bytes, it changed some of
    // them, but has not passed the reader's position. Nothing was lost then.
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
        // If no record begins here, these bytes are zeros or the rest of an overwritten record. The
        // next FF may begin a record.
        if (!isHead(bytes)) {
            const auto next = std::find(bytes.begin() + 1, bytes.end(), marker[0]);
            bytes = bytes.subspan(static_cast<std::size_t>(next - bytes.begin()));
            continue;
        }
        TraceRecord record;
        std::memcpy(&record.time, bytes.data() + 2, sizeof record.time);
        std::span<const BYTE> rest = bytes.subspan(headSize);
        // The rest isn't a whole record.
        if (!takeText(rest, record.category) || !takeText(rest, record.message)) return;
        records.push_back(std::move(record));
        // The last byte of a record has no meaning.
        bytes = rest.empty() ? rest : rest.subspan(1);
    }
}

}  // namespace zlk
