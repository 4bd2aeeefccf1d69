#include "tools/zlkcam/unload/Placer.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <vector>

#include "tools/zlkcam/unload/FileContent.h"
#include "tools/zlkcam/unload/PosixFailure.h"
#include "tools/zlkcam/unload/SafeName.h"
#include "tools/zlkcam/unload/SourceFile.h"

namespace zlk {
namespace {

// The search for a free `name (n)` ends at this number.
constexpr unsigned maxCollisions = 1'000'000;

/// The path `file` with ` (number)` before its extension; unchanged for 1.
std::string numbered(const std::string& file, unsigned number) {
    if (number == 1) return file;
    std::string result = file;
    const std::size_t start = file.rfind('/') + 1;
    result.insert(start + extensionOf(std::string_view(file).substr(start)),
                  " (" + std::to_string(number) + ")");
    return result;
}

}  // namespace

Placement placementOf(HiddenCopy& copy, const std::string& wanted) {
    struct stat status {};
    const std::optional<ContentSum> sum = contentSumOf(copy.file());
    if (!sum || ::fstat(copy.file(), &status) != 0) throwPosix("Reading " + wanted);
    return {&copy, wanted, static_cast<std::uint64_t>(status.st_size), *sum};
}

Placer::Namesakes& Placer::namesakesOf(const std::string& file) {
    const auto [known, isNew] = namesakes_.try_emplace(file);
    Namesakes& namesakes = known->second;
    // Gaps in the numbers aren't looked for: the first free number ends the search.
    while (isNew && namesakes.next < maxCollisions) {
        const std::string candidate = numbered(file, namesakes.next);
        const Place place = folders_.placeOf(candidate);
        struct stat status {};
        if (::fstatat(place.folder, place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) break;
        // A link counts as the file that it leads to. Its name is taken in any case.
        if (S_ISLNK(status.st_mode)) ::fstatat(place.folder, place.name.c_str(), &status, 0);
        if (S_ISREG(status.st_mode))
            namesakes.bySize.emplace(static_cast<std::uint64_t>(status.st_size),
                                     Namesake{candidate, status.st_mtime});
        ++namesakes.next;
    }
    return namesakes;
}

bool Placer::isCopy(const Placement& placement, const std::string& file) {
    const Descriptor there = folders_.openFile(file);
    return there && haveSameContent(placement.copy->file(), there.get());
}

Placer::Namesake* Placer::copyAmong(Namesakes& namesakes, const Placement& placement) {
    const auto [first, last] = namesakes.bySize.equal_range(placement.size);
    // The sums are kept, so that each namesake's sum is made only once, even if a camera has ten
    // thousand pictures of the same name and size. The bytes are compared only if the sums agree.
    for (auto each = first; each != last; ++each) {
        Namesake& namesake = each->second;
        if (!namesake.sum) {
            const Descriptor there = folders_.openFile(namesake.file);
            if (there) namesake.sum = contentSumOf(there.get());
        }
        if (namesake.sum == placement.sum && isCopy(placement, namesake.file)) return &namesake;
    }
    return nullptr;
}

bool Placer::isFree(const std::string& file) {
    const Place place = folders_.placeOf(file);
    struct stat status {};
    return ::fstatat(place.folder, place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 &&
           errno == ENOENT;
}

bool Placer::move(Placement& placement, const std::string& file) {
    if (!folders_.move(*placement.copy, file)) return false;
    placement.placed = file;
    return true;
}

void Placer::place(std::span<Placement> together) {
    // The move of a single file finds out by itself whether the name is free, and replaces nothing.
    if (together.size() == 1 && move(together.front(), together.front().wanted)) return;
    std::vector<Placement*> rest;
    // A file with the same bytes under one of the names `name (n)` is taken for the copy, so that a
    // repeated run doesn't add `name (2)`.
    for (Placement& placement : together) {
        Namesake* const copy = copyAmong(namesakesOf(placement.wanted), placement);
        if (!copy) {
            rest.push_back(&placement);
            continue;
        }
        copy->isCounted = placement.wasThere = true;
        placement.placed = copy->file;
    }
    placeBeside(rest);
}

bool Placer::placeAt(Placement& placement, unsigned number) {
    const std::string file = numbered(placement.wanted, number);
    Namesakes& namesakes = namesakesOf(placement.wanted);
    namesakes.next = number + 1;
    // Another program may have created a file of this name meanwhile. That file is left alone, and
    // the next number is tried.
    if (!move(placement, file)) return false;
    namesakes.bySize.emplace(placement.size, Namesake{file, 0, true, placement.sum});
    return true;
}

void Placer::placeBeside(std::span<Placement* const> together) {
    unsigned number = 1;
    // All files get the same number, so that a RAW and its JPEG keep belonging together. Each file
    // has a first free number; the search begins at the highest of these.
    for (const Placement* const placement : together)
        number = std::max(number, namesakesOf(placement->wanted).next);
    for (std::size_t left = together.size(); left > 0; ++number) {
        if (number >= maxCollisions)
            throwPosix("Making " + folders_.shown(together[0]->wanted), EEXIST);
        const auto isTaken = [&](const Placement* placement) {
            return placement->placed.empty() && !isFree(numbered(placement->wanted, number));
        };
        // A file alone needs no look at the name: move() fails if it is taken.
        if (together.size() > 1 && std::ranges::any_of(together, isTaken)) continue;
        for (Placement* const placement : together)
            if (placement->placed.empty() && placeAt(*placement, number)) --left;
    }
}

std::string Placer::findSame(const std::string& wanted, std::uint64_t size, std::int64_t modified) {
    if (!folders_.find(folderOf(wanted))) return {};
    // If nothing has the name, one look is enough, and the list of namesakes isn't needed.
    if (namesakes_.find(wanted) == namesakes_.end() && isFree(wanted)) return {};
    const auto [first, last] = namesakesOf(wanted).bySize.equal_range(size);
    for (auto each = first; each != last; ++each) {
        Namesake& namesake = each->second;
        if (namesake.isCounted || !isSameTime(namesake.modified, modified) ||
            !folders_.openFile(namesake.file))
            continue;
        namesake.isCounted = true;
        return namesake.file;
    }
    return {};
}

}  // namespace zlk
