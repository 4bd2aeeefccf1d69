#include "platform/file_sinks.h"

#include <map>
#include <mutex>

#include "platform/files.h"
#include "platform/files/SinkHandle.h"
#include "platform/immortal.h"
#include "platform/text.h"

namespace zlk::platform {

/// What the handles of a sink share with each other and with the table of sinks.
struct SinkHandle::Entry {
    // Guards the sink and the handles' counts; held while the sink runs.
    std::mutex inUse;
    FileSink* sink = nullptr;  // borrowed; null once its SinkFile is gone
};

namespace {

constexpr std::u16string_view prefix = u"\\\\.\\zlk-sink-";

// The sinks of this process by their paths.
class SinkTable {
  public:
    std::u16string add(FileSink& sink) {
        const auto entry = std::make_shared<SinkHandle::Entry>();
        entry->sink = &sink;
        const std::lock_guard lock(inUse_);
        std::u16string path = formatText(u"%s%d", prefix, ++last_);
        entries_.emplace(path, entry);
        return path;
    }
    std::shared_ptr<SinkHandle::Entry> find(std::u16string_view path) {
        const std::lock_guard lock(inUse_);
        const auto found = entries_.find(path);
        return found == entries_.end() ? nullptr : found->second;
    }
    void remove(const std::u16string& path) {
        const auto entry = find(path);
        {
            // Waits for a write that is under way. From then on handles that are still open find no
            // sink.
            const std::lock_guard lock(entry->inUse);
            entry->sink = nullptr;
        }
        const std::lock_guard lock(inUse_);
        entries_.erase(path);
    }

  private:
    std::mutex inUse_;  // guards the members below; never held while a sink runs
    int last_ = 0;      // number of the path given last
    std::map<std::u16string, std::shared_ptr<SinkHandle::Entry>, std::less<>> entries_;
};

SinkTable& sinks() {
    static Immortal<SinkTable> table;
    return *table;
}

}  // namespace

bool SinkHandle::isNamed(std::u16string_view path) noexcept {
    return path.starts_with(prefix);
}

std::shared_ptr<SinkHandle> SinkHandle::open(std::u16string_view path, DWORD access) {
    auto entry = sinks().find(path);
    if (!entry || !(access & GENERIC_WRITE)) {
        SetLastError(entry ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND);
        return nullptr;
    }
    SetLastError(ERROR_SUCCESS);
    return std::make_shared<SinkHandle>(std::move(entry));
}

bool SinkHandle::write(const void* buffer, DWORD size, DWORD& done) {
    done = 0;
    const std::lock_guard lock(entry_->inUse);
    if (!entry_->sink) {
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    bool isTaken = false;
    try {
        isTaken = entry_->sink->take({static_cast<const std::byte*>(buffer), size});
    } catch (...) {
    }
    if (!isTaken) {
        SetLastError(ERROR_DISK_FULL);
        return false;
    }
    done = size;
    written_ += size;
    return true;
}

bool SinkHandle::size(std::int64_t& bytes) {
    const std::lock_guard lock(entry_->inUse);
    bytes = written_;
    return true;
}

}  // namespace zlk::platform

SinkFile::SinkFile(FileSink& sink) : path_(zlk::platform::sinks().add(sink)) {}

SinkFile::~SinkFile() {
    zlk::platform::sinks().remove(path_);
}
