#include "platform/drives/DriveLetters.h"

#include <algorithm>
#include <optional>
#include <sstream>

#include "platform/drives/CardMountStore.h"

namespace zlk::platform {
namespace {

constexpr char tableName[] = "drive-letters";

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

/// The table with a letter for each volume, as far as there are any, and none for others.
Table completed(const Table& old, const std::vector<SystemVolume>& volumes,
                const std::u16string& taken) {
    Table table;
    for (const SystemVolume& volume : volumes) {
        const Given* given = find(old, volume);
        if (given && !isTaken(table, taken, given->letter)) table.push_back(*given);
    }
    for (const SystemVolume& volume : volumes) {
        if (find(table, volume)) continue;
        // A card takes over the letter of its empty reader, and leaves it when it is taken out.
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
