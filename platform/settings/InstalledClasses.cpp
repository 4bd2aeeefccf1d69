#include "platform/settings/InstalledClasses.h"

#include <cstring>
#include <vector>

#include "platform/base/ModulesFolder.h"
#include "platform/base/TrustedFile.h"
#include "platform/settings/RegistryTables.h"

namespace zlk::platform {
namespace {

// A store with more keys than this counts as damaged, since they may lead in circles.
constexpr std::size_t maxKeys = 100'000;

/// Whether the default value of a key with this name is a path: that of a class's module
/// (InprocServer32) or of a type library (win32, win64).
bool namesFile(std::u16string_view key) {
    return key == u"INPROCSERVER32" || key == u"WIN64" || key == u"WIN32";
}

/// Cuts a path to its bare file name, because installed modules are found beside the store.
void makeBare(std::vector<BYTE>& text) {
    std::u16string path(text.size() / 2, u'\0');
    std::memcpy(path.data(), text.data(), path.size() * 2);
    const std::size_t slash = path.find_last_of(u"/\\");
    if (slash != path.npos) text.erase(text.begin(), text.begin() + 2 * (slash + 1));
}

}  // namespace

InstalledClasses::InstalledClasses() : path_(modulesFolder() + "/classes.db") {}

std::shared_ptr<const RegistryContent> InstalledClasses::find(const RegistryPath& path) {
    // Each call finds out whether the file is still the one that was read, which takes one statx().
    const FileStamp now = path_.empty() ? FileStamp{} : FileStamp::of(path_);
    if (now != stamp_) {
        failure_ = ERROR_SUCCESS;
        try {
            keys_ = now.exists() ? load() : Keys();
        } catch (const RegistryFailure& failure) {
            // A file that isn't trusted, may not be read or is damaged stays refused until it
            // changes. Other failures, such as a want of descriptors, may pass, so the next call
            // tries again.
            if (failure.code != ERROR_ACCESS_DENIED && failure.code != ERROR_BADDB) throw;
            failure_ = failure.code;
        }
        stamp_ = now;
    }
    if (failure_) throw RegistryFailure{failure_};
    std::u16string key;
    for (const RegistryName& name : path) key += u'\\' + name.folded;
    const auto found = keys_.find(key);
    return found == keys_.end() ? nullptr : found->second;
}

InstalledClasses::Keys InstalledClasses::load() {
    if (!openTrusted(path_)) throw RegistryFailure{GetLastError()};
    Keys keys;
    if (!checkStoreFile(path_)) return keys;
    RegistryDatabase database(path_, RegistryDatabase::Mode::Immutable);
    checkTables(database, path_);

    // The keys that are still to be read stand in a list, because recursion could exhaust the stack
    // if the keys lead in circles.
    std::vector<std::pair<std::int64_t, std::u16string>> waiting{{classesRootId, u""}};
    while (!waiting.empty()) {
        const auto [key, path] = std::move(waiting.back());
        waiting.pop_back();
        if (keys.size() >= maxKeys) database.failAsBroken();
        auto content = std::make_shared<RegistryContent>();
        content->values = readValues(database, key);
        for (RegistryValue& value : content->values)
            if (!value.data)
                readValue(database, key, value.name.folded, value.type, value.data.emplace());
        content->subKeys = readSubKeys(database, key);
        for (const RegistryName& name : content->subKeys)
            waiting.emplace_back(findChild(database, key, name.folded), path + u'\\' + name.folded);
        keys[path] = std::move(content);
    }
    return keys;
}

void InstalledClasses::save(RegistryStore& store, const std::string& path) {
    RegistryDatabase target;
    createTables(target);
    std::size_t keys = 0;
    // A key in the store, its copy in the target, and whether its default value is a path to cut.
    struct Pair {
        std::int64_t from, to;
        bool namesFile;
    };
    std::vector<Pair> waiting{{classesRootId, classesRootId, false}};
    // One transaction, so that no change by another process comes between the reads.
    store.read([&] {
        while (!waiting.empty()) {
            const Pair key = waiting.back();
            waiting.pop_back();
            if (++keys > maxKeys) target.failAsBroken();
            const RegistryValues* values = store.values(key.from);
            if (!values) continue;
            for (const RegistryValue& value : *values) {
                DWORD type = value.type;
                std::vector<BYTE> data;
                if (value.data)
                    data = *value.data;
                else
                    store.value(key.from, value.name.folded, type, data);
                if (key.namesFile && value.name.name.empty() && type == REG_SZ) makeBare(data);
                writeValue(target, key.to, value.name, type, data);
            }
            for (const RegistryName& name : *store.subKeys(key.from))
                waiting.push_back({store.child(key.from, name.folded),
                                   makeChild(target, key.to, name), namesFile(name.folded)});
        }
    });
    createWholeFile(path, target.image(), 0644);
}

}  // namespace zlk::platform
