#include "tools/zlkcam/TargetFolder.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <random>
#include <set>

#include "platform/clock.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

constexpr unsigned maxCollisions = 1000000;
// What a file system takes, less the longest of our prefixes and suffixes.
constexpr std::size_t maxNameBytes = 255 - 35;

constexpr WCHAR replacement = u'_';

WCHAR safeUnit(WCHAR unit) {
    // A byte of a name that isn't UTF-8: most likely of the code page that cameras use.
    if (unit >= 0xF0A0 && unit <= 0xF0FF) return static_cast<WCHAR>(unit - 0xF000);
    const bool control = unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
    const bool masked = unit >= 0xF001 && unit < 0xF0A0;
    // Marks that turn the direction of what is read make `gpj.exe` of `exe.jpg`.
    const bool direction = (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
    return control || masked || direction ? replacement : unit;
}

/// The position of a name's extension, its end if it has none.
std::size_t extensionOf(std::u16string_view name) {
    const std::size_t dot = name.rfind(u'.');
    return dot == std::u16string_view::npos || dot == 0 ? name.size() : dot;
}

/// Cuts a name, in front of its extension, to what a file system takes.
void shorten(std::u16string& name) {
    while (utf8Text(name).size() > maxNameBytes) {
        std::size_t dot = extensionOf(name);
        if (dot == 0 || name.size() - dot > 16) dot = name.size();
        const bool pair = dot >= 2 && (name[dot - 1] & 0xFC00) == 0xDC00;
        name.erase(dot - (pair ? 2 : 1), pair ? 2 : 1);
    }
}

std::u16string safeName(std::u16string_view part) {
    std::u16string name(part);
    std::transform(name.begin(), name.end(), name.begin(), safeUnit);
    if (name.front() == u'.') name.front() = replacement;
    name = wideText(utf8Text(name));  // a lone surrogate is no character
    shorten(name);
    return name;
}

std::size_t nameStart(std::u16string_view file) {
    return file.find_last_of(u"/\\") + 1;
}

/// `file` with ` (number)` in front of its extension; itself for 1.
std::u16string numbered(const std::u16string& file, unsigned number) {
    if (number == 1) return file;
    std::u16string result = file;
    const std::size_t start = nameStart(file);
    result.insert(start + extensionOf(std::u16string_view(file).substr(start)),
                  wideText(" (" + std::to_string(number) + ")"));
    return result;
}

[[noreturn]] void throwUnusable(const std::u16string& file, const std::string& doing) {
    const std::string reason = reasonText();
    throw Failure(ExitStatus::FileUnusable,
                  doing + " " + utf8Text(file) + " failed: " + reason + ".");
}

bool isFolder(const std::u16string& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

void makeFolder(const std::u16string& path) {
    if (CreateDirectoryW(path.c_str(), nullptr)) return;
    const DWORD error = GetLastError();
    if (isFolder(path)) return;
    SetLastError(error);  // and not that of looking
    throwUnusable(path, "Making the folder");
}

UniqueHandle open(const std::u16string& path, DWORD access, DWORD disposition = OPEN_EXISTING,
                  DWORD flags = FILE_ATTRIBUTE_NORMAL) {
    return UniqueHandle(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, disposition, flags, nullptr));
}

UniqueHandle makeNew(const std::u16string& file) {
    return open(file, GENERIC_READ | GENERIC_WRITE, CREATE_NEW);
}

bool flushFolder(const std::u16string& folder) {
    const UniqueHandle handle =
        open(folder, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
    return handle && FlushFileBuffers(handle.get());
}

constexpr std::u16string_view hiddenStart = u".zlkcam-", runDigits = u"0123456789abcdef";
constexpr std::size_t runSize = 8;

std::mutex hiddenFilesInUse;
std::set<std::u16string> hiddenFiles;  // of this process

/// Whether a run gave this name to a file of its own; earlier versions had further kinds.
bool isHiddenName(std::u16string_view name) {
    if (!name.starts_with(hiddenStart)) return false;
    name.remove_prefix(hiddenStart.size());
    return name.find_first_not_of(runDigits) == runSize && name[runSize] == u'-' &&
           (name.ends_with(u".part") || name.ends_with(u".check") || name.ends_with(u".probe"));
}

/// Those of runs that were killed. A run that lives writes, or has just written, to its own.
void removeLeftovers(const std::u16string& folder) {
    constexpr std::int64_t day = 24 * 3600;
    const std::int64_t now = std::time(nullptr);
    WIN32_FIND_DATAW entry{};
    const UniqueWalk walk = startWalk(folder + u"/*", entry);
    if (!walk) return;
    do {
        if (!isHiddenName(entry.cFileName)) continue;
        const std::u16string file = folder + u'/' + entry.cFileName;
        FileStatus status{};
        if (_wstat64i32(file.c_str(), status) && status.st_mtime + day < now)
            DeleteFileW(file.c_str());
    } while (FindNextFileW(walk.get(), &entry));
}

/// Whether what a path leads to is `folder` or lies in it, by whatever names; true also where that
/// can't be found out.
bool liesIn(const std::u16string& path, const std::u16string& folder) {
    FileStatus wanted{}, here{};
    if (folder.empty()) return false;
    if (!_wstat64i32(folder.c_str(), wanted)) return true;
    for (std::u16string way = finalPath(path.c_str()); way.starts_with(u'/');
         way.erase(std::max<std::size_t>(way.rfind(u'/'), 1))) {
        if (!_wstat64i32(way.c_str(), here)) return true;
        if (here.st_dev == wanted.st_dev && here.st_ino == wanted.st_ino) return true;
        if (way == u"/") return false;
    }
    return true;
}

/// What there is of a path.
std::u16string existingPart(std::u16string path) {
    FileStatus status{};
    while (!_wstat64i32(path.c_str(), status)) {
        const std::size_t end = path.find_last_of(u"/\\");
        if (end == std::u16string::npos || end + 1 == path.size()) break;
        const bool isRoot = end == 0 || path[end - 1] == u':';
        path.erase(isRoot ? end + 1 : end);
    }
    return path;
}

}  // namespace

TargetFolder::TargetFolder(const std::u16string& path, const std::u16string& device)
    : path_(absolutePath(path)), device_(device), run_(newRun()) {
    if (path.empty())
        throw Failure(ExitStatus::Usage, "The folder to copy into has no name.",
                      "The current folder is called \".\".");
    while (path_.size() > 1 && (path_.ends_with(u'/') || path_.ends_with(u'\\'))) path_.pop_back();
    // A drive is named by its root, and not by its current folder.
    if (path_.ends_with(u':')) path_ += u'/';
    enter(path_);
}

void TargetFolder::enter(const std::u16string& folder) {
    if (std::find(entered_.begin(), entered_.end(), folder) != entered_.end()) return;
    // Copies would go with the device, and an original be taken for its own. It is asked before
    // anything is made there, and once more of what was made.
    const auto requireElsewhere = [&](const std::u16string& place) {
        if (!liesIn(place, device_)) return;
        throw Failure(ExitStatus::FileUnusable,
                      "The folder " + utf8Text(folder) + " is on the device itself.",
                      "Choose a folder on this machine.");
    };
    requireElsewhere(existingPart(folder));
    makeFolder(folder);
    requireElsewhere(folder);
    removeLeftovers(folder);
    entered_.push_back(folder);
}

std::u16string TargetFolder::fileFor(std::u16string_view devicePath, bool flat) const {
    const bool endsInSlash = devicePath.ends_with(u'/') || devicePath.ends_with(u'\\');
    std::vector<std::u16string> parts;
    while (!devicePath.empty()) {
        const std::size_t end = std::min(devicePath.find_first_of(u"/\\"), devicePath.size());
        if (end > 0) parts.push_back(safeName(devicePath.substr(0, end)));
        devicePath.remove_prefix(std::min(end + 1, devicePath.size()));
    }
    // A camera's picture without a name must not take that of its folder.
    if (parts.empty() || (parts.size() == 1 && endsInSlash)) parts.emplace_back(u"_");
    std::u16string file = path_;
    if (file.ends_with(u'/')) file.pop_back();
    for (std::size_t i = flat ? parts.size() - 1 : 0; i < parts.size(); ++i)
        file += u'/' + parts[i];
    return file;
}

void TargetFolder::makeFoldersOf(const std::u16string& file) {
    std::size_t end = path_.size() + 1;
    while ((end = file.find(u'/', end)) != std::u16string::npos) enter(file.substr(0, end++));
}

std::u16string TargetFolder::hiddenName(const std::u16string& file) const {
    return zlk::hiddenName(file, run_);
}

TargetFolder::Namesakes& TargetFolder::namesakesOf(const std::u16string& file) {
    const auto [known, isNew] = namesakes_.try_emplace(file);
    while (isNew && takeNext(known->second, file)) {
    }
    return known->second;
}

bool TargetFolder::takeNext(Namesakes& namesakes, const std::u16string& file) {
    const std::u16string candidate = numbered(file, namesakes.next);
    FileStatus status{};
    std::uint64_t size = 0;
    if (!_wstat64i32(candidate.c_str(), status)) return false;
    if (fileSize(candidate, size))
        namesakes.bySize.emplace(size, Namesake{candidate, status.st_mtime, false});
    ++namesakes.next;
    return true;
}

bool TargetFolder::isCopy(const HiddenFile& part, const std::u16string& file) const {
    return !liesIn(file, device_) && sameContent(part.path(), file).value_or(false);
}

TargetFolder::Namesake* TargetFolder::copyAmong(Namesakes& namesakes, const HiddenFile& part,
                                                std::uint64_t size,
                                                std::optional<ContentSum>& sum) const {
    const auto [first, last] = namesakes.bySize.equal_range(size);
    if (first == last) return nullptr;
    sum = contentSum(part.path());
    // Of ten thousand pictures of one name and size none is read more than once for this.
    for (auto each = first; each != last; ++each) {
        Namesake& namesake = each->second;
        if (!namesake.sum) namesake.sum = contentSum(namesake.file);
        if (sum && namesake.sum == sum && isCopy(part, namesake.file)) return &namesake;
    }
    return nullptr;
}

TargetFolder::Placed TargetFolder::place(HiddenFile& part, const std::u16string& file) {
    const std::lock_guard lock(namesakesInUse_);
    Namesakes& namesakes = namesakesOf(file);
    std::uint64_t size = 0;
    if (!part.size(size)) throwUnusable(part.name(), "Reading");
    const auto remove = [&] {
        DeleteFileW(part.name().c_str());
        part.letGo();
    };
    std::optional<ContentSum> sum;
    if (Namesake* const copy = copyAmong(namesakes, part, size, sum)) {
        copy->isCounted = true;
        remove();
        return {copy->file, true};
    }
    while (namesakes.next < maxCollisions) {
        const std::u16string candidate = numbered(file, namesakes.next++);
        const bool isPlaced = MoveFileW(part.name().c_str(), candidate.c_str());
        if (!isPlaced && GetLastError() != ERROR_ALREADY_EXISTS) throwUnusable(candidate, "Making");
        if (isPlaced && !part.isAt(candidate))
            throw Failure(ExitStatus::FileUnusable,
                          utf8Text(candidate) + " was exchanged for another file meanwhile.",
                          "Choose a folder that nobody else may write to.");
        // What has the name by now is somebody else's, or has it in capitals.
        if (!isPlaced && !isCopy(part, candidate)) continue;
        if (isPlaced)
            part.letGo();
        else
            remove();
        namesakes.bySize.emplace(size, Namesake{candidate, 0, true, sum});
        return {candidate, !isPlaced};
    }
    SetLastError(ERROR_FILE_EXISTS);
    throwUnusable(file, "Making");
}

std::u16string TargetFolder::findSame(const std::u16string& file, std::uint64_t size,
                                      std::int64_t modified) {
    const std::lock_guard lock(namesakesInUse_);
    const auto [first, last] = namesakesOf(file).bySize.equal_range(size);
    for (auto each = first; each != last; ++each) {
        Namesake& namesake = each->second;
        const std::int64_t apart = namesake.modified - modified;
        if (namesake.isCounted || apart < -2 || apart > 2 || liesIn(namesake.file, device_))
            continue;
        namesake.isCounted = true;
        return namesake.file;
    }
    return {};
}

bool TargetFolder::flushNames() const {
    // Its own name, too, where one may look at the folder above; a drive's root has none.
    flushFolder(path_ + u"/..");
    return std::all_of(entered_.begin(), entered_.end(), flushFolder);
}

std::u16string newRun() {
    std::u16string run;
    for (std::random_device random; run.size() < runSize;)
        run += runDigits[random() % runDigits.size()];
    return run;
}

std::u16string hiddenName(const std::u16string& file, const std::u16string& run) {
    const std::size_t start = nameStart(file);
    return file.substr(0, start).append(hiddenStart) + run + u'-' + file.substr(start) + u".part";
}

HiddenFile::HiddenFile(std::u16string name) : name_(std::move(name)), file_(makeNew(name_)) {
    if (!file_) throwUnusable(name_, "Making");
    const std::lock_guard lock(hiddenFilesInUse);
    hiddenFiles.insert(name_);
}

HiddenFile::~HiddenFile() {
    if (name_.empty()) return;
    DeleteFileW(name_.c_str());
    letGo();
}

void HiddenFile::letGo() {
    const std::lock_guard lock(hiddenFilesInUse);
    hiddenFiles.erase(std::exchange(name_, {}));
}

void HiddenFile::removeAll() {
    const std::lock_guard lock(hiddenFilesInUse);
    for (const std::u16string& name : hiddenFiles) DeleteFileW(name.c_str());
}

bool HiddenFile::isAt(const std::u16string& place) const {
    FileStatus own{}, there{};
    return _wstat64i32(path().c_str(), own) && _wstat64i32(place.c_str(), there) &&
           own.st_dev == there.st_dev && own.st_ino == there.st_ino;
}

bool HiddenFile::size(std::uint64_t& bytes) const {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file_.get(), &size)) return false;
    bytes = static_cast<std::uint64_t>(size.QuadPart);
    return true;
}

