#include "tools/zlkcam/unload/UnloadedFile.h"

#include <algorithm>

namespace zlk {

const char* outcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::Copied:
            return "copied";
        case Outcome::WasThere:
            return "was there";
        case Outcome::Skipped:
            return "skipped";
        case Outcome::TooLarge:
            return "too large";
        case Outcome::Failed:
            return "failed";
        case Outcome::NotReached:
            break;
    }
    return "not reached";
}

void CopyResult::fail(const Failure& reason) {
    outcome = Outcome::Failed;
    proved = fromMedium = false;
    failure = std::make_unique<const Failure>(reason);
}

Outcome UnloadedFile::outcome() const {
    if (reading != Outcome::NotReached) return reading;
    // The outcomes are declared in the order of their gravity.
    return copies.empty() ? Outcome::NotReached
                          : std::ranges::max_element(copies, {}, &CopyResult::outcome)->outcome;
}

std::uint64_t UnloadedFile::knownSize() const {
    return size > 0 ? size : record->size;
}

bool UnloadedFile::isAnywhere() const {
    return std::ranges::any_of(
        copies, [](const CopyResult& copy) { return copy.outcome <= Outcome::Copied; });
}

bool UnloadedFile::isProved() const {
    return !copies.empty() && std::ranges::all_of(copies, &CopyResult::proved);
}

bool UnloadedFile::isFromMedium() const {
    return isProved() && std::ranges::all_of(copies, &CopyResult::fromMedium);
}

const Failure* UnloadedFile::trouble() const {
    if (failure) return failure.get();
    const auto failed = std::ranges::find_if(
        copies, [](const CopyResult& copy) { return copy.failure != nullptr; });
    return failed == copies.end() ? nullptr : failed->failure.get();
}

}  // namespace zlk
