#include "tools/zlkcamsim/Spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace zlk::camsim {

Spool::Spool(std::uint64_t limit, std::filesystem::path file)
    : limit_(limit), file_(std::move(file)) {
    // O_NOFOLLOW is needed because the tester may have a link of this name in the folder.
    descriptor_ =
        ::open(file_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), file_.string());
}

Spool::~Spool() {
    if (descriptor_ < 0) return;
    ::close(descriptor_);
    ::unlink(file_.c_str());
}

void Spool::add(ByteView bytes) {
    const std::uint64_t room = limit_ - std::min(limit_, size_);
    ByteView kept =
        bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(room, bytes.size())));
    size_ += bytes.size();
    if (descriptor_ < 0) {
        memory_.insert(memory_.end(), kept.begin(), kept.end());
        return;
    }
    while (!kept.empty() && !failed_) {
        // A failed write shows in complete(); the rest of the data phase is still counted.
        const ssize_t written = ::write(descriptor_, kept.data(), kept.size());
        failed_ = written == 0 || (written < 0 && errno != EINTR);
        if (written > 0) kept = kept.subspan(static_cast<std::size_t>(written));
    }
}

bool Spool::keepAs(const std::filesystem::path& path) {
    // After the rename, the destructor's unlink finds nothing.
    return ::rename(file_.c_str(), path.c_str()) == 0;
}

}  // namespace zlk::camsim
