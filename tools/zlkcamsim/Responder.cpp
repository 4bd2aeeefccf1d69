#include "tools/zlkcamsim/Responder.h"

#include <algorithm>

#include "platform/text.h"
#include "tools/zlkcamsim/Dataset.h"

namespace zlk::camsim {
namespace {

/// The most bytes of a data phase that are kept in memory. Datasets and values of properties are
/// smaller.
constexpr std::uint64_t maxDataset = 64 * 1024;

bool worksWithoutSession(Code code) {
    return code == operation::GetDeviceInfo || code == operation::OpenSession ||
           code == operation::ResetDevice || operation::isVendor(code);
}

}  // namespace

Responder::Responder(Identity identity, const Traits& traits, ObjectStore& store, Session& session)
    : identity_(std::move(identity)), traits_(traits), store_(store), session_(session) {}

const std::vector<Responder::Row>& Responder::operations() {
    static const std::vector<Row> rows{
        {operation::GetDeviceInfo, &Responder::getDeviceInfo},
        {operation::OpenSession, &Responder::openSession},
        {operation::CloseSession, &Responder::endSession},
        {operation::GetStorageIDs, &Responder::getStorageIDs},
        {operation::GetStorageInfo, &Responder::getStorageInfo},
        {operation::GetNumObjects, &Responder::getNumObjects},
        {operation::GetObjectHandles, &Responder::getObjectHandles},
        {operation::GetObjectInfo, &Responder::getObjectInfo},
        {operation::GetObject, &Responder::getObject},
        {operation::GetThumb, &Responder::getThumb},
        {operation::DeleteObject, &Responder::deleteObject},
        {operation::SendObjectInfo, &Responder::sendObjectInfo},
        {operation::SendObject, &Responder::sendObject},
        {operation::ResetDevice, &Responder::endSession},
        {operation::SetObjectProtection, &Responder::setObjectProtection},
        {operation::GetDevicePropDesc, &Responder::getDevicePropDesc},
        {operation::GetDevicePropValue, &Responder::getDevicePropValue},
        {operation::SetDevicePropValue, &Responder::setDevicePropValue},
        {operation::ResetDevicePropValue, &Responder::resetDevicePropValue},
        {operation::GetPartialObject, &Responder::getPartialObject},
        {operation::ConnectedCamera, &Responder::connectedCamera},
        {operation::PressSaveButton, &Responder::connectedCamera},
        {operation::ConnectedCamera2, &Responder::connectedCamera}};
    return rows;
}

bool Responder::knows(Code code) const {
    switch (code) {
        case operation::GetNumObjects:
            return !traits_.quirks.noCount;
        case operation::SendObjectInfo:
        case operation::SendObject:
            return traits_.takesObjects;
        case operation::ConnectedCamera:
            return traits_.passThrough != PassThrough::None;
        case operation::PressSaveButton:
        case operation::ConnectedCamera2:
            return traits_.passThrough == PassThrough::Anything ||
                   traits_.passThrough == PassThrough::Button;
        default:
            return true;
    }
}

std::vector<Code> Responder::operationCodes() const {
    std::vector<Code> codes;
    for (const Row& row : operations())
        if (knows(row.code)) codes.push_back(row.code);
    return codes;
}

bool Responder::takesData(Code code) {
    return code == operation::SendObjectInfo || code == operation::SendObject ||
           code == operation::SetDevicePropValue;
}

std::unique_ptr<Spool> Responder::spoolFor(const Message& command) const {
    if (command.code != operation::SendObject) return std::make_unique<Spool>(maxDataset);
    // The content of an object without an announcement is refused, so nothing is kept.
    if (!expectsObject_) return std::make_unique<Spool>(0);
    const Announcement& announced = announcements_.back();
    try {
        // The file lies in the folder of the object, so that it can be moved to its name later. A
        // hidden file isn't taken for an object.
        return std::make_unique<Spool>(
            announced.size,
            store_.folderPath(announced.storage, announced.parent) / ".zlkcamsim-incoming");
    } catch (const std::exception&) {
        return std::make_unique<Spool>(0);
    }
}

Reply Responder::execute(const Message& command, Spool* received) {
    const auto row =
        std::find_if(operations().begin(), operations().end(),
                     [&command](const Row& each) { return each.code == command.code; });
    if (row == operations().end() || !knows(command.code))
        return failure(response::OperationNotSupported);
    if (!session_.isOpen() && !worksWithoutSession(command.code))
        return failure(response::SessionNotOpen);
    // 0 isn't an id of a transaction in a session. But SessionAlreadyOpen tells the host no id if
    // the open session has had no transaction yet, and the host may then go on with 0.
    const bool isStray = command.id == 0 && session_.lastTransaction != 0;
    if (session_.isOpen() && isStray && command.code != operation::OpenSession)
        return failure(response::InvalidTransactionID);
    const bool isComplete = command.parameters.size() >= operation::parameterCount(command.code);
    // A habit of some makers: zeros at the end may not be left out.
    if (traits_.quirks.missingParameter && !isComplete)
        return failure(traits_.quirks.missingParameter);
    received_ = received;
    return (this->*row->run)(command);
}

Reply Responder::getDeviceInfo(const Message&) {
    DatasetWriter info;
    // Version 1.00, no vendor extension, normal mode.
    info.u16(100).u32(0).u16(0).text(u"").u16(0);
    // Operations, events, properties, the formats in which the camera takes pictures, and formats
    // of its objects.
    info.u16s(operationCodes());
    info.u16s({event::ObjectAdded, event::ObjectRemoved, event::StoreRemoved});
    info.u16s(propertyCodes());
    info.u16s({format::ExifJpeg});
    info.u16s({format::ExifJpeg, format::Tiff, format::Script, format::Dpof, format::Text,
               format::Avi, format::Wav, format::QuickTime, format::Undefined,
               format::Association});
    info.text(wideText(identity_.manufacturer)).text(wideText(identity_.product));
    info.text(u"1.0204").text(wideText(identity_.serial));
    return answer(info.take());
}

Reply Responder::openSession(const Message& command) {
    // The response carries the id of the last transaction, so that a host which finds the session
    // open can continue its count.
    if (session_.isOpen())
        return {response::SessionAlreadyOpen, {session_.id}, {}, session_.lastTransaction};
    if (!command.parameter(0)) return failure(response::InvalidParameter);
    session_ = {command.parameter(0), 0};
    return {};
}

Reply Responder::endSession(const Message&) {
    closeSession();
    return {};
}

void Responder::closeSession() {
    session_ = {};
    expectsObject_ = false;
}

void Responder::setCameraBehind(std::uint16_t vid, std::uint16_t pid) {
    behind_ = {vid, pid};
    buttonPressed_ = false;
}

Reply Responder::connectedCamera(const Message& command) {
    if (command.code == operation::PressSaveButton) buttonPressed_ = true;
    // Asked with ConnectedCamera, a dock with a button names its camera only after PressSaveButton.
    const bool waits = traits_.passThrough == PassThrough::Button && !buttonPressed_ &&
                       command.code == operation::ConnectedCamera;
    if (waits) return {response::OK, {0, 0}, {}, {}};
    return {response::OK, {behind_.first, behind_.second}, {}, {}};
}

}  // namespace zlk::camsim
