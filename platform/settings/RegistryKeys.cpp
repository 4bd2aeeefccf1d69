#include "platform/settings/RegistryKeys.h"

#include <pthread.h>

#include <algorithm>

#include "platform/base/MachineRoot.h"
#include "platform/immortal.h"
#include "platform/settings/RegistryTables.h"

namespace zlk::platform {
namespace {

constexpr DWORD writeAccess = KEY_SET_VALUE | KEY_CREATE_SUB_KEY;

/// The path of `subKey` below `parent`. Throws `error` for a text that can't name a key.
RegistryPath pathBelow(const RegistryPath& parent, const WCHAR* subKey, DWORD error) {
    RegistryPath path = parent;
    std::u16string_view rest = subKey ? subKey : u"";
    while (!rest.empty()) {
        const std::size_t end = rest.find(u'\\');
        const std::u16string_view component = rest.substr(0, end);
        if (component.empty() || component.size() > maxRegistryKeyName ||
            path.size() == maxRegistryLevels || end + 1 == rest.size())
            throw RegistryFailure{error};
        path.push_back(RegistryName::of(component));
        rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
    }
    return path;
}

const RegistryValue* findValue(const RegistryValues& values, const std::u16string& folded) {
    const auto found = std::find_if(values.begin(), values.end(), [&](const RegistryValue& value) {
        return value.name.folded == folded;
    });
    return found == values.end() ? nullptr : &*found;
}

/// Whether a value already has this content, so that writing it would change nothing. With `anew`,
/// the value must also be the last one and have this spelling. A large value, whose data isn't at
/// hand, never counts as equal.
bool standsAlready(const RegistryValues& values, const RegistryName& name, DWORD type,
                   std::span<const BYTE> data, bool anew) {
    const RegistryValue* const held = findValue(values, name.folded);
    if (!held || held->type != type || !held->data || !std::ranges::equal(*held->data, data))
        return false;
    return !anew || (held == &values.back() && held->name.name == name.name);
}

std::int64_t rootIdOf(const RegistryKeys::OpenKey& key) {
    return key.root == HKEY_CLASSES_ROOT ? classesRootId : localMachineId;
}

std::int64_t makePath(RegistryDatabase& database, std::int64_t key,
                      std::span<const RegistryName> path) {
    for (const RegistryName& name : path) key = makeChild(database, key, name);
    return key;
}

/// The number of `key` in the store, for writing to the key or below it. A key that only the
/// backdrop has is made in the store for this.
std::int64_t ownOrMade(RegistryDatabase& database, const RegistryKeys::OpenKey& key) {
    return key.own ? key.own : makePath(database, rootIdOf(key), key.path);
}

}  // namespace

const RegistryValues& RegistryKeys::View::values() {
    static const RegistryValues none;
    const RegistryValues* own = store_.values(key_.own);
    if (!own) own = &none;
    if (!behind_) return *own;
    if (!joinedValues_) {
        joinedValues_ = *own;
        for (const RegistryValue& value : behind_->values)
            if (!findValue(*own, value.name.folded)) joinedValues_->push_back(value);
    }
    return *joinedValues_;
}

const RegistryNames& RegistryKeys::View::subKeys() {
    static const RegistryNames none;
    const RegistryNames* own = store_.subKeys(key_.own);
    if (!own) own = &none;
    if (!behind_) return *own;
    if (!joinedNames_) {
        const auto before = [](const RegistryName& a, const RegistryName& b) {
            return a.folded < b.folded;
        };
        // A union takes the first list's entry of two equal ones: the store's spelling wins.
        std::set_union(own->begin(), own->end(), behind_->subKeys.begin(), behind_->subKeys.end(),
                       std::back_inserter(joinedNames_.emplace()), before);
    }
    return *joinedNames_;
}

const RegistryValue* RegistryKeys::View::value(const std::u16string& folded) {
    const RegistryValues* own = store_.values(key_.own);
    const RegistryValue* found = own ? findValue(*own, folded) : nullptr;
    if (!found) return behind_ ? findValue(behind_->values, folded) : nullptr;
    if (found->data) return found;
    // A large value is read now. Type and data come from the same read, because the value may have
    // changed since it was listed.
    large_ = *found;
    if (!store_.value(key_.own, folded, large_->type, large_->data.emplace())) return nullptr;
    large_->size = static_cast<DWORD>(large_->data->size());
    return &*large_;
}

RegistryKeys& RegistryKeys::instance() {
    static Immortal<RegistryKeys> keys;
    // At the end of the process the connection is closed properly, so that SQLite can write the log
    // back into the file. The connection stays open if a thread is still using the keys.
    struct Closer {
        ~Closer() {
            const std::unique_lock guard(keys->lock_, std::try_to_lock);
            if (guard) keys->store_.release(false);
        }
    };
    static const Closer closer;
    return *keys;
}

RegistryKeys::RegistryKeys()
    : store_(MachineRoot::instance().path() + "/registry.db", MachineRoot::instance().fileMode()),
      classesRoot_{HKEY_CLASSES_ROOT, {}, KEY_ALL_ACCESS, classesRootId, 0},
      localMachine_{HKEY_LOCAL_MACHINE, {}, KEY_ALL_ACCESS, localMachineId, 0} {
    // See RegistryKeys.h for why the connection is closed before a fork.
    pthread_atfork(
        [] {
            instance().lock_.lock();
            instance().store_.release(true);
        },
        [] { instance().lock_.unlock(); }, [] { instance().lock_.unlock(); });
}

RegistryKeys::OpenKey& RegistryKeys::find(HKEY key) {
    if (key == HKEY_CLASSES_ROOT || key == HKEY_LOCAL_MACHINE) {
        if (!MachineRoot::instance().usable()) throw RegistryFailure{ERROR_ACCESS_DENIED};
        return key == HKEY_CLASSES_ROOT ? classesRoot_ : localMachine_;
    }
    const auto found = keys_.find(reinterpret_cast<std::uintptr_t>(key));
    if (found == keys_.end()) throw RegistryFailure{ERROR_INVALID_HANDLE};
    return found->second;
}

RegistryKeys::OpenKey& RegistryKeys::findForWriting(HKEY handle) {
    OpenKey& key = find(handle);
    if (!(key.access & KEY_SET_VALUE)) throw RegistryFailure{ERROR_ACCESS_DENIED};
    return key;
}

std::shared_ptr<const RegistryContent> RegistryKeys::behind(HKEY root, const RegistryPath& path) {
    return root == HKEY_CLASSES_ROOT ? classes_.find(path) : devices_->find(path);
}

RegistryKeys::View RegistryKeys::locate(OpenKey& key, bool lookForFile) {
    store_.refresh(lookForFile);
    // A key's number means nothing any more if it is from an earlier file, or if the key is gone.
    const bool isRoot = key.path.empty();
    if (!isRoot && key.own && (key.generation != store_.generation() || !store_.values(key.own)))
        key.own = 0;
    std::shared_ptr<const RegistryContent> content;
    try {
        content = behind(key.root, key.path);
    } catch (const RegistryFailure&) {
        // A backdrop that can't be read must not hide keys that the store itself has.
        if (!key.own) throw;
    }
    // A key of the backdrop may have been made in the store since the handle was opened.
    if (content && !key.own) {
        key.own = descend(rootIdOf(key), key.path);
        key.generation = store_.generation();
    }
    if (!content && !key.own) throw RegistryFailure{ERROR_KEY_DELETED};
    return {store_, key, std::move(content)};
}

std::int64_t RegistryKeys::descend(std::int64_t key, std::span<const RegistryName> path) {
    for (const RegistryName& name : path)
        if (key) key = store_.child(key, name.folded);
    return key;
}

HKEY RegistryKeys::add(HKEY root, RegistryPath path, DWORD access, std::int64_t own) {
    last_ += 4;
    keys_.emplace(last_, OpenKey{root, std::move(path), access, own, store_.generation()});
    return reinterpret_cast<HKEY>(last_);
}

bool RegistryKeys::isBehind(const OpenKey& parent, const View& seen, const RegistryPath& path) {
    if (!seen.behind_ || path.size() != parent.path.size() + 1)
        return behind(parent.root, path) != nullptr;
    return std::ranges::any_of(seen.behind_->subKeys, [&](const RegistryName& name) {
        return name.folded == path.back().folded;
    });
}

HKEY RegistryKeys::openExisting(OpenKey& parent, const View& seen, const RegistryPath& path,
                                DWORD access) {
    std::int64_t own = 0;
    // One transaction for the whole path, instead of one for each key on it.
    store_.read([&] {
        own = descend(parent.own, std::span(path).subspan(parent.path.size()));
        // A caller that opens a key mostly reads its values next, so they are read in the same
        // transaction.
        store_.values(own);
    });
    if (!own && !path.empty() && !isBehind(parent, seen, path)) return nullptr;
    // Callers expect that missing rights are reported by the opening and not by the first write.
    if ((access & writeAccess) && !store_.writable()) throw RegistryFailure{ERROR_ACCESS_DENIED};
    return add(parent.root, path, access, own);
}

HKEY RegistryKeys::open(HKEY parentKey, const WCHAR* subKey, DWORD access) {
    OpenKey& parent = find(parentKey);
    const RegistryPath path = pathBelow(parent.path, subKey, ERROR_FILE_NOT_FOUND);
    const View seen = locate(parent, true);
    const HKEY key = openExisting(parent, seen, path, access);
    if (!key) throw RegistryFailure{ERROR_FILE_NOT_FOUND};
    return key;
}

HKEY RegistryKeys::create(HKEY parentKey, const WCHAR* subKey, DWORD access, bool& made) {
    OpenKey& parent = find(parentKey);
    const RegistryPath path = pathBelow(parent.path, subKey, ERROR_INVALID_PARAMETER);
    const View seen = locate(parent, true);
    made = false;
    if (const HKEY key = openExisting(parent, seen, path, access)) return key;
    const auto below = std::span(path).subspan(parent.path.size());
    std::int64_t own = 0;
    store_.write([&](RegistryDatabase& database) {
        // `made` is found out under the write lock, so that of two processes only one reports the
        // key as made.
        made = !descend(parent.own, below);
        own = makePath(database, ownOrMade(database, parent), below);
    });
    return add(parent.root, path, access, own);
}

void RegistryKeys::close(HKEY key) {
    if (key == HKEY_CLASSES_ROOT || key == HKEY_LOCAL_MACHINE) return;
    if (!keys_.erase(reinterpret_cast<std::uintptr_t>(key)))
        throw RegistryFailure{ERROR_INVALID_HANDLE};
}

RegistryKeys::View RegistryKeys::view(HKEY key) {
    return locate(find(key), false);
}

void RegistryKeys::setValue(HKEY handle, const RegistryName& name, DWORD type,
                            std::span<const BYTE> data, bool anew) {
    OpenKey& key = findForWriting(handle);
    locate(key, true);
    // A listing of cameras stores a value for each camera, and nearly always the value is there
    // already. Comparing first saves the write.
    const RegistryValues* const values = store_.values(key.own);
    if (values && standsAlready(*values, name, type, data, anew)) return;
    std::int64_t own = 0;
    store_.write([&](RegistryDatabase& database) {
        own = ownOrMade(database, key);
        if (anew) platform::deleteValue(database, own, name.folded);
        writeValue(database, own, name, type, data);
    });
    key.own = own;
    key.generation = store_.generation();
}

void RegistryKeys::deleteValue(HKEY handle, const RegistryName& name) {
    OpenKey& key = findForWriting(handle);
    const View view = locate(key, true);
    bool gone = false;
    const RegistryValues* own = store_.values(key.own);
    if (own && findValue(*own, name.folded))
        store_.write([&](RegistryDatabase& database) {
            gone = platform::deleteValue(database, key.own, name.folded);
        });
    if (gone) return;
    const bool installed = view.behind_ && findValue(view.behind_->values, name.folded);
    throw RegistryFailure{installed ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND};
}

void RegistryKeys::deleteTree(HKEY handle, const WCHAR* subKey) {
    OpenKey& parent = findForWriting(handle);
    const RegistryPath path = pathBelow(parent.path, subKey, ERROR_FILE_NOT_FOUND);
    if (path.size() == parent.path.size()) throw RegistryFailure{ERROR_INVALID_PARAMETER};
    locate(parent, true);
    const auto below = std::span(path).subspan(parent.path.size());
    bool gone = false;
    if (descend(parent.own, below))
        store_.write([&](RegistryDatabase& database) {
            const std::int64_t own = descend(parent.own, below);
            if (own) deleteKey(database, own);
            gone = own != 0;
        });
    if (gone) return;
    throw RegistryFailure{behind(parent.root, path) ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND};
}

void RegistryKeys::saveClasses(const std::string& path) {
    find(HKEY_CLASSES_ROOT);
    store_.refresh(true);
    InstalledClasses::save(store_, path);
}

}  // namespace zlk::platform
