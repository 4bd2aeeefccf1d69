#include "tools/zlkcam/unload/FileContent.h"

#include <unistd.h>

#include <cerrno>
#include <vector>

#include "tools/zlkcam/StopFlag.h"

namespace zlk {
namespace {

constexpr std::size_t blockSize = 256 * 1024;

/// Reads a block from `at` on. It is shorter only at the end of the file. False if reading fails.
bool readBlock(int file, off_t at, std::vector<std::byte>& block) {
    block.resize(blockSize);
    std::size_t size = 0;
    while (size < block.size()) {
        const ssize_t read =
            ::pread(file, block.data() + size, block.size() - size, at + static_cast<off_t>(size));
        if (read < 0 && errno == EINTR) continue;
        if (read < 0) return false;
        if (read == 0) break;
        size += static_cast<std::size_t>(read);
    }
    block.resize(size);
    return true;
}

/// Gives the whole file to an object that makes a sum. False if reading fails.
template <class Summer>
bool addAll(int file, Summer& summer) {
    std::vector<std::byte> block;
    for (off_t at = 0;; at += static_cast<off_t>(blockSize)) {
        if (StopFlag::raised()) throw stoppedEarly();
        if (!readBlock(file, at, block)) return false;
        summer.add(block);
        if (block.size() < blockSize) return true;
    }
}

}  // namespace

std::optional<ContentSum> contentSumOf(int file) {
    ContentSummer summer;
    return addAll(file, summer) ? std::optional(summer.sum()) : std::nullopt;
}

std::optional<Digest> digestOf(int file, DigestKind kind) {
    Digester digester(kind);
    return addAll(file, digester) ? std::optional(digester.digest()) : std::nullopt;
}

bool haveSameContent(int a, int b) {
    std::vector<std::byte> first, second;
    for (off_t at = 0;; at += static_cast<off_t>(blockSize)) {
        if (StopFlag::raised()) throw stoppedEarly();
        if (!readBlock(a, at, first) || !readBlock(b, at, second) || first != second) return false;
        if (first.size() < blockSize) return true;
    }
}

}  // namespace zlk
