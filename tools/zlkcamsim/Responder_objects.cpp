// The operations on storages and objects.

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>
#include <system_error>

#include "platform/text.h"
#include "tools/zlkcamsim/Dataset.h"
#include "tools/zlkcamsim/PtpDate.h"
#include "tools/zlkcamsim/Responder.h"

namespace zlk::camsim {
namespace {

/// The value, or the largest number of the type if the value doesn't fit.
template <class Number>
Number clamped(std::uint64_t value) {
    return static_cast<Number>(std::min<std::uint64_t>(value, std::numeric_limits<Number>::max()));
}

/// A date of EXIF, `2006:07:15 10:30:00`, in the form of PTP. A text that hasn't the length of a
/// date is replaced by the time `otherwise`.
std::u16string dateOf(const std::string& exif, std::time_t otherwise) {
    if (exif.size() != 19) return ptpDate(otherwise);
    std::string date;
    for (const char c : exif)
        if (c != ':') date += c == ' ' ? 'T' : c;
    return wideText(date);
}

/// Whether a format parameter means the object: 0 means all, and `everything` all pictures.
bool matchesFormat(const StoredObject& object, std::uint32_t wanted) {
    if (!wanted) return true;
    return wanted == everything ? format::isImage(object.format) : object.format == wanted;
}

/// Whether a parent parameter means the object: 0 means all folders, and rootParent the root.
bool matchesParent(const StoredObject& object, std::uint32_t wanted) {
    return !wanted || object.parent == (wanted == rootParent ? 0 : wanted);
}

}  // namespace

Reply Responder::getStorageIDs(const Message&) {
    std::vector<std::uint32_t> ids;
    for (const Storage& storage : store_.storages()) ids.push_back(storage.id);
    return answer(DatasetWriter().u32s(ids).take());
}

Reply Responder::getStorageInfo(const Message& command) {
    const Storage* const storage = store_.storage(command.parameter(0));
    if (!storage) return failure(response::InvalidStorageID);
    std::error_code unknown;
    // This is the true space. A test can limit it by a small file system for the folder.
    const auto space = std::filesystem::space(storage->folder, unknown);
    // Values of ISO 15740 for a removable card that can be written and has the file system of
    // cameras.
    constexpr std::uint16_t removableMemory = 4, cardFileSystem = 3, writable = 0;
    DatasetWriter info;
    info.u16(removableMemory).u16(cardFileSystem).u16(writable);
    info.u64(unknown ? 0 : space.capacity).u64(unknown ? 0 : space.available).u32(everything);
    info.text(u"Memory card").text(wideText(storage->folder.filename().string()));
    return answer(info.take());
}

Reply Responder::selectObjects(const Message& command, std::vector<std::uint32_t>& handles) const {
    const std::uint32_t storage = command.parameter(0), format = command.parameter(1);
    std::uint32_t parent = command.parameter(2);
    if (storage != everything && !store_.storage(storage))
        return failure(response::InvalidStorageID);
    if (format && traits_.quirks.noFormatFilter)
        return failure(response::SpecificationByFormatUnsupported);
    // A habit of some makers: no parent means the root.
    if (!parent && traits_.quirks.rootOnly) parent = rootParent;
    if (parent && parent != rootParent && !store_.find(parent))
        return failure(response::InvalidParentObject);
    for (const auto& [handle, object] : store_.objects())
        if ((storage == everything || object.storage == storage) && matchesFormat(object, format) &&
            matchesParent(object, parent))
            handles.push_back(handle);
    spoilList(parent, handles);
    return {};
}

void Responder::spoilList(std::uint32_t parent, std::vector<std::uint32_t>& handles) const {
    const Quirks& quirks = traits_.quirks;
    const StoredObject* const folder = store_.find(parent);
    if (folder && quirks.listsItself) handles.push_back(folder->handle);
    if (folder && quirks.listsParent && folder->parent) handles.push_back(folder->parent);
    if (quirks.listsTwice)
        for (std::size_t i = handles.size(); i > 0; --i) handles.push_back(handles[i - 1]);
}

Reply Responder::getNumObjects(const Message& command) {
    std::vector<std::uint32_t> handles;
    Reply reply = selectObjects(command, handles);
    if (reply.code == response::OK) reply.parameters = {static_cast<std::uint32_t>(handles.size())};
    return reply;
}

Reply Responder::getObjectHandles(const Message& command) {
    std::vector<std::uint32_t> handles;
    Reply reply = selectObjects(command, handles);
    if (reply.code == response::OK) reply.data = DatasetWriter().u32s(handles).take();
    return reply;
}

Reply Responder::getObjectInfo(const Message& command) {
    const StoredObject* const object = store_.find(command.parameter(0));
    if (!object) return failure(response::InvalidObjectHandle);
    const JpegFacts& facts = object->facts();
    // Width and height of the thumbnail stand only in the thumbnail itself.
    JpegFacts thumbnail;
    if (facts.thumbnailSize)
        thumbnail =
            JpegFacts::of(object->content().part(facts.thumbnailOffset, facts.thumbnailSize).bytes);
    constexpr std::uint16_t genericFolder = 1;
    DatasetWriter info;
    info.u32(object->storage).u16(object->format).u16(object->isProtected);
    info.u32(object->statedSize.value_or(clamped<std::uint32_t>(object->size())));
    info.u16(facts.thumbnailSize ? format::Jfif : 0)
        .u32(clamped<std::uint32_t>(facts.thumbnailSize));
    info.u32(thumbnail.width).u32(thumbnail.height);
    info.u32(facts.width).u32(facts.height).u32(facts.width ? 24 : 0);
    info.u32(object->parent).u16(object->isFolder() ? genericFolder : 0).u32(0).u32(0);
    info.text(object->name);
    // The picture's own date is better than the date of its file, which copying may change.
    info.text(object->statedDate.value_or(dateOf(facts.captured, object->modified())));
    info.text(object->statedDate.value_or(ptpDate(object->modified()))).text(u"");
    return answer(info.take());
}

Reply Responder::getObject(const Message& command) {
    const StoredObject* const object = store_.find(command.parameter(0));
    if (!object || object->isFolder()) return failure(response::InvalidObjectHandle);
    return answer(object->content());
}

Reply Responder::getThumb(const Message& command) {
    const StoredObject* const object = store_.find(command.parameter(0));
    if (!object) return failure(response::InvalidObjectHandle);
    const JpegFacts& facts = object->facts();
    if (!facts.thumbnailSize) return failure(response::NoThumbnailPresent);
    return answer(object->content().part(facts.thumbnailOffset, facts.thumbnailSize));
}

Reply Responder::getPartialObject(const Message& command) {
    const StoredObject* const object = store_.find(command.parameter(0));
    if (!object || object->isFolder()) return failure(response::InvalidObjectHandle);
    const Payload content = object->content();
    const std::size_t offset = command.parameter(1);
    if (offset > content.bytes.size()) return failure(response::InvalidParameter);
    const std::size_t count =
        std::min<std::size_t>(command.parameter(2), content.bytes.size() - offset);
    return {response::OK, {static_cast<std::uint32_t>(count)}, content.part(offset, count), {}};
}

bool Responder::isProtected(const StoredObject& object) const {
    // Some models refuse to delete these two files.
    const bool isOrder = object.name == u"AUTPRINT.MRK" || object.name == u"INTENT.XML";
    return object.isProtected || (isOrder && !traits_.dropsOrders);
}

bool Responder::removeObject(std::uint32_t handle) {
    if (isProtected(*store_.find(handle))) return false;
    // With deletesLater the object is removed when the host has fetched the event, or can't fetch
    // it any more.
    if (!traits_.deletesLater && !store_.remove(handle)) return false;
    raise_({event::ObjectRemoved, session_.lastTransaction, {handle}}, [this, handle] {
        if (traits_.deletesLater) store_.remove(handle);
    });
    return true;
}

Reply Responder::deleteObject(const Message& command) {
    const std::uint32_t handle = command.parameter(0);
    if (handle == everything) return deleteAll(static_cast<Code>(command.parameter(1)));
    const StoredObject* const object = store_.find(handle);
    if (!object) return failure(response::InvalidObjectHandle);
    if (isProtected(*object)) return failure(response::ObjectWriteProtected);
    const bool isFolder = object->isFolder();
    if (removeObject(handle)) return {};
    return failure(isFolder ? response::PartialDeletion : response::AccessDenied);
}

Reply Responder::deleteAll(Code onlyFormat) {
    std::vector<std::uint32_t> handles;
    // The handles are collected first, as removing objects changes the map.
    for (const auto& [handle, object] : store_.objects())
        if (matchesFormat(object, onlyFormat)) handles.push_back(handle);
    bool whole = true;
    for (const std::uint32_t handle : handles)
        // An object that lay in a removed folder is gone by now.
        if (store_.find(handle)) whole = removeObject(handle) && whole;
    return whole ? Reply{} : failure(response::PartialDeletion);
}

Reply Responder::setObjectProtection(const Message& command) {
    StoredObject* const object = store_.find(command.parameter(0));
    if (!object) return failure(response::InvalidObjectHandle);
    if (command.parameter(1) > 1) return failure(response::InvalidParameter);
    object->isProtected = command.parameter(1) == 1;
    return {};
}

}  // namespace zlk::camsim
