#pragma once
// Takes the bytes of one file as the device gives them: into a copy, or only into a sum.

#include <cstdint>
#include <span>

#include "platform/file_sinks.h"
#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/TargetFolder.h"

namespace zlk {

class CopySink final : public FileSink {
  public:
    CopySink() = default;
    explicit CopySink(const HiddenFile& copy) : copy_(&copy) {}

    bool take(std::span<const std::byte> bytes) override;

    std::uint64_t size() const { return summer_.size(); }
    ContentSum sum() const { return summer_.sum(); }
    /// Why the copy couldn't be written; ERROR_SUCCESS if it could. Not every component tells.
    DWORD error() const { return error_; }

  private:
    const HiddenFile* const copy_ = nullptr;
    ContentSummer summer_;
    DWORD error_ = ERROR_SUCCESS;
};

}  // namespace zlk