std::optional<bool> sameContent(const std::u16string& a, const std::u16string& b) {
    const UniqueHandle first = open(a, GENERIC_READ);
    if (!first) return std::nullopt;
    const UniqueHandle second = open(b, GENERIC_READ);
    LARGE_INTEGER firstSize{}, secondSize{};
    if (!second || !GetFileSizeEx(first.get(), &firstSize) ||
        !GetFileSizeEx(second.get(), &secondSize))
        return std::nullopt;
    if (firstSize.QuadPart != secondSize.QuadPart) return false;
    std::vector<BYTE> firstBlock(256 * 1024), secondBlock(256 * 1024);
    for (;;) {
        const auto room = static_cast<DWORD>(firstBlock.size());
        DWORD firstRead = 0, secondRead = 0;
        if (!ReadFile(first.get(), firstBlock.data(), room, &firstRead, nullptr) ||
            !ReadFile(second.get(), secondBlock.data(), room, &secondRead, nullptr))
            return std::nullopt;
        if (firstRead != secondRead ||
            std::memcmp(firstBlock.data(), secondBlock.data(), firstRead) != 0)
            return false;
        if (firstRead == 0) return true;
    }
}

bool flushFile(const std::u16string& file) {
    const UniqueHandle handle = open(file, GENERIC_READ | GENERIC_WRITE);
    return handle && FlushFileBuffers(handle.get());
}

bool fileSize(const std::u16string& file, std::uint64_t& size) {
    const UniqueHandle handle = open(file, 0);
    LARGE_INTEGER bytes{};
    if (!handle || !GetFileSizeEx(handle.get(), &bytes)) return false;
    size = static_cast<std::uint64_t>(bytes.QuadPart);
    return true;
}

}  // namespace zlk
