#pragma once
// What became of one file of the device, in total and at each destination.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/Failure.h"

namespace zlk {

/// The outcomes stand in the order of their gravity: the outcome of a file that could be read is
/// the largest of its copies' outcomes. Up to Copied, the destination has the file, or had it
/// before.
enum class Outcome : std::uint8_t { Skipped, WasThere, Copied, NotReached, TooLarge, Failed };

/// The name of an outcome in JSON answers and reports.
const char* outcomeName(Outcome outcome);

/// What became of one file at one destination. The failure is allocated apart, as there are many
/// files and few of them fail.
struct CopyResult {
    Outcome outcome = Outcome::NotReached;
    bool proved = false;      ///< it was read back and has the file's sum
    bool fromMedium = false;  ///< the bytes came from the medium and not from a cache
    bool isGone = false;      ///< an earlier run copied it, but the copy isn't there any more
    std::string file{};       ///< path below the destination; empty if nothing was found or named
    std::unique_ptr<const Failure> failure{};

    /// Makes it a failed copy, whatever was found out about it before.
    void fail(const Failure& reason);
};

/// What became of one file everywhere. Written by the thread that copies; once the file is handed
/// to the settlers, each of them writes its own entry of `copies`.
struct UnloadedFile {
    const FileRecord* record = nullptr;
    std::uint64_t size = 0;           ///< its true size on the device
    std::int64_t modified = -1;       ///< seconds since 1970 UTC; -1: not known
    std::optional<ContentSum> sum{};  ///< XXH128 of the bytes that the device gave
    std::string sha256{};             ///< SHA-256 of the same bytes, as digits, if wished
    bool wasRead = false;   ///< the sum was made in this run, and not taken from a journal
    bool verified = false;  ///< the device gave the same bytes twice
    bool deleted = false;
    Outcome reading = Outcome::NotReached;     ///< TooLarge or Failed where it couldn't be read
    std::vector<CopyResult> copies{};          ///< one of each destination
    std::unique_ptr<const Failure> failure{};  ///< of reading or of deleting it

    /// What became of reading it if that failed, else the gravest outcome of its copies.
    Outcome outcome() const;
    /// Its true size, or the listed one if the true one is 0 or unknown.
    std::uint64_t knownSize() const;
    /// Whether a destination has it, or had it before.
    bool isAnywhere() const;
    /// Whether every destination's copy was read back and has the file's sum.
    bool isProved() const;
    /// Whether every destination's copy was proved from its medium.
    bool isFromMedium() const;
    /// The file's own failure, or else that of the first copy that has one; null if there is none.
    const Failure* trouble() const;
};

/// What the user wants done with each file.
struct UnloadOptions {
    bool onlyNew = false;  ///< skip files that a destination has, or had, by name, size and time
    bool prove = false;    ///< read each copy back from its disk, and compare the sums
    bool verify = false;   ///< have the device give each file a second time, and compare the sums
    bool remove = false;   ///< delete proved (and with `verify`, verified) files from the device
    bool sha256 = false;   ///< make SHA-256 sums, too
};

}  // namespace zlk
