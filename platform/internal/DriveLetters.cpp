#include "platform/internal/DriveLetters.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <optional>
#include <sstream>

#include "platform/error.h"
#include "platform/internal/Diagnose.h"
#include "platform/internal/MachineRoot.h"
#include "platform/internal/PosixError.h"

namespace zlk::platform {
namespace {

constexpr char category[] = "Drives";
constexpr char tableName[] = "/drive-letters";
constexpr std::size_t maxTable = 64 * 1024;

struct Given {
    WCHAR letter;
    std::string disk, device;
    bool operator==(const Given&) const = default;
};
using Table = std::vector<Given>;

Descriptor openFile(const std::string& path, int flags) {
    const mode_t mode = MachineRoot::instance().fileMode();
    Descriptor file(::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode));
    // The caller's file mode mask must not shut a group out; what another user made has it right.
    if (file && (flags & O_CREAT)) ::fchmod(file.get(), mode);
    return file;
}

Table readTable(const std::string& folder) {
    const Descriptor file = openFile(folder + tableName, O_RDONLY);
    std::string bytes(file ? maxTable : 0, 0);
    const ssize_t size = file ? ::read(file.get(), bytes.data(), bytes.size()) : 0;
    bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    std::istringstream lines(bytes);
    Table table;
    char letter = 0;
    for (Given given; lines >> letter >> given.disk >> given.device;) {
        given.letter = static_cast<unsigned char>(letter);
        if (given.letter >= firstLetter && given.letter <= lastLetter) table.push_back(given);
    }
    return table;
}

bool writeTable(const std::string& folder, const Table& table) {
    std::string bytes;
    for (const Given& given : table)
        bytes += static_cast<char>(given.letter) + (' ' + given.disk) + ' ' + given.device + '\n';
    const std::string path = folder + tableName, fresh = path + ".new";
    const Descriptor file = openFile(fresh, O_WRONLY | O_CREAT | O_TRUNC);
    const bool written =
        file &&
        ::write(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
        ::rename(fresh.c_str(), path.c_str()) == 0;
    if (!written) diagnose(category, u"Can't keep the drive letters in %s", path);
    return written;
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

LetterLock::LetterLock() {
    const std::string folder = MachineRoot::instance().folder("run");
    if (folder.empty()) return;
    Descriptor file = openFile(folder + tableName + ".lock", O_RDWR | O_CREAT);
    if (!file) {
        setLastErrorFromErrno();
        return;
    }
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    // Nobody holds it longer than a moment, but a process may be stopped in that moment.
    constexpr int tries = 200;
    for (int i = 0; i < tries; ++i) {
        const bool contested =
            ::fcntl(file.get(), F_OFD_SETLK, &lock) != 0 && (errno == EAGAIN || errno == EACCES);
        if (!contested) {
            file_ = std::move(file);
            return;
        }
        constexpr timespec pause{0, 10'000'000};
        ::nanosleep(&pause, nullptr);
    }
    SetLastError(ERROR_BUSY);
}

std::vector<LetteredVolume> letteredVolumes(const std::u16string& taken, const LetterLock* held) {
    const std::string folder = MachineRoot::instance().folder("run");
    std::vector<SystemVolume> volumes = systemVolumes();
    Table table = folder.empty() ? Table() : readTable(folder);
    if (!folder.empty() && !fits(table, volumes, taken)) {
        std::optional<LetterLock> own;
        if (!held) held = &own.emplace();
        if (held->held()) {
            volumes = systemVolumes();
            table = readTable(folder);
            Table fresh = completed(table, volumes, taken);
            if (fresh != table && writeTable(folder, fresh)) table = std::move(fresh);
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
