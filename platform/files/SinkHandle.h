#pragma once
// The object behind the handle of a file sink (file_sinks.h). Bytes that are written to the handle
// go to the sink's FileSink while its SinkFile lives.

#include <memory>
#include <string_view>

#include "platform/base/Handle.h"
#include "platform/file_sinks.h"

namespace zlk::platform {

class SinkHandle final : public Handle {
  public:
    /// Whether a path has the form of a sink's name.
    static bool isNamed(std::u16string_view path) noexcept;
    /// Opens the sink with that name. Null with the last error: ERROR_FILE_NOT_FOUND if there is no
    /// such sink, ERROR_ACCESS_DENIED if `access` lacks GENERIC_WRITE.
    static std::shared_ptr<SinkHandle> open(std::u16string_view path, DWORD access);

    /// What the handles of one sink share; defined in file_sinks.cpp.
    struct Entry;
    explicit SinkHandle(std::shared_ptr<Entry> entry) noexcept : entry_(std::move(entry)) {}

    bool write(const void* buffer, DWORD size, DWORD& done) override;
    bool flush() override { return true; }
    bool size(std::int64_t& bytes) override;

  private:
    const std::shared_ptr<Entry> entry_;
    std::int64_t written_ = 0;  // bytes written by this handle; guarded by the entry's lock
};

}  // namespace zlk::platform
