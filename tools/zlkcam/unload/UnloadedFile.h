#pragma once
// What became of one file of the device, at each destination.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/Failure.h"

namespace zlk {

enum class Outcome : std::uint8_t { Skipped, WasThere, Copied, NotReached, TooLarge, Failed };

/// As answers have it.
const char* outcomeName(Outcome outcome);

/// Of one file at one destination. Files are many, and few of them fail.
struct CopyResult {
    Outcome outcome = Outcome::NotReached;
    bool proved = false;      ///< it was read back and has the file's sum
    bool fromMedium = false;  ///< and that from its disk
    bool isGone = false;      ///< an earlier run's copy isn't there any more
    std::string file{};       ///< where it lies below the destination, for the first three
    std::unique_ptr<const Failure> failure{};

    /// Nothing that was found out before counts any more.
    void fail(const Failure& reason);
};

struct UnloadedFile {
    const FileRecord* record = nullptr;
    std::uint64_t size = 0;           ///< as the device really has it
    std::int64_t modified = -1;       ///< seconds since 1970 UTC; -1: it doesn't say
    std::optional<ContentSum> sum{};  ///< of what the device gave
    std::string sha256{};             ///< the same as digits, if it was asked for
    bool wasRead = false;             ///< the sum is of this run, and not of an earlier one
    bool verified = false;            ///< the device gave these bytes in two readings
    bool deleted = false;
    Outcome reading = Outcome::NotReached;     ///< TooLarge or Failed where it couldn't be read
    std::vector<CopyResult> copies{};          ///< one of each destination
    std::unique_ptr<const Failure> failure{};  ///< of reading or of deleting it

    /// The gravest of what became of it anywhere.
    Outcome outcome() const;
    /// As the device has it, or lists it as long as nothing was read.
    std::uint64_t knownSize() const;
    /// Whether some destination has it, or had it.
    bool isAnywhere() const;
    bool isProved() const;
    bool isFromMedium() const;
    /// What went wrong first with it; null if nothing did.
    const Failure* trouble() const;
};

struct UnloadOptions {
    bool onlyNew = false;  ///< skip what a destination has, or had, of this name, size and time
    bool prove = false;    ///< read each copy back from its disk, and compare the sums
    bool verify = false;   ///< have the device give each file a second time, and compare the sums
    bool remove = false;   ///< delete from the device what was proved, and verified if asked for
    bool sha256 = false;   ///< make that sum too
};

}  // namespace zlk
