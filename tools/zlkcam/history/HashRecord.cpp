#include "tools/zlkcam/history/HashRecord.h"

#include <algorithm>

#include "platform/text.h"

namespace zlk {
namespace {

constexpr std::size_t longestPath = 4095;  // the kernel takes no longer ones

/// Whether a path component stays in the folder and doesn't lead into its history. Case doesn't
/// matter, because some file systems don't distinguish it.
bool isComponent(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           !equalIgnoringCase(wideText(name), wideText(historyFolder));
}

}  // namespace

const Digest* HashRecord::sum(DigestKind kind) const {
    const auto found = std::ranges::find(sums, kind, &Digest::kind);
    return found == sums.end() ? nullptr : &*found;
}

const HashRecord* findRecord(const std::vector<HashRecord>& sorted, std::string_view path) {
    const auto found = std::ranges::lower_bound(sorted, path, {}, &HashRecord::path);
    return found == sorted.end() || found->path != path ? nullptr : &*found;
}

bool isUtf8(std::string_view bytes) {
    return bytes.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                                static_cast<int>(bytes.size()), nullptr, 0) > 0;
}

bool isRecordedPath(std::string_view path) {
    if (path.size() > longestPath || path.find('\0') != path.npos || !isUtf8(path)) return false;
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (!isComponent(path.substr(start, end - start))) return false;
        start = end + 1;
    }
    return true;
}

}  // namespace zlk
