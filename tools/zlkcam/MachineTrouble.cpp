#include "tools/zlkcam/MachineTrouble.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <new>
#include <string_view>
#include <vector>

#include "platform/diagnostics.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

// A command has its own files open, a component some more, and the settings store three.
constexpr std::size_t neededFiles = 32;

constexpr char placeAdvice[] =
    "The settings lie in the folder that ZLK_MACHINE names, else in .local/share/zlkcamtr in your "
    "home folder.";
constexpr char ownerAdvice[] =
    "Let it belong to you or to root (chown), and let nobody else write it (chmod go-w).";

/// A line that the platform reported: its subject and what went wrong.
struct Line {
    std::string subject;
    std::string text;
};
/// Guards `said`. The platform may report from any thread.
std::mutex saidInUse;
std::vector<Line> said;

void keep(const char* subject, const WCHAR* line) {
    try {
        const std::lock_guard lock(saidInUse);
        said.push_back({subject, utf8Text(line)});
    } catch (const std::bad_alloc&) {
        // The line is lost. It would only have explained a failure.
    }
}

/// The newest of the reported lines for which `fits` is true.
template <class Condition>
std::optional<Line> latest(Condition fits) {
    const std::lock_guard lock(saidInUse);
    const auto found = std::find_if(said.rbegin(), said.rend(), fits);
    return found == said.rend() ? std::nullopt : std::optional(*found);
}

std::optional<Line> latestOf(std::string_view subject, std::string_view other) {
    return latest(
        [&](const Line& line) { return line.subject == subject || line.subject == other; });
}

std::string sentence(const std::string& what, std::string reason) {
    if (!reason.ends_with('.')) reason += '.';
    return what + ": " + reason;
}

std::string settingsAdvice(DWORD error) {
    const std::string place = std::string(" ") + placeAdvice;
    switch (error) {
        case ERROR_ACCESS_DENIED:
            return ownerAdvice + place;
        case ERROR_BADDB:
            return "Move that file away, with those beside it whose names begin with its name, and "
                   "keep them. zlkcam register then begins anew." +
                   place;
        case ERROR_DISK_FULL:
            return "Make room on its disk." + place;
        case ERROR_BUSY:
            return "Another program has been writing them for seconds. Try again.";
        case ERROR_TOO_MANY_OPEN_FILES:
            return "Let this process open more files, as by: ulimit -n 1024";
        default:
            return placeAdvice;
    }
}

/// Whether the platform's own report explains more than the error number does.
bool isExplained(DWORD error) {
    return error == ERROR_ACCESS_DENIED || error == ERROR_BADDB || error == ERROR_IO_DEVICE ||
           error == ERROR_DISK_FULL;
}

}  // namespace

void listenToPlatform() {
    addDiagnosticSink(keep);
}

void requireOpenFiles() {
    // All are opened before the first is closed, to see whether so many are free at once.
    std::array<int, neededFiles> files;
    files.fill(-1);
    for (int& file : files) file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const bool enough = files.back() >= 0;
    for (const int file : files)
        if (file >= 0) ::close(file);
    if (!enough)
        throw Failure(ExitStatus::NoMemory,
                      "This process can't open the " + std::to_string(neededFiles) +
                          " files that it may need.",
                      settingsAdvice(ERROR_TOO_MANY_OPEN_FILES));
}

DWORD settingsError(HRESULT result) {
    for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_BADDB, ERROR_IO_DEVICE, ERROR_DISK_FULL,
                              ERROR_BUSY, ERROR_TOO_MANY_OPEN_FILES})
        if (HRESULT_FROM_WIN32(error) == result) return error;
    return ERROR_SUCCESS;
}

Failure settingsFailure(const std::string& what, DWORD error) {
    // The last report needn't belong to this error, so it is only used for the errors that the
    // platform also reports.
    const std::optional<Line> line =
        isExplained(error) ? latestOf("MachineRoot", "Registry") : std::nullopt;
    const bool scarce = error == ERROR_TOO_MANY_OPEN_FILES || error == ERROR_NOT_ENOUGH_MEMORY;
    return {scarce ? ExitStatus::NoMemory : ExitStatus::SettingsUnusable,
            sentence(what, line ? line->text : reasonText(error)), settingsAdvice(error)};
}

Failure moduleFailure(const std::string& what, DWORD error, const std::string& advice) {
    const std::optional<Line> line = latestOf("MachineRoot", "Modules");
    if (!line) return {ExitStatus::NotRegistered, sentence(what, reasonText(error)), advice};
    return {ExitStatus::NotRegistered, sentence(what, line->text),
            line->subject == "Modules" ? "Check that it and all that it needs is installed whole."
                                       : ownerAdvice};
}

std::optional<Failure> claimFailure() {
    const std::optional<Line> line = latest([](const Line& each) {
        // A claim is a named object, and its name is in the path of its file. If the file can't be
        // made, the platform reports that path.
        return each.subject == "NamedObjects" &&
               each.text.find("/ZlkUnloadImageDeviceLock_") != std::string::npos;
    });
    if (!line) return std::nullopt;
    return Failure(ExitStatus::FileUnusable,
                   sentence("The device can't be claimed on this computer", line->text),
                   "Nobody else need hold it. Make room on that disk, or see to the rights of that "
                   "folder, and try again.");
}

}  // namespace zlk
