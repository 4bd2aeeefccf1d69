#include "tools/zlkcam/MediumReader.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <span>
#include <vector>

#include "platform/descriptor.h"
#include "tools/zlkcam/FileSystem.h"
#include "tools/zlkcam/StopFlag.h"

namespace zlk {
namespace {

constexpr std::size_t blockSize = 1 << 20;
constexpr std::align_val_t blockAlignment{4096};  // a direct read needs a disk's alignment
// Pages are looked at in windows of this size, to need little memory and address space for large
// files.
constexpr std::uint64_t residencyWindow = std::uint64_t{1} << 30;

struct FreeBlock {
    void operator()(std::byte* block) const noexcept { ::operator delete(block, blockAlignment); }
};
using Block = std::unique_ptr<std::byte[], FreeBlock>;

/// Whether any page of the file is in the system's cache; true, too, if that can't be found out.
bool isInMemory(int file, std::uint64_t size) {
    const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    std::vector<unsigned char> resident;
    for (std::uint64_t at = 0; at < size; at += residencyWindow) {
        const auto length = static_cast<std::size_t>(std::min(size - at, residencyWindow));
        void* const mapped =
            ::mmap(nullptr, length, PROT_READ, MAP_SHARED, file, static_cast<off_t>(at));
        if (mapped == MAP_FAILED) return true;
        resident.assign((length + page - 1) / page, 1);
        // mincore looks at the page cache through the mapping, without reading anything in.
        const bool isKnown = ::mincore(mapped, length, resident.data()) == 0;
        ::munmap(mapped, length);
        if (!isKnown || std::ranges::any_of(resident, [](unsigned char each) { return each & 1; }))
            return true;
    }
    return false;
}

struct Sum {
    Digest digest;
    std::uint64_t size;
};

std::optional<Sum> sumOf(int file, DigestKind kind,
                         const std::function<void(std::uint64_t)>& progress) {
    const Block block(static_cast<std::byte*>(::operator new(blockSize, blockAlignment)));
    Digester digester(kind);
    for (std::uint64_t size = 0;;) {
        if (StopFlag::raised()) throw stoppedEarly();
        const ssize_t read = ::pread(file, block.get(), blockSize, static_cast<off_t>(size));
        if (read < 0 && errno == EINTR) continue;
        if (read < 0) return std::nullopt;
        if (read == 0) return Sum{digester.digest(), size};
        digester.add(std::span(block.get(), static_cast<std::size_t>(read)));
        size += static_cast<std::uint64_t>(read);
        if (progress) progress(size);
    }
}

Descriptor open(const std::string& path, int flags = 0) {
    return Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags));
}

}  // namespace

std::optional<MediumDigest> digestFromMedium(int file, DigestKind kind,
                                             const std::function<void(std::uint64_t)>& progress) {
    struct stat status {};
    if (::fstat(file, &status) != 0) return std::nullopt;
    // The file's pages are dropped from the cache first, so that an ordinary read goes to the disk.
    ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    const bool isFresh = !isInMemory(file, static_cast<std::uint64_t>(status.st_size));
    std::optional<Sum> sum;
    bool isDirect = false;
    if (!isFresh) {
        // Another program may have the file mapped, or the system kept its pages. A direct read
        // doesn't go through the cache.
        const Descriptor direct = open("/proc/self/fd/" + std::to_string(file), O_DIRECT);
        if (direct) sum = sumOf(direct.get(), kind, progress);
        isDirect = sum.has_value();
        // EINVAL means that the file system has no direct reads. Any other error may come from the
        // disk, and an ordinary read would hide it with cached data.
        if (!isDirect && errno != EINVAL) return std::nullopt;
    }
    if (!isDirect) sum = sumOf(file, kind, progress);
    if (!sum) return std::nullopt;
    return MediumDigest{sum->digest, sum->size, (isFresh || isDirect) && isOnMedium(file)};
}

}  // namespace zlk
