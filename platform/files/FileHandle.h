#pragma once
// The object behind the handle of an open file. It also holds the locks that enforce its opener's
// sharing mode against others, if the file system has such locks.

#include <cstdint>

#include "platform/base/ForkMark.h"
#include "platform/base/Handle.h"
#include "platform/descriptor.h"

namespace zlk::platform {

class FileHandle final : public Handle {
  public:
    /// `access` are the rights that the opener asked for (GENERIC_...); with 0 the handle serves
    /// only to ask for the file's size or status.
    FileHandle(Descriptor file, DWORD access) noexcept : file_(std::move(file)), access_(access) {}
    ~FileHandle() override;

    /// Puts the sharing mode into force against all who open the file by CreateFileW with access
    /// rights, in any process, by locking bytes far beyond the file's end. It succeeds without
    /// effect on a file system that has no such locks, and for a handle without access rights.
    /// False with ERROR_SHARING_VIOLATION.
    bool claim(DWORD share);

    bool read(void* buffer, DWORD size, DWORD& done) override;
    bool write(const void* buffer, DWORD size, DWORD& done) override;
    /// Succeeds for what can't be flushed, such as /dev/null.
    bool flush() override;
    bool size(std::int64_t& bytes) override;
    int descriptor() const noexcept override { return file_.get(); }
    bool setLastWrite(const FILETIME& time);

  private:
    /// False with ERROR_ACCESS_DENIED if the opener didn't ask for this right.
    bool allows(DWORD right) const;
    const Descriptor file_;
    const DWORD access_;
    const ForkMark opener_;  // the process that opened the file, and has its locks
};

}  // namespace zlk::platform
