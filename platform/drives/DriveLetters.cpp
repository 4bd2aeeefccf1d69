#include "platform/drives/DriveLetters.h"

#include <algorithm>
#include <optional>
#include <sstream>

#include "platform/drives/CardMountStore.h"

namespace zlk::platform {
namespace {

constexpr char tableName[] = "drive-letters";

/// A line of the table: a letter and the volume that it was given to.
struct Given {
    WCHAR letter;
    std::string disk, device;
    bool operator==(const Given&) const = default;
};
using Table = std::vector<Given>;

Table readTable(const SharedTable& shared) {
    std::istringstream lines(shared.read());
    Table table;
    char letter = 0;
    for (Given given; lines >> letter >> given.disk >> given.device;) {
        given.letter = static_cast<unsigned char>(letter);
        if (given.letter >= firstLetter && given.letter <= lastLetter) table.push_back(given);
    }
    return table;
}

bool writeTable(const SharedTable& shared, const Table& table) {
    std::string lines;
    for (const Given& given : table)
        lines += static_cast<char>(given.letter) + (' ' + given.disk) + ' ' + given.device + '\n';
    return shared.replace(lines);
}

const Given* find(const Table& table, const SystemVolume& volume) {
    const auto found = std::find_if(table.begin(), table.end(), [&](const Given& given) {
        return given.device == volume.device && given.disk == volume.disk;
    });
    return found == table.end() ? nullptr : &*found;
}

bool isTaken(const Table& table, const std::u16string& taken, WCHAR letter) {
    return taken.find(letter) != taken.npos ||
           std::any_of(table.begin(), table.end(),
                       [&](const Given& given) { return given.letter == letter; });
}

/// The table that fits the present `volumes`: a letter for each of them, as far as there are enough
/// letters, and no lines for volumes that are gone.
Table completed(const Table& old, const std::vector<SystemVolume>& volumes,
                const std::u16string& taken) {
    Table table;
    // Volumes that have a letter go first, so that no other volume gets that letter.
    for (const SystemVolume& volume : volumes) {
        const Given* given = find(old, volume);
        if (given && !isTaken(table, taken, given->letter)) table.push_back(*given);
    }
    for (const SystemVolume& volume : volumes) {
        if (find(table, volume)) continue;
        // A volume takes over a letter that its disk had, if the letter is free. So an inserted
        // card has the letter of its empty reader, and the reader gets it back when the card is
        // removed. Otherwise the volume gets the first free letter.
        WCHAR letter = 0;
        for (const Given& given : old)
            if (!letter && given.disk == volume.disk && !isTaken(table, taken, given.letter))
                letter = given.letter;
        for (WCHAR next = firstLetter; !letter && next <= lastLetter; ++next)
            if (!isTaken(table, taken, next)) letter = next;
        if (letter) table.push_back({letter, volume.disk, volume.device});
    }
    return table;
}

// Whether every volume has a letter that no mounted folder has taken: the usual case, which needs
// no lock.
bool fits(const Table& table, const std::vector<SystemVolume>& volumes,
          const std::u16string& taken) {
    return std::all_of(volumes.begin(), volumes.end(), [&](const SystemVolume& volume) {
        const Given* given = find(table, volume);
        return given && taken.find(given->letter) == taken.npos;
    });
}

}  // namespace

LetterLock::LetterLock() : Lock(SharedTable(tableName)) {}

std::vector<LetteredVolume> letteredVolumes(std::u16string taken, const LetterLock* held) {
    const SharedTable shared(tableName);
    std::vector<SystemVolume> volumes = systemVolumes();
    Table table = readTable(shared);
    if (!fits(table, volumes, taken)) {
        std::optional<LetterLock> own;
        if (!held) held = &own.emplace();
        // Everything is read again under the lock, because the first look may be older than another
        // process's change.
        if (held->held()) {
            taken = mountedLetters();
            volumes = systemVolumes();
            table = readTable(shared);
            Table fresh = completed(table, volumes, taken);
            if (fresh != table && writeTable(shared, fresh)) table = std::move(fresh);
        }
    }
    std::vector<LetteredVolume> lettered;
    for (SystemVolume& volume : volumes) {
        const Given* given = find(table, volume);
        if (given && taken.find(given->letter) == taken.npos)
            lettered.push_back({given->letter, std::move(volume)});
    }
    return lettered;
}

}  // namespace zlk::platform
