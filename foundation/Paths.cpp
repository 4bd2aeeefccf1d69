#include "foundation/Paths.h"

#include <algorithm>

#include "foundation/TraceLine.h"
#include "platform/files.h"

namespace zlk {
namespace {

bool isSlash(WCHAR unit) {
    return unit == u'\\' || unit == u'/';
}

/// Length of the part of a path for which no folder has to be made: `X:\`, `\\server\share`,
/// leading slashes.
std::size_t rootLength(const std::u16string& path) {
    std::size_t at = 0;
    if (path.size() > 1 && path[1] == u':') at = 2;
    const bool network = at == 0 && path.size() > 1 && isSlash(path[0]) && isSlash(path[1]);
    while (at < path.size() && isSlash(path[at])) ++at;
    for (int component = 0; network && component < 2; ++component) {
        while (at < path.size() && !isSlash(path[at])) ++at;
        while (at < path.size() && isSlash(path[at])) ++at;
    }
    return at;
}

void trimEnd(std::u16string& text) {
    while (!text.empty() && iswspace(text.back())) text.pop_back();
}

/// The path without white space and slashes at its end, except for the slash of a root.
std::u16string withoutEnd(std::u16string path) {
    trimEnd(path);
    const std::size_t root = rootLength(path);
    while (path.size() > root && isSlash(path.back())) path.pop_back();
    return path;
}

}  // namespace

bool directoryExists(std::u16string path) {
    path = withoutEnd(std::move(path));
    if (path.empty()) return false;
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool makeDirectoryTree(std::u16string path) {
    path = withoutEnd(std::move(path));
    if (path.empty()) return false;
    if (directoryExists(path)) return true;
    // Each round extends the path by one folder and makes it if it is missing.
    for (std::size_t end = rootLength(path); end < path.size();) {
        while (end < path.size() && !isSlash(path[end])) ++end;
        const std::u16string folder = path.substr(0, end);
        // Another process may make the folder at the same time, so a failure counts only if the
        // folder is missing afterwards.
        if (!directoryExists(folder) && !CreateDirectoryW(folder.c_str(), nullptr) &&
            !directoryExists(folder))
            return false;
        while (end < path.size() && isSlash(path[end])) ++end;
    }
    return directoryExists(path);
}

std::u16string trimmed(const std::u16string& text) {
    std::u16string result = text;
    trimEnd(result);
    std::size_t start = 0;
    while (start < result.size() && iswspace(result[start])) ++start;
    return result.substr(start);
}

std::u16string joinPath(std::u16string a, std::u16string b) {
    a = trimmed(a);
    b = trimmed(b);
    while (!a.empty() && a.back() == u'\\') a.pop_back();
    b.erase(0, std::min(b.find_first_not_of(u'\\'), b.size()));
    if (a.empty()) return b;
    if (b.empty()) return a;
    return a + u'\\' + b;
}

std::u16string fileNamePart(const std::u16string& path) {
    const PathParts parts = splitPath(path);
    return std::u16string(parts.name) + std::u16string(parts.extension);
}

std::u16string dirPart(const std::u16string& path) {
    return std::u16string(splitPath(path).directory);
}

std::u16string GetTempDir() {
    TraceLine("SysUtils", "GetTempDir - begin");
    WCHAR system[MAX_PATH];
    const DWORD length = GetTempPathW(MAX_PATH, system);
    const bool found = length > 0 && length < MAX_PATH;
    std::u16string path(system, found ? length : 0);
    path += u"ZL GlimmerBox\\Temporary File Cache";
    if (found) makeDirectoryTree(path);  // a relative path would be made in the current folder
    return path;
}

}  // namespace zlk
