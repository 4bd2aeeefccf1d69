#include "tools/zlkcam/unload/CopySink.h"

#include <algorithm>
#include <cerrno>

#include "tools/zlkcam/WholeWrite.h"

namespace zlk {
namespace {

// Components may hand over smaller pieces; larger writes mean fewer system calls for each copy.
constexpr std::size_t blockSize = 256 * 1024;

}  // namespace

CopySink::CopySink(std::vector<std::byte>& block, const Wishes& wishes)
    : block_(block),
      sha256_(wishes.sha256 ? std::make_unique<Digester>(DigestKind::Sha256) : nullptr),
      headSize_(wishes.head) {
    block_.clear();  // a file that failed leaves its rest here
}

bool CopySink::take(std::span<const std::byte> bytes) {
    // The gathered bytes go first, so that the order is kept.
    if (block_.size() + bytes.size() > blockSize) {
        const bool isPassedOn = passOn(block_);
        block_.clear();
        if (!isPassedOn) return false;
    }
    // A piece that is larger than a block gains nothing by being gathered.
    if (bytes.size() > blockSize) return passOn(bytes);
    block_.insert(block_.end(), bytes.begin(), bytes.end());
    return true;
}

void CopySink::finish() {
    passOn(block_);
    block_.clear();
}

bool CopySink::passOn(std::span<const std::byte> bytes) {
    for (Copy& each : copies_)
        // A copy that missed some bytes is of no use, so nothing more is written to it. The others
        // go on.
        if (each.error == 0 && !writeWhole(each.copy->file(), bytes)) each.error = errno;
    if (isLost()) return false;
    // The sums are made of the same bytes in memory that were written, without another reading.
    summer_.add(bytes);
    if (sha256_) sha256_->add(bytes);
    const auto kept = bytes.first(std::min(bytes.size(), headSize_ - head_.size()));
    head_.insert(head_.end(), kept.begin(), kept.end());
    return true;
}

std::string CopySink::sha256() const {
    return sha256_ ? sha256_->digest().text() : std::string();
}

int CopySink::errorOf(const HiddenCopy& copy) const {
    return std::ranges::find(copies_, &copy, &Copy::copy)->error;
}

bool CopySink::isLost() const {
    return !copies_.empty() &&
           std::ranges::all_of(copies_, [](const Copy& each) { return each.error != 0; });
}

}  // namespace zlk
