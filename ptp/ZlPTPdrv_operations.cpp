// The operations of ISO 15740, three of our own, and getEvent(). Only openSession() is elsewhere.

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>

#include "ptp/ZlPTPdrv_frame.h"

namespace zlk {
namespace {

enum class First { Anything, Storage, Handle };  // which id must not be 0
enum class Exit { Silent, Traced };              // whether the trace also has the operation's end

}  // namespace

/// What is specific to an operation, except for its parameters.
struct ZlPTPdrv::Operation {
    const char* name;
    std::uint16_t code;
    Exit exit = Exit::Silent;
    First first = First::Anything;
};

namespace {

// Bytes; a dataset with four usual texts fits, and the stream can grow.
constexpr std::uint16_t objectInfoRoom = 1024;
constexpr std::uint16_t propertyTextRoom = 256;

/// The data type of a standard property (ISO 15740, device properties), which setDevicePropValue()
/// needs because the value doesn't carry its type.
std::uint16_t typeOfProperty(std::uint32_t code) {
    switch (code) {
        case 0x5001:
        case 0x5004:
        case 0x5014:
        case 0x5015:
        case 0x5016:
            return dataType::uint8;
        case 0x5002:
        case 0x5005:
        case 0x5007:
        case 0x5009:
        case 0x500A:
        case 0x500B:
        case 0x500C:
        case 0x500E:
        case 0x500F:
        case 0x5010:
        case 0x5013:
        case 0x5017:
        case 0x5018:
        case 0x5019:
        case 0x501A:
        case 0x501C:
            return dataType::uint16;
        case 0x5003:
        case 0x5006:
        case 0x5011:
        case 0x501D:
        case 0x501E:
        case 0x501F:
            return dataType::string;
        default:
            return dataType::uint32;
    }
}

}  // namespace

void ZlPTPdrv::setParams(std::uint32_t first, std::uint32_t second, std::uint32_t third) {
    params[0] = first;
    params[1] = second;
    params[2] = third;
}

void ZlPTPdrv::begin(const Operation& operation) {
    TraceLine(category, operation.name);
    checkTransport();
    if (operation.first == First::Storage && params[0] == 0) throw PTP_INVALID_STORAGE_ID;
    if (operation.first == First::Handle && params[0] == 0) throw PTP_INVALID_OBJECT_HANDLE;
}

bool ZlPTPdrv::mayMissParameters(PTPCommErrors) const {
    return false;
}

template <class Body>
void ZlPTPdrv::attempt(const Operation& operation, std::uint16_t paramCount, Body body) {
    // Only a command from which zeros were left out can be missing parameters.
    const bool leavesOut = !sendsAllParameters && paramCount > 0 && params[paramCount - 1] == 0;
    try {
        hold(operation.name, body);
    } catch (PTPCommErrors refusal) {
        if (!leavesOut || !mayMissParameters(refusal)) throw;
        // All later commands have their zeros, even if this one is refused again. Some responders
        // take missing parameters from the command before, and so would answer another question
        // without an error.
        sendsAllParameters = true;
        hold(operation.name, body);
    }
}

void ZlPTPdrv::perform(const Operation& operation, std::uint16_t paramCount) {
    begin(operation);
    transact(operation, paramCount);
}

void ZlPTPdrv::transact(const Operation& operation, std::uint16_t paramCount) {
    attempt(operation, paramCount, [&] {
        sendCommand(operation.code, paramCount, params);
        responseBlock = readResponce(operation.code, nullptr);
    });
    if (operation.exit == Exit::Traced) TraceLine(category, "%s exit", operation.name);
}

void ZlPTPdrv::transact(const Operation& operation, std::uint16_t paramCount, const void* data,
                        std::uint32_t size) {
    if (size > 0xFFFFFFFF - containerHeaderSize) throw PTP_OUT_OF_MEMORY;
    attempt(operation, paramCount, [&] {
        // The memory is made before the command is sent: a camera that has got the command waits
        // for the data, and would wait in vain.
        if (dataStream.size() < size + containerHeaderSize)
            dataStream.resize(size + containerHeaderSize);
        sendCommand(operation.code, paramCount, params);
        sendData(operation.code, data, size);
        responseBlock = readResponce(operation.code, nullptr);
    });
    if (operation.exit == Exit::Traced) TraceLine(category, "%s exit", operation.name);
}

template <class Parse>
void ZlPTPdrv::performReceiving(const Operation& operation, std::uint16_t paramCount, Parse parse,
                                ObjectProgressInterface* progress) {
    begin(operation);
    attempt(operation, paramCount, [&] {
        sendCommand(operation.code, paramCount, params);
        dataBlock = readResponce(operation.code, progress);
        // A response in the place of data means that the camera has no data, which is no failure.
        if (!dataBlock.is(ContainerType::Data)) return;
        // A response follows even if the data is unusable. It must be read before the error is
        // reported, or it would stand in the pipe before the next answer.
        PTPCommErrors broken{};
        try {
            parse();
        } catch (PTPCommErrors error) {
            broken = error;
        } catch (const std::bad_alloc&) {
            broken = PTP_OUT_OF_MEMORY;
        }
        responseBlock = readResponce(operation.code, nullptr);
        if (broken) throw broken;
    });
    if (operation.exit == Exit::Traced) TraceLine(category, "%s exit", operation.name);
}

std::uint32_t ZlPTPdrv::receivedData() const {
    return dataBlock.is(ContainerType::Data) ? payloadSize() : 0;
}

std::uint32_t ZlPTPdrv::payloadSize() const {
    return dataBlock.length > containerHeaderSize ? dataBlock.length - containerHeaderSize : 0;
}

template <class Dataset>
Dataset ZlPTPdrv::receiveDataset(const Operation& operation, std::uint16_t paramCount) {
    // Without data the result is a dataset with its default values.
    std::optional<Dataset> dataset(std::in_place);
    performReceiving(operation, paramCount, [&] { dataset.emplace(dataStream); });
    return *dataset;
}

std::vector<std::uint32_t> ZlPTPdrv::receiveList(const Operation& operation,
                                                 std::uint16_t paramCount) {
    std::vector<std::uint32_t> list;
    performReceiving(operation, paramCount, [&] { dataStream.readU32Array(list); });
    return list;
}

void ZlPTPdrv::receiveObject(const Operation& operation, void* target, std::uint32_t size,
                             ObjectProgressInterface* progress) {
    performReceiving(
        operation, 1,
        [&] {
            // After readResponce() the cursor is at the payload.
            const std::uint32_t count = std::min(payloadSize(), size);
            if (count > 0) std::memcpy(target, dataStream.data() + dataStream.cursor(), count);
            // A large block is given back before the response is read, because reading clears all
            // that was written into the block.
            dataStream.resize(dataStreamSize);
            if (count < size) throw PTP_INCOMPLETE_TRANSFER;
        },
        progress);
}

DeviceInfoDataset ZlPTPdrv::getDeviceInfo() {
    return receiveDataset<DeviceInfoDataset>({"getDeviceInfo", 0x1001}, 0);
}

void ZlPTPdrv::closeSession() {
    perform({"closeSession", 0x1003, Exit::Traced}, 0);
}

std::vector<std::uint32_t> ZlPTPdrv::getStorageIDs() {
    return receiveList({"getStorageIDs", 0x1004}, 0);
}

StorageInfoDataset ZlPTPdrv::getStorageInfo(std::uint32_t storage) {
    setParams(storage);
    return receiveDataset<StorageInfoDataset>(
        {"getStorageInfo", 0x1005, Exit::Silent, First::Storage}, 1);
}

std::uint32_t ZlPTPdrv::getNumberObjects(std::uint32_t storage, std::uint32_t format,
                                         std::uint32_t parent) {
    setParams(storage, format, parent);
    perform({"getNumberObjects", 0x1006, Exit::Silent, First::Storage}, 3);
    return responseBlock.param1;
}

std::vector<std::uint32_t> ZlPTPdrv::getObjectHandles(std::uint32_t storage, std::uint32_t format,
                                                      std::uint32_t parent) {
    setParams(storage, format, parent);
    return receiveList({"getObjectHandles", 0x1007, Exit::Silent, First::Storage}, 3);
}

ObjectInfoDataset ZlPTPdrv::getObjectInfo(std::uint32_t handle) {
    setParams(handle);
    return receiveDataset<ObjectInfoDataset>({"getObjectInfo", 0x1008, Exit::Silent, First::Handle},
                                             1);
}

void ZlPTPdrv::getObject(std::uint32_t handle, void* target, std::uint32_t size,
                         ObjectProgressInterface* progress) {
    setParams(handle);
    receiveObject({"getObject", 0x1009, Exit::Traced, First::Handle}, target, size, progress);
}

void ZlPTPdrv::getThumb(std::uint32_t handle, void* target, std::uint32_t size) {
    setParams(handle);
    receiveObject({"getThumb", 0x100A, Exit::Traced, First::Handle}, target, size, nullptr);
}

void ZlPTPdrv::deleteObject(std::uint32_t handle, std::uint32_t format) {
    setParams(handle, format);
    perform({"deleteObject", 0x100B, Exit::Traced, First::Handle}, 2);
}

void ZlPTPdrv::sendObjectInfo(ObjectInfoDataset info, std::uint32_t storage, std::uint32_t parent) {
    const Operation operation{"sendObjectInfo", 0x100C, Exit::Traced};
    setParams(storage, parent);
    begin(operation);
    PtpDataStream stream(objectInfoRoom);
    info.write(stream);
    transact(operation, 2, stream.data(), stream.cursor());
}

void ZlPTPdrv::sendObject(const void* data, std::uint32_t size) {
    const Operation operation{"sendObject", 0x100D, Exit::Traced};
    begin(operation);
    transact(operation, 0, data, size);
}

void ZlPTPdrv::initiateCapture(std::uint32_t storage, std::uint32_t format) {
    setParams(storage, format);
    perform({"initiateCapture", 0x100E, Exit::Traced}, 2);
}

void ZlPTPdrv::formatStore(std::uint32_t storage, std::uint32_t format) {
    setParams(storage, format);
    perform({"formatStore", 0x100F, Exit::Traced}, 2);
}

void ZlPTPdrv::resetDevice() {
    perform({"resetDevice", 0x1010, Exit::Traced}, 0);
}

void ZlPTPdrv::selfTest(std::uint32_t type) {
    setParams(type);
    perform({"selfTest", 0x1011, Exit::Traced}, 1);
}

void ZlPTPdrv::setObjectProtection(std::uint32_t handle, std::uint32_t status) {
    setParams(handle, status);
    perform({"setObjectProtection", 0x1012, Exit::Traced, First::Handle}, 2);
}

void ZlPTPdrv::powerDown() {
    perform({"powerDown", 0x1013, Exit::Traced}, 0);
}

PropertyDataset ZlPTPdrv::getDevicePropDesc(std::uint32_t code) {
    setParams(code);
    return receiveDataset<PropertyDataset>({"getDevicePropDesc", 0x1014}, 1);
}

PropertyValue ZlPTPdrv::getDevicePropValue(std::uint32_t code, std::uint16_t type) {
    setParams(code);
    PropertyValue value;
    performReceiving({"getDevicePropValue", 0x1015}, 1, [&] { value.read(dataStream, type); });
    return value;
}

void ZlPTPdrv::setDevicePropValue(std::uint32_t code, PropertyValue value, std::uint16_t type) {
    const Operation operation{"setDevicePropValue", 0x1016, Exit::Traced};
    setParams(code);
    begin(operation);
    if (type == 0) type = typeOfProperty(code);
    PtpDataStream stream(propertyTextRoom);
    value.write(stream, type);
    // For a type that isn't supported, nothing has been written.
    if (stream.cursor() == 0) return transact(operation, 1);
    transact(operation, 1, stream.data(), stream.cursor());
}

void ZlPTPdrv::resetDevicePropValue(std::uint32_t code) {
    setParams(code);
    perform({"resetDevicePropValue", 0x1017, Exit::Traced}, 1);
}

void ZlPTPdrv::terminateOpenCapture(std::uint32_t id) {
    setParams(id);
    perform({"terminateOpenCapture", 0x1018, Exit::Traced}, 1);
}

void ZlPTPdrv::moveObject(std::uint32_t handle, std::uint32_t storage, std::uint32_t parent) {
    setParams(handle, storage, parent);
    perform({"moveObject", 0x1019, Exit::Traced, First::Handle}, 3);
}

std::uint32_t ZlPTPdrv::copyObject(std::uint32_t handle, std::uint32_t storage,
                                   std::uint32_t parent) {
    setParams(handle, storage, parent);
    perform({"copyObject", 0x101A, Exit::Silent, First::Handle}, 3);
    return responseBlock.param1;
}

std::uint32_t ZlPTPdrv::getPartialObject(std::uint32_t handle, std::uint32_t offset,
                                         std::uint32_t maxBytes, void* target) {
    setParams(handle, offset, maxBytes);
    std::uint32_t count = 0;
    performReceiving({"getPartialObject", 0x101B}, 3, [&] {
        // A camera that sends more than was asked for must not write beyond `target`.
        count = std::min(payloadSize(), maxBytes);
        if (count > 0) std::memcpy(target, dataStream.data() + dataStream.cursor(), count);
        if (count < payloadSize()) throw PTP_INCOMPLETE_TRANSFER;
    });
    return count;
}

void ZlPTPdrv::initiateOpenCapture(std::uint32_t storage, std::uint32_t format) {
    setParams(storage, format);
    perform({"initiateOpenCapture", 0x101C}, 2);
}

PtpEvent ZlPTPdrv::getEvent() {
    // An event's length in bytes: at least the header up to the code, at most that of an event with
    // two parameters.
    constexpr std::uint32_t shortest = 8;
    constexpr std::uint32_t longest = 20;
    // Containers of an impossible length are skipped, but a device that sends nothing else isn't
    // listened to for ever.
    constexpr int mostBroken = 4;
    checkTransport();
    for (int i = 0; i < mostBroken; ++i) {
        eventStream.clear();
        transport->readInterrupt(eventStream.place(0, eventStream.size()), eventStream.size());
        const PtpEvent event(eventStream);
        if (event.length == 0) return {};  // none has come
        if (event.length >= shortest && event.length <= longest) return event;
    }
    return {};
}

void ZlPTPdrv::askForCamera(const Operation& operation, std::uint32_t* first,
                            std::uint32_t* second) {
    perform(operation, 0);
    *first = responseBlock.param1;
    *second = responseBlock.param2;
}

void ZlPTPdrv::ZLconnectedCameraId(std::uint32_t* first, std::uint32_t* second) {
    askForCamera({"ZLconnectedCameraId", 0x9700, Exit::Traced}, first, second);
}

void ZlPTPdrv::ZLpressSaveButton(std::uint32_t* first, std::uint32_t* second) {
    askForCamera({"ZLpressSaveButton", 0x9701, Exit::Traced}, first, second);
}

void ZlPTPdrv::ZLconnectedCameraId2(std::uint32_t* first, std::uint32_t* second) {
    askForCamera({"ZLconnectedCameraId2", 0x9702, Exit::Traced}, first, second);
}

}  // namespace zlk
