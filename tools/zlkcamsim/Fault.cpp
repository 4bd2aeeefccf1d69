#include "tools/zlkcamsim/Fault.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "tools/zlkcamsim/NumberText.h"

namespace zlk::camsim {
namespace {

// Short names, so that the table below fits its lines.
constexpr int C = static_cast<int>(Phase::Command), D = static_cast<int>(Phase::Data),
              R = static_cast<int>(Phase::Response), A = static_cast<int>(Phase::After),
              X = static_cast<int>(Phase::Cancel);

/// The phases that a kind of fault allows, and the phase and the value that it has if the tester
/// gives none.
struct KindRow {
    std::string_view name;
    FaultKind kind;
    int phases;
    Phase usual;
    std::uint32_t value;
};

constexpr std::array kinds{
    KindRow{"unplug", FaultKind::Unplug, C | D | R, Phase::Command, 0},
    KindRow{"stall", FaultKind::Stall, C | D | R | A, Phase::Data, 0},
    KindRow{"silence", FaultKind::Silence, C | D | R, Phase::Response, 0},
    KindRow{"slow", FaultKind::Slow, C | D | R, Phase::Response, 100},
    KindRow{"answer", FaultKind::Answer, C, Phase::Command, response::DeviceBusy},
    KindRow{"short", FaultKind::Short, D, Phase::Data, 0},
    KindRow{"truncate", FaultKind::Truncate, D, Phase::Data, 0},
    KindRow{"grow", FaultKind::Grow, D, Phase::Data, 1},
    KindRow{"patch", FaultKind::Patch, D, Phase::Data, 0},
    KindRow{"array-count", FaultKind::ArrayCount, D, Phase::Data, 0xFFFFFFFF},
    KindRow{"string-count", FaultKind::StringCount, D, Phase::Data, 0xFF},
    KindRow{"glue", FaultKind::Glue, D, Phase::Data, 0},
    KindRow{"no-zero-packet", FaultKind::NoZeroPacket, D | R, Phase::Data, 0},
    KindRow{"extra-zero-packet", FaultKind::ExtraZeroPacket, D | R, Phase::Data, 0},
    KindRow{"extra-byte", FaultKind::ExtraByte, D | R, Phase::Data, 0},
    KindRow{"zero-packet-first", FaultKind::ZeroPacketFirst, D | R, Phase::Response, 0},
    KindRow{"split-header", FaultKind::SplitHeader, D | R, Phase::Data, 0},
    KindRow{"stale", FaultKind::Stale, D | R, Phase::Response, Data},
    KindRow{"zeros", FaultKind::Zeros, D | R, Phase::Response, 2},
    KindRow{"code", FaultKind::SetCode, D | R, Phase::Data, 0xBAAD},
    KindRow{"id", FaultKind::SetId, D | R, Phase::Response, 0xBAADF00D},
    KindRow{"type", FaultKind::SetType, D | R, Phase::Response, Event},
    KindRow{"length", FaultKind::SetLength, D | R, Phase::Data, 0xFFFFFFFF},
    KindRow{"cancel-stall", FaultKind::CancelStall, X, Phase::Cancel, 0},
    KindRow{"cancel-busy", FaultKind::CancelBusy, X, Phase::Cancel, 0}};

struct PhaseRow {
    std::string_view name;
    Phase phase;
};
constexpr std::array phases{PhaseRow{"command", Phase::Command}, PhaseRow{"data", Phase::Data},
                            PhaseRow{"response", Phase::Response}, PhaseRow{"after", Phase::After},
                            PhaseRow{"cancel", Phase::Cancel}};

/// The row whose `member` is `wanted`; null if there is none.
template <class Rows, class Member, class Wanted>
auto rowOf(const Rows& rows, Member member, const Wanted& wanted) {
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [&](const auto& row) { return row.*member == wanted; });
    return found == rows.end() ? nullptr : &*found;
}

/// Parses `at=`: bytes, or per cent of the payload.
void setPlace(Fault& fault, std::string text) {
    fault.atPercent = text.ends_with('%');
    if (fault.atPercent) text.pop_back();
    fault.at = parseNumber(text, fault.atPercent ? 100 : ~std::uint64_t{0});
}

void set(Fault& fault, const std::string& key, const std::string& value) {
    if (key == "op") {
        fault.operation.reset();
        if (value != "any") fault.operation = static_cast<Code>(parseNumber(value, 0xFFFF));
    } else if (key == "phase") {
        const PhaseRow* const row = rowOf(phases, &PhaseRow::name, value);
        if (!row) throw std::invalid_argument("no phase: " + value);
        fault.phase = row->phase;
    } else if (key == "count") {
        fault.count = static_cast<unsigned>(parseNumber(value, 1'000'000));
        if (fault.count == 0) throw std::invalid_argument("count=0 is no fault");
    } else if (key == "value") {
        fault.value = static_cast<std::uint32_t>(parseNumber(value, 0xFFFFFFFF));
    } else if (key == "at") {
        setPlace(fault, value);
    } else if (key == "bytes") {
        fault.bytes = parseHex(value);
    } else {
        throw std::invalid_argument("unknown: " + key);
    }
}

}  // namespace

Fault Fault::parse(const std::vector<std::string>& words) {
    if (words.empty()) throw std::invalid_argument("which fault?");
    const KindRow* const row = rowOf(kinds, &KindRow::name, words.front());
    if (!row) throw std::invalid_argument("no fault: " + words.front());
    Fault fault;
    fault.kind = row->kind;
    fault.phase = row->usual;
    fault.value = row->value;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::size_t equals = words[i].find('=');
        if (equals == std::string::npos) throw std::invalid_argument("key=value: " + words[i]);
        set(fault, words[i].substr(0, equals), words[i].substr(equals + 1));
    }
    // The phase is checked last, as `phase=` may come anywhere among the words.
    if (!(static_cast<int>(fault.phase) & row->phases))
        throw std::invalid_argument(words.front() + " has no such phase");
    return fault;
}

std::string Fault::text() const {
    std::string text(rowOf(kinds, &KindRow::kind, kind)->name);
    // Usual values are written too, so that the tester sees all that is in force.
    text += " op=" + (operation ? hexText(*operation) : "any");
    text += " phase=" + std::string(rowOf(phases, &PhaseRow::phase, phase)->name);
    text += " count=" + std::to_string(count) + " value=" + hexText(value, 1);
    text += " at=" + std::to_string(at) + (atPercent ? "%" : "");
    if (!bytes.empty()) text += " bytes=" + hexOf(bytes);
    return text;
}

std::uint64_t Fault::offsetIn(std::uint64_t size) const {
    return std::min(size, atPercent ? size * at / 100 : at);
}

/// Copies are returned, since a fault is gone from the list when its count is used up.
std::vector<Fault> FaultList::take(Phase phase, Code operation) {
    std::vector<Fault> striking;
    for (Fault& fault : faults_)
        if (fault.phase == phase && fault.operation.value_or(operation) == operation &&
            fault.count > 0) {
            // A fault counts as struck even if this transaction doesn't reach its place.
            --fault.count;
            striking.push_back(fault);
        }
    std::erase_if(faults_, [](const Fault& fault) { return fault.count == 0; });
    return striking;
}

bool FaultList::take(FaultKind kind) {
    const auto found = std::find_if(faults_.begin(), faults_.end(),
                                    [kind](const Fault& fault) { return fault.kind == kind; });
    if (found == faults_.end()) return false;
    if (--found->count == 0) faults_.erase(found);
    return true;
}

}  // namespace zlk::camsim
