#include "tools/zlkcam/history/Generation.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <span>
#include <stdexcept>
#include <thread>

#include "platform/descriptor.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/history/ChainFile.h"
#include "tools/zlkcam/history/HistoryFile.h"
#include "tools/zlkcam/history/HistoryNames.h"
#include "tools/zlkcam/history/ManifestWriter.h"
#include "tools/zlkcam/history/NewFile.h"
#include "tools/zlkcam/history/SumsFile.h"

namespace zlk {
namespace {

using namespace std::chrono_literals;

// Another program writes its manifest within seconds; after a stop the user doesn't want to wait.
constexpr std::chrono::milliseconds patience = 30s, patienceOnceStopped = 500ms, pause = 50ms;

[[noreturn]] void fail(const std::string& what, const std::string& reason,
                       const std::string& advice = {}) {
    throw Failure(ExitStatus::FileUnusable, "Nothing is recorded: " + what + ": " + reason + ".",
                  advice);
}

/// The folder `ascmhl` of a folder, locked against other writers as long as this lives, if the
/// file system has such locks.
class ManifestFolder {
  public:
    explicit ManifestFolder(int folder);

    /// Adds a manifest and its entry in the chain file. Returns the manifest's name.
    std::string add(const Generation& generation);

  private:
    /// Locks the folder. False if the file system has no locks; then only the rule that no manifest
    /// is ever replaced protects against another writer. Throws Failure if another program keeps
    /// the lock.
    bool lock() const;
    // Deletes the hidden files of writers that were killed.
    void removeLeftovers() const;
    ChainFile readChain() const;
    /// Adds to the chain the manifests that it lacks because their writers were killed. Returns the
    /// next number.
    std::uint32_t complete(ChainFile& chain) const;

    const int folder_;
    Descriptor manifests_;
};

ManifestFolder::ManifestFolder(int folder) : folder_(folder) {
    const std::string name(historyFolder);
    if (::mkdirat(folder, name.c_str(), 0777) != 0 && errno != EEXIST)
        fail("the folder " + name + " can't be made", std::strerror(errno));
    manifests_ =
        Descriptor(::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!manifests_) fail("the folder " + name + " can't be opened", std::strerror(errno));
    // The holder of the lock is the only writer, so all hidden files are leftovers.
    if (lock()) removeLeftovers();
}

bool ManifestFolder::lock() const {
    for (auto waited = 0ms; ::flock(manifests_.get(), LOCK_EX | LOCK_NB) != 0; waited += pause) {
        // Any other error means that there are no locks here, and waiting wouldn't help.
        if (errno != EWOULDBLOCK && errno != EINTR) return false;
        if (waited >= (StopFlag::raised() ? patienceOnceStopped : patience))
            fail("the folder " + std::string(historyFolder) + " can't be written",
                 "another program is writing there");
        std::this_thread::sleep_for(pause);
    }
    return true;
}

void ManifestFolder::removeLeftovers() const {
    for (const std::string& name : namesIn(manifests_.get()))
        if (name.starts_with(".zlkcam-") && name.ends_with(".part"))
            ::unlinkat(manifests_.get(), name.c_str(), 0);
}

ChainFile ManifestFolder::readChain() const {
    try {
        return ChainFile::read(manifests_.get());
    } catch (const UnusableFile& unusable) {
        fail(std::string("the chain file ") + chainName + " can't be used", unusable.what(),
             "Move the folder " + std::string(historyFolder) + " away, and keep it.");
    }
}

std::uint32_t ManifestFolder::complete(ChainFile& chain) const {
    // A writer takes the number after the highest listed one. So if it was killed before it wrote
    // the chain file, its manifest has a higher number than all that are listed.
    std::uint64_t last = 0;
    for (const ChainFile::Entry& entry : chain.entries()) last = std::max(last, entry.number);
    std::map<std::uint32_t, std::string> unlisted;
    for (const std::string& name : namesIn(manifests_.get())) {
        const auto number = generationNumber(name);
        if (number && *number > last && !chain.find(name)) unlisted[*number] = name;
    }
    for (const auto& [number, name] : unlisted) {
        HistoryFile file(manifests_.get(), name);
        file.sumUp(DigestKind::C4);
        chain.add(number, name, file.digest());
        last = number;
    }
    if (last >= lastGeneration) fail("it would be a generation too many", std::to_string(last));
    return static_cast<std::uint32_t>(last + 1);
}

std::string ManifestFolder::add(const Generation& generation) {
    ChainFile chain = readChain();
    const std::uint32_t number = complete(chain);
    std::string name = manifestName(number, nameOfFolder(folder_), generation.made);

    NewFile manifest(manifests_.get(), name);
    Digester c4(DigestKind::C4);
    writeManifest(generation, [&](std::string_view text) {
        c4.add(std::as_bytes(std::span(text)));
        manifest.write(text);
    });
    manifest.finish();
    // Both files are complete on the disk before either gets its name, so that a full disk shows
    // while nothing has changed.
    chain.add(number, name, c4.digest());
    NewFile newChain(manifests_.get(), chainName);
    newChain.write(chain.text());
    newChain.finish();
    // The manifest gets its name first: if the program is killed before the chain is replaced, the
    // next run finds and lists the manifest. In the other order the chain could name a manifest
    // that doesn't exist.
    if (!manifest.takeName(name)) fail(name + " can't be made", "another program has made it");
    try {
        newChain.replace(chainName);
    } catch (const Failure&) {
        // A manifest that isn't in the chain is deleted, to fail as if nothing had happened. If
        // only the new chain's flush failed, both files stay, as the chain names the manifest by
        // then.
        if (!newChain.hasName()) ::unlinkat(manifests_.get(), name.c_str(), 0);
        throw;
    }
    flushFolder(manifests_.get(), std::string(historyFolder));
    flushFolder(folder_, ".");
    return name;
}

/// Throws Failure if a path can't be written: a record without that file would look complete.
void requireRecordable(const Generation& generation, bool (*isWritable)(std::string_view)) {
    for (const HashRecord& record : generation.records)
        if (!isRecordedPath(record.path) || !isWritable(record.path))
            fail("this name can't be", record.path);
}

}  // namespace

std::string writeGeneration(int folder, const Generation& generation) {
    if (generation.records.empty()) return {};
    requireRecordable(generation, isXmlText);
    try {
        return std::string(historyFolder) + '/' + ManifestFolder(folder).add(generation);
    } catch (const UnusableFile& unusable) {
        fail("the folder " + std::string(historyFolder) + " can't be used", unusable.what());
    }
}

std::string writeSums(int folder, const Generation& generation, DigestKind kind) {
    requireRecordable(generation, [](std::string_view) { return true; });
    NewFile file(folder, datedName(nameOfFolder(folder), generation.made, digestName(kind)));
    bool hasLines = false;
    for (const HashRecord& record : generation.records) {
        // A checker would take the sum of the damaged file for the right one.
        if (record.action == HashAction::Failed) continue;
        const Digest* const sum = record.sum(kind);
        if (!sum) throw std::invalid_argument("a record without a sum for this sums file");
        file.write(sumsLine(*sum, record.path));
        hasLines = true;
    }
    if (!hasLines) return {};
    file.finish();
    return file.takeDatedName(generation.made, digestName(kind));
}

}  // namespace zlk
