#pragma once
// An open file.

#include <cstdint>

#include "platform/base/ForkMark.h"
#include "platform/base/Handle.h"
#include "platform/descriptor.h"

namespace zlk::platform {

class FileHandle final : public Handle {
  public:
    /// `access` are the rights that the opener asked for.
    FileHandle(Descriptor file, DWORD access) noexcept : file_(std::move(file)), access_(access) {}
    ~FileHandle() override;

    /// Makes the sharing mode hold against all openers of ours, by locks far behind the file's
    /// end. A file system without such locks counts as granted. False with
    /// ERROR_SHARING_VIOLATION.
    bool claim(DWORD share);

    bool read(void* buffer, DWORD size, DWORD& done) override;
    bool write(const void* buffer, DWORD size, DWORD& done) override;
    /// What can't be flushed (/dev/null) has nothing left to write.
    bool flush() override;
    bool size(std::int64_t& bytes) override;
    int descriptor() const noexcept override { return file_.get(); }
    bool setLastWrite(const FILETIME& time);

  private:
    bool allows(DWORD right) const;
    const Descriptor file_;
    const DWORD access_;
    const ForkMark opener_;
};

}  // namespace zlk::platform
