#pragma once
// The folder on this machine that files of a device are copied into.
//
// A file is first written to a hidden name in the folder where it will lie,
// `.zlkcam-<run>-<name>.part`, and moved to its own name when it is whole; a move never replaces a
// file. So whatever is interrupted, and however, no half file has a name that anybody would take
// for a picture, and no file that was there before is touched. No two runs have a hidden name in
// common, of whatever users and on whatever computers; the leftovers of killed runs are taken
// away by a run that finds nobody has written to them for a day.
//
// Names come from the device and are made safe: nothing leads out of the folder, is hidden in it,
// or holds what a terminal or another system chokes on.

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/types.h"
#include "tools/zlkcam/ContentSum.h"

namespace zlk {

/// A file that must not outlive its use under its hidden name.
class HiddenFile {
  public:
    /// Makes it, and writes into nothing that has the name; throws Failure (FileUnusable).
    explicit HiddenFile(std::u16string name);
    ~HiddenFile();
    HiddenFile(HiddenFile&& other) noexcept
        : name_(std::exchange(other.name_, {})), file_(std::move(other.file_)) {}
    HiddenFile& operator=(HiddenFile&&) = delete;
    const std::u16string& name() const { return name_; }
    /// To be opened by while this lives. Whoever may write to the folder can exchange what has the
    /// name, for a link to another file of ours; this leads to the one that was made here.
    std::u16string path() const { return pathOfOpenFile(file_.get()); }
    /// Whether it is what a name leads to.
    bool isAt(const std::u16string& place) const;
    /// For reading and writing, whatever its name is. Others may open it meanwhile.
    HANDLE handle() const { return file_.get(); }
    /// False with the last error.
    bool size(std::uint64_t& bytes) const;
    /// It has another name now, or none, and is nobody's to take away.
    void letGo();
    /// Takes all of this process away, for a program that ends without leaving their scopes.
    static void removeAll();

  private:
    std::u16string name_;
    UniqueHandle file_;
};

class TargetFolder {
  public:
    /// Makes the folder if only its last component is missing. Throws Failure (FileUnusable), also
    /// where it lies on `device`, by whatever names; empty for one that is no folder.
    explicit TargetFolder(const std::u16string& path, const std::u16string& device = {});

    const std::u16string& path() const { return path_; }

    /// Where a file of the device with this path (components split at both slashes) shall lie.
    /// `flat` leaves its folders out.
    std::u16string fileFor(std::u16string_view devicePath, bool flat) const;

    /// Makes the folders between this one and `file`, as far as they are missing; throws Failure
    /// (FileUnusable), also where one of them leads to the device.
    void makeFoldersOf(const std::u16string& file);

    /// The hidden name next to `file` for what isn't whole yet.
    std::u16string hiddenName(const std::u16string& file) const;

    /// Moves a whole file to its name, to the first of `name`, `name (2)`, `name (3)` that is
    /// free; where one of them has the same bytes already, `part` is removed instead; a link to
    /// the device doesn't count. Throws Failure (FileUnusable) and leaves `part`. May run on a
    /// thread of its own beside everything else here.
    struct Placed {
        std::u16string file;
        bool wasThere = false;
    };
    Placed place(HiddenFile& part, const std::u16string& file);

    /// The file among `name`, `name (2)`... with this size and modification time, to the two
    /// seconds that a card's clock has; empty if there is none. A link to the device is none, nor
    /// is one that was placed or found before: each stands for one file of the device only, since
    /// two cards, or two folders of one, may have pictures of one name, size and time.
    std::u16string findSame(const std::u16string& file, std::uint64_t size, std::int64_t modified);

    /// Waits until the names of what lies in the folder, and in those made below it, are on the
    /// disk; false with the last error.
    bool flushNames() const;

  private:
    struct Namesake {
        std::u16string file;
        std::int64_t modified;
        bool isCounted;                   ///< stands for a file of the device
        std::optional<ContentSum> sum{};  ///< once it was asked for
    };
    /// The files `name`, `name (2)`..., looked at once: there are cameras that call all their
    /// pictures by one name.
    struct Namesakes {
        unsigned next = 1;  ///< the first number that none of them has
        std::unordered_multimap<std::uint64_t, Namesake> bySize;
    };

    void enter(const std::u16string& folder);
    Namesakes& namesakesOf(const std::u16string& file);
    /// Takes the next number's file among them; false if there is none.
    static bool takeNext(Namesakes& namesakes, const std::u16string& file);
    /// The one with the same bytes; null if there is none. `sum` is of `part`, if it was needed.
    Namesake* copyAmong(Namesakes& namesakes, const HiddenFile& part, std::uint64_t size,
                        std::optional<ContentSum>& sum) const;
    bool isCopy(const HiddenFile& part, const std::u16string& file) const;

    std::u16string path_;
    const std::u16string device_;
    std::vector<std::u16string> entered_;
    std::unordered_map<std::u16string, Namesakes> namesakes_;
    std::mutex namesakesInUse_;
    const std::u16string run_;
};

/// Digits that no two runs have in common.
std::u16string newRun();
/// The hidden name that a run has next to `file` for what isn't whole yet.
std::u16string hiddenName(const std::u16string& file, const std::u16string& run);

/// Whether two files have the same bytes; none with the last error where one can't be read.
std::optional<bool> sameContent(const std::u16string& a, const std::u16string& b);

/// Waits until the bytes of a file are on the disk; false with the last error.
bool flushFile(const std::u16string& file);

/// Bytes of a file; false with the last error.
bool fileSize(const std::u16string& file, std::uint64_t& size);

}  // namespace zlk
