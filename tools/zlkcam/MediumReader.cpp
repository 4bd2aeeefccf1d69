#include "tools/zlkcam/MediumReader.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <span>
#include <vector>

namespace zlk {
namespace {

class OpenFile {
  public:
    OpenFile(const std::string& path, int flags)
        : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags)) {}
    ~OpenFile() {
        if (file_ >= 0) ::close(file_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    explicit operator bool() const { return file_ >= 0; }
    int get() const { return file_; }

  private:
    const int file_;
};

constexpr std::size_t blockSize = 1 << 20;
constexpr std::align_val_t blockAlignment{4096};  // what a disk's sectors want of a direct read
constexpr std::uint64_t residencyWindow = std::uint64_t{1} << 30;

struct FreeBlock {
    void operator()(std::byte* block) const noexcept { ::operator delete(block, blockAlignment); }
};
using Block = std::unique_ptr<std::byte[], FreeBlock>;

/// Whether bytes that are read there, and aren't in memory, come from a medium of this machine.
bool liesOnMedium(int file) {
    constexpr long elsewhere[] = {TMPFS_MAGIC,      RAMFS_MAGIC,      NFS_SUPER_MAGIC,
                                  SMB_SUPER_MAGIC,  CIFS_SUPER_MAGIC, SMB2_SUPER_MAGIC,
                                  V9FS_MAGIC,       AFS_SUPER_MAGIC,  CODA_SUPER_MAGIC,
                                  CEPH_SUPER_MAGIC, FUSE_SUPER_MAGIC};
    struct statfs status {};
    return ::fstatfs(file, &status) == 0 &&
           std::ranges::find(elsewhere, static_cast<long>(status.f_type)) == std::end(elsewhere);
}

/// Whether the system has any of the file in memory; true also where it doesn't say.
bool isInMemory(int file, std::uint64_t size) {
    const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    std::vector<unsigned char> resident;
    for (std::uint64_t at = 0; at < size; at += residencyWindow) {
        const auto length = static_cast<std::size_t>(std::min(size - at, residencyWindow));
        void* const mapped =
            ::mmap(nullptr, length, PROT_READ, MAP_SHARED, file, static_cast<off_t>(at));
        if (mapped == MAP_FAILED) return true;
        resident.assign((length + page - 1) / page, 1);
        const bool isKnown = ::mincore(mapped, length, resident.data()) == 0;
        ::munmap(mapped, length);
        if (!isKnown || std::ranges::any_of(resident, [](unsigned char each) { return each & 1; }))
            return true;
    }
    return false;
}

std::optional<ContentSum> sumOf(int file) {
    const Block block(static_cast<std::byte*>(::operator new(blockSize, blockAlignment)));
    ContentSummer summer;
    for (;;) {
        const ssize_t read =
            ::pread(file, block.get(), blockSize, static_cast<off_t>(summer.size()));
        if (read < 0 && errno == EINTR) continue;
        if (read < 0) return std::nullopt;
        if (read == 0) return summer.sum();
        summer.add(std::span(block.get(), static_cast<std::size_t>(read)));
    }
}

}  // namespace

std::optional<MediumSum> sumFromMedium(const std::string& path) {
    const OpenFile file(path, 0);
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) return std::nullopt;
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    const bool isFresh = !isInMemory(file.get(), static_cast<std::uint64_t>(status.st_size));
    std::optional<ContentSum> sum;
    bool isDirect = false;
    if (!isFresh) {
        // Somebody has it mapped, or its pages are held back; a direct read goes past them.
        const OpenFile direct(path, O_DIRECT);
        if (direct) sum = sumOf(direct.get());
        isDirect = sum.has_value();
        // A disk that errs must not be covered by what the system remembers of it.
        if (!isDirect && errno != EINVAL) return std::nullopt;
    }
    if (!isDirect) sum = sumOf(file.get());
    if (!sum) return std::nullopt;
    return MediumSum{*sum, (isFresh || isDirect) && liesOnMedium(file.get())};
}

void forgetContents(const std::string& path) {
    const OpenFile file(path, 0);
    if (file) ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
}

}  // namespace zlk
