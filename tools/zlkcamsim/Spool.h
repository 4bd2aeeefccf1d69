#pragma once
// Takes in the bytes of a data phase from the host, and keeps them until the operation has used
// them.

#include <filesystem>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// Keeps the bytes up to `limit`, in memory or in a file, and counts all of them.
class Spool {
  public:
    explicit Spool(std::uint64_t limit) : limit_(limit) {}
    /// Keeps the bytes in `file`, which is made or emptied, and is deleted with this object unless
    /// keepAs() succeeded. Throws std::system_error.
    Spool(std::uint64_t limit, std::filesystem::path file);
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    void add(ByteView bytes);
    /// Number of bytes that came, also those beyond the limit.
    std::uint64_t size() const { return size_; }
    /// Whether all bytes that came were kept.
    bool complete() const { return size_ <= limit_ && !failed_; }
    /// The bytes, if they are kept in memory.
    ByteView bytes() const { return memory_; }
    /// Moves the file to its final name and replaces a file there. False if that fails.
    bool keepAs(const std::filesystem::path& path);

  private:
    std::uint64_t limit_, size_ = 0;
    Bytes memory_;
    std::filesystem::path file_;
    int descriptor_ = -1;
    bool failed_ = false;
};

}  // namespace zlk::camsim
