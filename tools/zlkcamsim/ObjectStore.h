#pragma once
// The storages of a camera, each a folder of this machine, and the objects on them. A handle is
// never used for a second object.

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

/// A file or folder of the camera, or one that a tester has made up.
struct StoredObject {
    std::uint32_t handle = 0, storage = 0;
    std::uint32_t parent = 0;  ///< handle of its folder; 0: it lies in the root
    std::u16string name;
    Code format = format::Undefined;
    bool isProtected = false;
    std::filesystem::path path;  ///< its file or folder; empty if the content is `memory`
    bool borrowed = false;  ///< the file isn't the camera's and stays when the object is deleted
    Payload memory;
    std::time_t taken = 0;  ///< when content in memory was made
    // Values that ObjectInfo gives instead of the true ones, to test the host.
    std::optional<std::uint32_t> statedSize;
    std::optional<std::u16string> statedDate;
    mutable std::optional<JpegFacts> picture;  ///< read when first asked for

    bool isFolder() const { return format == format::Association; }
    /// Bytes of the content; 0 if the file has vanished.
    std::uint64_t size() const;
    std::time_t modified() const;
    /// The content, mapped if it is a file. Throws std::system_error.
    Payload content() const;
    /// Facts of a JPEG picture; the defaults for other objects, and if the file can't be read.
    const JpegFacts& facts() const;
};

/// A card.
struct Storage {
    std::uint32_t id;
    std::filesystem::path folder;
};

/// Used on the thread of the event loop only.
class ObjectStore {
  public:
    /// Adds a folder as a storage, with all files and folders in it that aren't hidden, but without
    /// links to folders. Throws std::filesystem::filesystem_error.
    void addStorage(const std::filesystem::path& folder);

    /// Takes a card out: its objects disappear, its files stay. False if there is no such storage.
    bool removeStorage(std::uint32_t id);

    const std::deque<Storage>& storages() const { return storages_; }
    /// Null if no storage has this id.
    const Storage* storage(std::uint32_t id) const;

    const std::map<std::uint32_t, StoredObject>& objects() const { return objects_; }
    /// Null if no object has this handle. The pointer is valid until the object is removed.
    StoredObject* find(std::uint32_t handle);

    /// Returns a handle that no object has had.
    std::uint32_t reserveHandle() { return ++lastHandle_; }
    /// Adds an object under its handle, or under a new one if its handle is 0.
    StoredObject& add(StoredObject object);
    /// Removes an object and everything in it, from the inside out, and deletes the files except
    /// borrowed ones. An object that is protected or can't be removed stays, and so do all folders
    /// whose turn comes later. The result is then false, and also if no object has this handle.
    bool remove(std::uint32_t handle);

    /// Removes the objects whose content is this file, and leaves the file.
    void forget(const std::filesystem::path& file);

    /// The folder of this machine in which the contents of a folder of the camera lie. For parent
    /// 0, and for an object without a file, it is the storage's folder. Empty if there is no such
    /// storage.
    std::filesystem::path folderPath(std::uint32_t storage, std::uint32_t parent) const;

  private:
    void scan(const std::filesystem::path& folder, std::uint32_t storage, std::uint32_t parent);

    std::deque<Storage> storages_;
    std::map<std::uint32_t, StoredObject> objects_;
    std::uint32_t lastHandle_ = 0, lastStorage_ = 0;
};

/// The format that belongs to a name's extension; Undefined for other extensions.
Code formatOf(const std::u16string& name);
/// A safe name for the file of an object: never empty, at most 255 bytes, without slashes,
/// backslashes or bytes below 0x20, and not hidden.
std::string safeFileName(const std::u16string& name);

}  // namespace zlk::camsim
