#include "platform/objects/NamedSection.h"

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include "platform/base/PosixError.h"
#include "platform/error.h"
#include "platform/immortal.h"

namespace zlk::platform {
namespace {

constexpr std::uint64_t largestSection = 1024 * 1024 * 1024;  // bytes
constexpr std::uint64_t offsetUnit = 64 * 1024;               // a view begins at a multiple of this

class Mapping {
  public:
    Mapping(int fd, bool writable, std::uint64_t offset, std::size_t bytes) noexcept
        : bytes_(bytes),
          protection_(writable ? PROT_READ | PROT_WRITE : PROT_READ),
          base_(::mmap(nullptr, bytes, protection_, MAP_SHARED, fd, static_cast<off_t>(offset))) {}
    Mapping(Mapping&& other) noexcept
        : bytes_(other.bytes_),
          protection_(other.protection_),
          base_(std::exchange(other.base_, MAP_FAILED)) {}
    ~Mapping() { end(); }

    void* base() const noexcept { return base_ == MAP_FAILED ? nullptr : base_; }
    std::size_t bytes() const noexcept { return bytes_; }
    void end() noexcept {
        if (base_ != MAP_FAILED) ::munmap(base_, bytes_);
        base_ = MAP_FAILED;
    }
    /// Replaces the mapping by zeros that are private to this process, at the same address.
    void detach() noexcept {
        [[maybe_unused]] void* const same =
            ::mmap(base_, bytes_, protection_, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
    }

  private:
    std::size_t bytes_;
    int protection_;
    void* base_;
};

struct View {
    std::shared_ptr<NamedSection> section;  // a view keeps its section in existence
    std::uint64_t offset;                   // in the section, in bytes
    Mapping mapping;
};

// All views of this process by their addresses, guarded by `lock`.
struct Views {
    Views();
    std::mutex lock;
    std::map<const void*, View> all;
};

Views& views() {
    static Immortal<Views> instance;
    return *instance;
}

Views::Views() {
    pthread_atfork([] { views().lock.lock(); }, [] { views().lock.unlock(); },
                   [] {
                       // In the child a mapping would keep the file's description open, and the
                       // parent's object in existence.
                       for (auto& [base, view] : views().all) view.mapping.detach();
                       views().lock.unlock();
                   });
}

}  // namespace

bool NamedSection::make() {
    if (size_ == 0 || size_ > largestSection) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    return file_.layOut(NamedObjectFile::Kind::Section, false, size_);
}

bool NamedSection::join() {
    if (!file_.readHeader(NamedObjectFile::Kind::Section, size_)) return false;
    if (size_ > 0 && size_ <= largestSection && size_ <= file_.dataSize()) return true;
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

void* NamedSection::map(bool writable, std::uint64_t offset, std::uint64_t bytes) {
    if (lost()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    // The file may be shorter than its header says, if another process truncated it.
    const std::uint64_t there = std::min(size_, file_.dataSize());
    if (offset % offsetUnit != 0 || offset >= there || bytes > there - offset) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (bytes == 0) bytes = there - offset;
    Views& open = views();
    const std::lock_guard guard(open.lock);
    Mapping mapping(file_.descriptor(), writable,
                    static_cast<std::uint64_t>(NamedObjectFile::dataOffset) + offset,
                    static_cast<std::size_t>(bytes));
    void* const base = mapping.base();
    if (!base) {
        setLastErrorFromErrno();
        return nullptr;
    }
    auto self = std::static_pointer_cast<NamedSection>(shared_from_this());
    open.all.emplace(base, View{std::move(self), offset, std::move(mapping)});
    return base;
}

bool NamedSection::unmap(const void* view) noexcept {
    // `node` outlives the guard: dropping the view may end its section, and that takes the lock of
    // the named objects.
    decltype(Views::all)::node_type node;
    Views& open = views();
    const std::lock_guard guard(open.lock);
    node = open.all.extract(view);
    if (node.empty()) return false;
    node.mapped().mapping.end();
    return true;
}

std::size_t NamedSection::viewSize(const void* view) noexcept {
    Views& open = views();
    const std::lock_guard guard(open.lock);
    const auto found = open.all.find(view);
    if (found == open.all.end()) return 0;
    const auto& [section, offset, mapping] = found->second;
    if (section->lost()) return mapping.bytes();
    const std::uint64_t there = section->file_.dataSize();
    return std::min<std::size_t>(mapping.bytes(), there > offset ? there - offset : 0);
}

}  // namespace zlk::platform
