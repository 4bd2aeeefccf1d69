// The operations that bring objects from the host. An announcement is complete even without its
// content: this is how a host sends a camera a message.

#include <system_error>

#include "tools/zlkcamsim/Dataset.h"
#include "tools/zlkcamsim/Responder.h"

namespace zlk::camsim {
namespace {

constexpr std::size_t maxAnnouncements = 1000;

/// Parses an ObjectInfo dataset. False if it is malformed.
bool read(ByteView dataset, Announcement& announced) {
    constexpr std::size_t fromThumbFormatToSequence = 2 + 6 * 4 + 4 + 2 + 4 + 4;
    DatasetReader reader(dataset);
    reader.skip(4);  // the storage, which the operation's parameters decide
    announced.format = reader.u16();
    reader.skip(2);
    announced.size = reader.u32();
    reader.skip(fromThumbFormatToSequence);
    announced.name = reader.text();
    for (int text = 0; text < 3; ++text) reader.text();  // dates and keywords
    return reader.complete();
}

}  // namespace

Code Responder::placeObject(const Message& command, Announcement& announced) const {
    // A storage of 0 leaves the choice to the camera.
    const std::uint32_t storage = command.parameter(0), parent = command.parameter(1);
    if (store_.storages().empty()) return response::InvalidStorageID;
    announced.storage = storage ? storage : store_.storages().front().id;
    if (!store_.storage(announced.storage)) return response::InvalidStorageID;
    // 0 and rootParent mean the root of the storage.
    if (!parent || parent == rootParent) return response::OK;
    const StoredObject* const folder = store_.find(parent);
    if (!folder || !folder->isFolder() || (storage && folder->storage != storage))
        return response::InvalidParentObject;
    announced.storage = folder->storage;
    announced.parent = parent;
    return response::OK;
}

Reply Responder::sendObjectInfo(const Message& command) {
    // After a new announcement, the content of an earlier one can't come any more.
    expectsObject_ = false;
    Announcement announced;
    if (!read(received_->bytes(), announced)) return failure(response::IncompleteTransfer);
    if (const Code code = placeObject(command, announced); code != response::OK)
        return failure(code);
    std::error_code unknown;
    const auto space = std::filesystem::space(store_.storage(announced.storage)->folder, unknown);
    // A real camera, too, refuses what it has no room for before the content comes.
    if (!unknown && announced.size > space.available) return failure(response::StoreFull);
    announced.handle = store_.reserveHandle();
    if (announced.format == format::Association) makeFolder(announced);
    announcements_.push_back(announced);
    if (announcements_.size() > maxAnnouncements) announcements_.pop_front();
    expectsObject_ = !announced.filled;
    return {response::OK,
            {announced.storage, announced.parent ? announced.parent : rootParent, announced.handle},
            {},
            {}};
}

void Responder::makeFolder(Announcement& announced) {
    StoredObject folder;
    folder.handle = announced.handle;
    folder.storage = announced.storage;
    folder.parent = announced.parent;
    folder.name = announced.name;
    folder.format = format::Association;
    folder.path =
        store_.folderPath(announced.storage, announced.parent) / safeFileName(announced.name);
    std::error_code ignored;  // if it fails, files for this folder are refused
    std::filesystem::create_directory(folder.path, ignored);
    store_.add(std::move(folder));
    announced.filled = true;
}

Reply Responder::sendObject(const Message&) {
    if (!expectsObject_) return failure(response::NoValidObjectInfo);
    Announcement& announced = announcements_.back();
    // The size was announced; a transfer of another size is a broken one.
    if (received_->size() != announced.size) return failure(response::IncompleteTransfer);
    const std::string name = safeFileName(announced.name);
    const auto path = store_.folderPath(announced.storage, announced.parent) / name;
    if (!received_->complete() || !received_->keepAs(path)) return failure(response::AccessDenied);
    expectsObject_ = false;
    announced.filled = true;
    store_.forget(path);  // an object whose file was replaced is gone
    // The object gets the handle that the host was told at the announcement.
    StoredObject object;
    object.handle = announced.handle;
    object.storage = announced.storage;
    object.parent = announced.parent;
    object.name = announced.name;
    object.format = announced.format;
    object.path = path;
    store_.add(std::move(object));
    return {};
}

}  // namespace zlk::camsim
