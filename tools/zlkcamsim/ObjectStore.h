#pragma once
// The storages of a camera, each a folder of this machine, and the objects on them. Handles are
// given once and never again.

#include <chrono>
#include <deque>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "tools/zlkcamsim/Codes.h"
#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/JpegFacts.h"

namespace zlk::camsim {

struct StoredObject {
    std::uint32_t handle = 0, storage = 0;
    std::uint32_t parent = 0;  ///< handle of its folder; 0: it lies in the root
    std::u16string name;
    Code format = format::Undefined;
    bool isProtected = false;
    std::filesystem::path path;  ///< empty: the content is `memory`
    bool borrowed = false;       ///< the file belongs to somebody else and outlives the object
    Payload memory;
    std::time_t taken = 0;  ///< of content in memory
    // What ObjectInfo says instead of the truth.
    std::optional<std::uint32_t> statedSize;
    std::optional<std::u16string> statedDate;
    mutable std::optional<JpegFacts> picture;  ///< once somebody has asked

    bool isFolder() const { return format == format::Association; }
    std::uint64_t size() const;
    std::time_t modified() const;
    /// Throws std::system_error.
    Payload content() const;
    const JpegFacts& facts() const;
};

struct Storage {
    std::uint32_t id;
    std::filesystem::path folder;
};

class ObjectStore {
  public:
    /// With everything that it holds but hidden files and links to folders. Throws
    /// std::filesystem::filesystem_error.
    void addStorage(const std::filesystem::path& folder);

    /// Takes the card out: its objects are gone, its files stay. False if there is none.
    bool removeStorage(std::uint32_t id);

    const std::deque<Storage>& storages() const { return storages_; }
    /// Null if there is none.
    const Storage* storage(std::uint32_t id) const;

    const std::map<std::uint32_t, StoredObject>& objects() const { return objects_; }
    StoredObject* find(std::uint32_t handle);

    /// A handle that no object has had.
    std::uint32_t reserveHandle() { return ++lastHandle_; }
    /// Under its handle, or a new one if that is 0.
    StoredObject& add(StoredObject object);
    /// The object and what lies in it, with its files. False if something of it is protected, or
    /// its file can't be removed: that stays, and the folders above it.
    bool remove(std::uint32_t handle);

    /// Any object whose content is this file, which stays.
    void forget(const std::filesystem::path& file);

    /// Where the things of a folder lie; the storage's own for parent 0.
    std::filesystem::path folderPath(std::uint32_t storage, std::uint32_t parent) const;

  private:
    void scan(const std::filesystem::path& folder, std::uint32_t storage, std::uint32_t parent);

    std::deque<Storage> storages_;
    std::map<std::uint32_t, StoredObject> objects_;
    std::uint32_t lastHandle_ = 0, lastStorage_ = 0;
};

/// By the name's extension.
Code formatOf(const std::u16string& name);
/// As a file's name that stays in its folder: never empty, no slash, no control character.
std::string safeFileName(const std::u16string& name);

}  // namespace zlk::camsim
