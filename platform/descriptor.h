#pragma once
// A file descriptor that is closed with its owner. Closing keeps errno, so that a function that
// fails can still report why after its descriptors are gone. Not thread-safe.

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace zlk {

/// Owns one descriptor, or none (-1). It can be moved and not copied.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) noexcept : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    /// Exchanges descriptors with `other`, whose destructor then closes the one held here before.
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() {
        const int error = errno;
        if (fd_ >= 0) ::close(fd_);
        errno = error;
    }

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }
    /// Gives up ownership: the caller closes the descriptor that is returned.
    int release() noexcept { return std::exchange(fd_, -1); }

  private:
    int fd_ = -1;
};

}  // namespace zlk
