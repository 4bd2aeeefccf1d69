#include "tools/zlkcamsim/FileMapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zlk::camsim {
namespace {

[[noreturn]] void fail(const std::filesystem::path& path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

}  // namespace

Payload mapFile(const std::filesystem::path& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) fail(path);
    struct stat status {};
    void* start = nullptr;
    std::size_t size = 0;
    // An empty file can't be mapped; its payload is empty.
    if (::fstat(file, &status) == 0 && status.st_size > 0) {
        size = static_cast<std::size_t>(status.st_size);
        start = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file, 0);
    }
    const int error = errno;
    ::close(file);
    if (start == MAP_FAILED) {
        errno = error;
        fail(path);
    }
    if (!start) return {};
    // The mapping lives as long as the last payload that refers to it.
    return {{static_cast<const std::byte*>(start), size},
            std::shared_ptr<const void>(start, [size](void* mapped) { ::munmap(mapped, size); })};
}

}  // namespace zlk::camsim
