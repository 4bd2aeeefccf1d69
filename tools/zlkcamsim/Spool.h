#pragma once
// What a data phase brings, kept while it arrives.

#include <filesystem>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// Keeps bytes as far as `limit`: in memory, or in a file.
class Spool {
  public:
    explicit Spool(std::uint64_t limit) : limit_(limit) {}
    /// Into a new file, which is gone again with this object unless keepAs() was called. Throws
    /// std::system_error.
    Spool(std::uint64_t limit, std::filesystem::path file);
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    void add(ByteView bytes);
    /// What came, beyond the limit too.
    std::uint64_t size() const { return size_; }
    /// Everything that came has been kept.
    bool complete() const { return size_ <= limit_ && !failed_; }
    /// Of one in memory.
    ByteView bytes() const { return memory_; }
    /// False if the file system refuses.
    bool keepAs(const std::filesystem::path& path);

  private:
    std::uint64_t limit_, size_ = 0;
    Bytes memory_;
    std::filesystem::path file_;
    int descriptor_ = -1;
    bool failed_ = false;
};

}  // namespace zlk::camsim
