#include "platform/files/FolderWalk.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/base/Diagnose.h"
#include "platform/base/FileName.h"
#include "platform/base/PosixError.h"
#include "platform/files/FileAttributes.h"
#include "platform/files/PathTarget.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

constexpr char category[] = "Files";

// No card has a folder with so many entries. On a damaged file system whose chain of entries runs
// in a circle, reading would never end without a limit.
constexpr std::size_t maxNames = 4'000'000;
constexpr std::size_t maxUnits = 255;  // of a name, in units

// The kinds that a listing may show; a link or an unknown entry is looked at when its turn comes.
bool mayBeListed(unsigned char type) noexcept {
    return type == DT_REG || type == DT_DIR || type == DT_LNK || type == DT_UNKNOWN;
}

}  // namespace

FolderWalk::FolderWalk(PathRoot root, std::string way, Descriptor folder)
    : root_(std::move(root)),
      way_(std::move(way)),
      folder_(std::move(folder)),
      fat_(keepsFatAttributes(folder_.get())) {
    readNames();
    sortNames();
    leaveOutTwins();
}

std::shared_ptr<FolderWalk> FolderWalk::start(const WCHAR* pattern) {
    const std::u16string_view text = pattern ? pattern : u"";
    const std::size_t slash = text.find_last_of(u"\\/");
    const std::size_t nameStart = slash == text.npos ? 0 : slash + 1;
    const std::u16string_view name = text.substr(nameStart);
    if (name != u"*" && name != u"*.*") {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    const std::u16string path(nameStart ? text.substr(0, nameStart) : u".");
    auto target = PathTarget::find(path.c_str());
    Descriptor folder = target ? target->open(O_RDONLY | O_DIRECTORY) : Descriptor();
    if (!folder) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) SetLastError(ERROR_PATH_NOT_FOUND);
        return nullptr;
    }
    return std::make_shared<FolderWalk>(target->takeRoot(), target->way(), std::move(folder));
}

void FolderWalk::note(DWORD error) noexcept {
    if (error_ == ERROR_NO_MORE_FILES) error_ = error;
}

void FolderWalk::readNames() {
    // closedir() closes its descriptor, and folder_ is still needed.
    const int fd = ::fcntl(folder_.get(), F_DUPFD_CLOEXEC, 0);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(fd < 0 ? nullptr : ::fdopendir(fd),
                                                      ::closedir);
    if (!listing) return note(errorFromErrno(errno));
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(listing.get());
        if (!entry) break;
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || !mayBeListed(entry->d_type)) continue;
        const std::size_t text = texts_.size();
        appendNameText(texts_, name);
        const std::size_t length = texts_.size() - text;
        if (length > maxUnits) {
            diagnose(category, u"Left out, the name is too long: %s", texts_.substr(text));
            texts_.resize(text);
            continue;
        }
        names_.push_back({static_cast<std::uint32_t>(bytes_.size()),
                          static_cast<std::uint32_t>(text), static_cast<std::uint16_t>(length)});
        bytes_.append(name.data(), name.size() + 1);
        if (names_.size() == maxNames) return note(ERROR_NOT_ENOUGH_MEMORY);
    }
    if (errno) note(errorFromErrno(errno));  // what was read before is still listed
}

void FolderWalk::sortNames() {
    // Upper-case forms are computed once and not at each comparison.
    std::u16string keys(texts_.size(), 0);
    std::transform(texts_.begin(), texts_.end(), keys.begin(),
                   [](WCHAR unit) { return upperCase(unit); });
    const std::u16string_view allKeys = keys;
    std::sort(names_.begin(), names_.end(), [&](const Name& a, const Name& b) {
        const int order =
            allKeys.substr(a.text, a.textLength).compare(allKeys.substr(b.text, b.textLength));
        if (order) return order < 0;
        // Names that differ only in case, or not even in their texts, still need a fixed order.
        const int spelling = textOf(a).compare(textOf(b));
        return spelling ? spelling < 0 : std::strcmp(bytesOf(a), bytesOf(b)) < 0;
    });
}

// Two names can have the same text: one has a byte where the other has the unit that stands for
// that byte. Only the name that a look-up of the text finds is listed, so that nobody copies one
// file and then deletes the other.
void FolderWalk::leaveOutTwins() {
    std::vector<Name> kept;
    kept.reserve(names_.size());
    for (std::size_t i = 0, end; i < names_.size(); i = end) {
        for (end = i + 1; end < names_.size() && textOf(names_[end]) == textOf(names_[i]);) ++end;
        const std::span<const Name> twins(&names_[i], end - i);
        if (twins.size() > 1)
            diagnose(category, u"Listed once, several names read the same: %s", textOf(twins[0]));
        kept.push_back(twins.size() > 1 ? foundFirst(twins) : twins[0]);
    }
    names_ = std::move(kept);
}

/// The name that findName() would choose of several with the same text.
const FolderWalk::Name& FolderWalk::foundFirst(std::span<const Name> twins) const {
    const std::u16string_view text = textOf(twins[0]);
    for (const auto& reading : {literalName(text), byteName(text)})
        for (const Name& name : twins)
            if (reading == bytesOf(name)) return name;
    return twins[0];
}

bool FolderWalk::next(WIN32_FIND_DATAW& entry) {
    // `..` gets the folder's own times as well, since the folder above a card's root isn't on the
    // card.
    if (dots_ < 2) {
        ++dots_;
        struct statx status;
        if (statEntry(folder_.get(), "", status)) {
            entry = {};
            entry.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
            setSizeAndTimes(entry, status);
            std::fill_n(entry.cFileName, dots_, u'.');
            return true;
        }
        note(errorFromErrno(errno));
    }
    while (position_ < names_.size())
        if (describe(names_[position_++], entry)) return true;
    SetLastError(error_);
    return false;
}

bool FolderWalk::describe(const Name& name, WIN32_FIND_DATAW& entry) {
    const char* bytes = bytesOf(name);
    struct statx status;
    bool known = statEntry(folder_.get(), bytes, status);
    Descriptor linked;
    if (known && S_ISLNK(status.stx_mode)) {
        // A link is listed as what it leads to, and only if that is a regular file which root_ can
        // open. Links to folders could make a walk of all folders endless.
        linked = root_.open(way_ + '/' + bytes, O_PATH);
        known = linked && statEntry(linked.get(), "", status) && isFile(status);
        if (!known) return false;
    }
    if (!known) {
        // A damaged entry must not hide the others, so its error is only noted, for the end of the
        // walk. An entry that has just been deleted is no error.
        if (errno != ENOENT && errno != ESTALE) note(errorFromErrno(errno));
        return false;
    }
    if (!isFile(status) && !isFolder(status)) return false;

    // FAT attributes can be read only through an open file.
    std::optional<DWORD> fat;
    if (fat_) {
        const Descriptor file(
            ::openat(folder_.get(), bytes, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
        if (file) fat = fatAttributes(file.get());
    }
    entry.dwFileAttributes = attributesOf(status, bytes, fat);
    setSizeAndTimes(entry, status);
    entry.dwReserved0 = entry.dwReserved1 = 0;
    entry.cFileName[textOf(name).copy(entry.cFileName, maxUnits)] = 0;
    entry.cAlternateFileName[0] = 0;
    return true;
}

}  // namespace zlk::platform
