#pragma once
// Gives finished copies names that are free in a destination. If a file of the wanted name has the
// same bytes already, it can stand for the copy instead.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>

#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/unload/FolderTree.h"
#include "tools/zlkcam/unload/HiddenCopy.h"

namespace zlk {

/// A whole file that is to get its name, and where it went.
struct Placement {
    HiddenCopy* copy;
    std::string wanted;  ///< path below the destination
    std::uint64_t size = 0;
    ContentSum sum{};

    std::string placed{};   ///< where it lies now; empty: nowhere
    bool wasThere = false;  ///< `placed` is an older file of the same bytes, `copy` isn't needed
};

/// Reads a file whose size and sum aren't known yet, and returns its placement. Throws Failure
/// (FileUnusable, or Stopped after a stop).
Placement placementOf(HiddenCopy& copy, const std::string& wanted);

/// Places the copies of one destination, and finds files that were copied before. Not thread-safe:
/// Destination guards its Placer by a mutex.
class Placer {
  public:
    /// `folders` stays the caller's and outlives this.
    explicit Placer(FolderTree& folders) : folders_(folders) {}

    /// Moves files of one shot, such as RAW and JPEG, to their names. They share the first of
    /// `name`, `name (2)`, `name (3)` that is free for each of them. If a file under one of
    /// these names has the same bytes already, that file counts as the copy, unless it is a link to
    /// the device. Throws Failure (FileUnusable, or Stopped after a stop); some of the files may
    /// have been placed by then.
    void place(std::span<Placement> together);

    /// Finds a copy among `name`, `name (2)`... by size and by modification time, which may differ
    /// by two seconds (FAT). Empty if there is none. A link to the device doesn't count. Each file
    /// is returned once only, because two cards, or two folders of a card, may have pictures of the
    /// same name, size and time. Throws Failure (FileUnusable).
    std::string findSame(const std::string& wanted, std::uint64_t size, std::int64_t modified);

  private:
    struct Namesake {
        std::string file;
        std::int64_t modified;
        bool isCounted = false;           // it already stands for a file of the device
        std::optional<ContentSum> sum{};  // made when first needed
    };
    /// The files `name`, `name (2)`... of one name. The folder is searched for them once only,
    /// because some cameras call all their pictures by the same name.
    struct Namesakes {
        unsigned next = 1;  // the first number that is free
        std::unordered_multimap<std::uint64_t, Namesake> bySize;
    };

    Namesakes& namesakesOf(const std::string& file);
    /// The namesake with the same bytes, null if there is none.
    Namesake* copyAmong(Namesakes& namesakes, const Placement& placement);
    bool isCopy(const Placement& placement, const std::string& file);
    bool isFree(const std::string& file);
    /// False if the name is taken. Throws Failure if the move fails for another reason.
    bool move(Placement& placement, const std::string& file);
    /// Like move(), to the wanted name with a number.
    bool placeAt(Placement& placement, unsigned number);
    /// Places files that need a name of their own, because none of their namesakes has their bytes.
    void placeBeside(std::span<Placement* const> together);

    FolderTree& folders_;
    // The namesakes by the wanted path, before any number was added.
    std::unordered_map<std::string, Namesakes> namesakes_;
};

}  // namespace zlk
