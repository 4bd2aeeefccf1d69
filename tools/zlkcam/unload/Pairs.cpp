#include "tools/zlkcam/unload/Pairs.h"

#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/text.h"
#include "tools/zlkcam/unload/SafeName.h"

namespace zlk {
namespace {

std::u16string_view withoutExtension(std::u16string_view path) {
    const std::u16string_view name = fileNameIn(path);
    return path.substr(0, path.size() - name.size() + extensionOf(name));
}

}  // namespace

std::vector<std::vector<std::size_t>> pairsOf(const std::vector<FileRecord>& files) {
    std::vector<std::u16string> paths;
    paths.reserve(files.size());
    // FAT and exFAT don't distinguish the case of names, so names are compared in upper case.
    for (const FileRecord& file : files) paths.push_back(upperCase(file.cameraPath));

    // A camera may list the same name several times. Its first IMG_1.JPG then belongs to its first
    // IMG_1.CR2, the second to the second, and so on.
    std::vector<std::vector<std::size_t>> groups;
    std::unordered_map<std::u16string_view, std::size_t> timesSeen;
    std::unordered_map<std::u16string_view, std::vector<std::size_t>> groupsOfStem;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const std::size_t occurrence = timesSeen[paths[i]]++;
        std::vector<std::size_t>& ofStem = groupsOfStem[withoutExtension(paths[i])];
        // `occurrence` is at most `ofStem.size()`, because each earlier file of this name lies in a
        // group of its own.
        if (occurrence == ofStem.size()) {
            ofStem.push_back(groups.size());
            groups.emplace_back();
        }
        groups[ofStem[occurrence]].push_back(i);
    }
    return groups;
}

}  // namespace zlk
