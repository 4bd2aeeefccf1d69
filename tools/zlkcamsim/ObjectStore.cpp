#include "tools/zlkcamsim/ObjectStore.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/text.h"
#include "tools/zlkcamsim/FileMapping.h"

namespace zlk::camsim {

namespace fs = std::filesystem;

std::uint64_t StoredObject::size() const {
    if (path.empty() || isFolder()) return memory.bytes.size();
    // The file may have vanished; an error then shows when its content is read.
    std::error_code missing;
    const auto size = fs::file_size(path, missing);
    return missing ? 0 : size;
}

std::time_t StoredObject::modified() const {
    std::error_code missing;
    const auto written = path.empty() ? fs::file_time_type{} : fs::last_write_time(path, missing);
    if (path.empty() || missing) return taken;
    return std::chrono::system_clock::to_time_t(std::chrono::file_clock::to_sys(written));
}

Payload StoredObject::content() const {
    return path.empty() ? memory : mapFile(path);
}

const JpegFacts& StoredObject::facts() const {
    if (!picture) {
        picture.emplace();
        try {
            if (format == format::ExifJpeg) picture = JpegFacts::of(content().bytes);
        } catch (const std::exception&) {
            // If the file can't be read, the host learns it when it asks for the content.
        }
    }
    return *picture;
}

void ObjectStore::addStorage(const fs::path& folder) {
    // The upper half of a storage's id is the slot, the lower half the partition.
    const std::uint32_t id = ++lastStorage_ << 16 | 1;
    storages_.push_back({id, fs::canonical(folder)});
    scan(storages_.back().folder, id, 0);
}

bool ObjectStore::removeStorage(std::uint32_t id) {
    std::erase_if(objects_, [id](const auto& each) { return each.second.storage == id; });
    return std::erase_if(storages_, [id](const Storage& each) { return each.id == id; }) > 0;
}

void ObjectStore::scan(const fs::path& folder, std::uint32_t storage, std::uint32_t parent) {
    std::vector<fs::directory_entry> entries{fs::directory_iterator(folder), {}};
    // The entries are sorted, so that unchanged folders get the same handles at each start.
    std::sort(entries.begin(), entries.end());
    for (const fs::directory_entry& entry : entries) {
        const std::string name = entry.path().filename();
        // A link to a folder could lead in a circle.
        const bool isFolder = entry.is_directory() && !entry.is_symlink();
        if (name.starts_with('.') || !(isFolder || entry.is_regular_file())) continue;
        StoredObject object;
        object.storage = storage;
        object.parent = parent;
        object.name = wideText(name);
        object.format = isFolder ? format::Association : formatOf(object.name);
        object.path = entry.path();
        const std::uint32_t handle = add(std::move(object)).handle;
        if (isFolder) scan(entry.path(), storage, handle);
    }
}

const Storage* ObjectStore::storage(std::uint32_t id) const {
    const auto found = std::find_if(storages_.begin(), storages_.end(),
                                    [id](const Storage& each) { return each.id == id; });
    return found == storages_.end() ? nullptr : &*found;
}

StoredObject* ObjectStore::find(std::uint32_t handle) {
    const auto found = objects_.find(handle);
    return found == objects_.end() ? nullptr : &found->second;
}

StoredObject& ObjectStore::add(StoredObject object) {
    if (!object.handle) object.handle = reserveHandle();
    const std::uint32_t handle = object.handle;
    return objects_.insert_or_assign(handle, std::move(object)).first->second;
}

bool ObjectStore::remove(std::uint32_t handle) {
    std::vector<std::uint32_t> doomed{handle};
    // Each object is entered once, since testers make objects that lie in themselves.
    for (std::size_t i = 0; i < doomed.size(); ++i)
        for (const auto& [child, object] : objects_)
            if (object.parent == doomed[i] &&
                std::find(doomed.begin(), doomed.end(), child) == doomed.end())
                doomed.push_back(child);
    bool whole = true;
    // The walk goes from the inside out, so that folders are empty when their turn comes.
    for (auto each = doomed.rbegin(); each != doomed.rend(); ++each) {
        const auto found = objects_.find(*each);
        if (found == objects_.end()) return false;
        const StoredObject& object = found->second;
        std::error_code error;
        // A folder stays if anything before it in the walk couldn't be removed.
        const bool kept = object.isProtected || (object.isFolder() && !whole);
        if (!kept && !object.path.empty() && !object.borrowed) fs::remove(object.path, error);
        if (kept || error)
            whole = false;
        else
            objects_.erase(found);
    }
    return whole;
}

void ObjectStore::forget(const fs::path& file) {
    std::erase_if(objects_, [&file](const auto& each) { return each.second.path == file; });
}

fs::path ObjectStore::folderPath(std::uint32_t storageId, std::uint32_t parent) const {
    // An object without a file, such as a folder that a tester made up, has its children in the
    // storage's own folder.
    const auto folder = objects_.find(parent);
    if (folder != objects_.end() && !folder->second.path.empty()) return folder->second.path;
    const Storage* const home = storage(storageId);
    return home ? home->folder : fs::path();
}

Code formatOf(const std::u16string& name) {
    static constexpr std::array<std::pair<std::u16string_view, Code>, 19> formats{
        {{u"JPG", format::ExifJpeg},
         {u"JPEG", format::ExifJpeg},
         {u"XML", format::Script},
         {u"MRK", format::Dpof},
         {u"TXT", format::Text},
         {u"HTM", format::Html},
         {u"HTML", format::Html},
         {u"WAV", format::Wav},
         {u"MP3", format::Mp3},
         {u"AVI", format::Avi},
         {u"MPG", format::Mpeg},
         {u"MPEG", format::Mpeg},
         {u"MOV", format::QuickTime},
         {u"BMP", format::Bmp},
         {u"GIF", format::Gif},
         {u"PNG", format::Png},
         {u"TIF", format::Tiff},
         {u"TIFF", format::Tiff},
         {u"JFIF", format::Jfif}}};
    const std::size_t dot = name.rfind(u'.');
    if (dot == std::u16string::npos) return format::Undefined;
    const std::u16string extension = upperCase(std::u16string_view(name).substr(dot + 1));
    const auto found = std::find_if(formats.begin(), formats.end(),
                                    [&](const auto& row) { return row.first == extension; });
    return found == formats.end() ? format::Undefined : found->second;
}

std::string safeFileName(const std::u16string& name) {
    std::string safe = utf8Text(name);
    std::replace_if(
        safe.begin(), safe.end(),
        [](char c) { return c == '/' || c == '\\' || static_cast<unsigned char>(c) < 0x20; }, '_');
    // The name must not be hidden, which also excludes `..`.
    if (safe.starts_with('.')) safe[0] = '_';
    while (safe.size() > 255) safe.pop_back();
    return safe.empty() ? "UNNAMED" : safe;
}

}  // namespace zlk::camsim
