// The engine: construction, checkConnection(), openSession(), and the phases of a transaction.

#include "ptp/ZlPTPdrv.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "ptp/ZlPTPdrv_frame.h"

namespace zlk {
namespace {

constexpr char lowCategory[] = "ZlPTPdrv_Low";

constexpr std::uint16_t eventStreamSize = 200;

// Bytes. A response with all of its parameters fits. The header of a data container fits too, and
// says how many more bytes there are.
constexpr std::uint32_t firstRead = 36;
constexpr std::uint32_t furtherRead = dataStreamSize;

// Bytes. The floors above never ask for a larger object as a whole, so a camera that announces a
// longer container is broken.
constexpr std::uint32_t largestContainer = 256u << 20;

// This model refuses to open a session that is open, but counts the refused command.
constexpr std::uint32_t countingVid = 0x5AF1;
constexpr std::uint32_t countingPid = 0x7C35;

}  // namespace

template <class Connecting>
void ZlPTPdrv::connect(Connecting connecting) {
    dataStream.resize(dataStreamSize);
    eventStream.resize(eventStreamSize);
    try {
        connecting();
    } catch (PTPCommErrors error) {
        TraceLine(category, "ZlPTPdrv constructor exception(%x)",
                  static_cast<std::uint32_t>(error));
        // If the port's mutex was taken, the arbiter releases it when this object is destroyed.
        transport.reset();
        vid = pid = 0;
    }
}

void ZlPTPdrv::open(std::unique_ptr<PTPSyncInterface> arbiter) {
    arbiter->setPort(port.c_str());
    // `sync` is set only after setPort() has succeeded. An object that has `sync` removes its port
    // from the table when it is destroyed. A port that was never set could match another port's
    // entry there; an empty port matches any.
    sync = std::move(arbiter);
    transactionID = sync->getMutex(port.c_str());
    transport = createTransport();
    transport->openConnection(port.c_str());
    maxPacketSize = transport->getMaxPacketSize();
}

ZlPTPdrv::ZlPTPdrv(const wString& portName) : port(portName) {
    connect([&] {
        open(createPortArbiter());
        std::uint32_t v = 0, p = 0;
        transport->getVidPid(&v, &p);
        sync->updatePortInfo(port.c_str(), v, p);
        vid = v;
        pid = p;
        sync->releaseMutex(port.c_str(), transactionID);
    });
}

ZlPTPdrv::ZlPTPdrv(std::uint32_t wantedVid, std::uint32_t wantedPid) {
    connect([&] {
        auto arbiter = createPortArbiter();
        port.assign(arbiter->findPortbyVidPid(wantedVid, wantedPid));
        if (port.length == 0) return;
        open(std::move(arbiter));
        vid = wantedVid;
        pid = wantedPid;
        sync->releaseMutex(port.c_str(), transactionID);
    });
}

ZlPTPdrv::~ZlPTPdrv() {
    TraceLine(category, "~ZlPTPdrv");
    transport.reset();
    try {
        if (sync) sync->removePort(port.c_str());
    } catch (PTPCommErrors error) {
        TraceLine(category, "~ZlPTPdrv err(%x)", static_cast<std::uint32_t>(error));
    }
}

void ZlPTPdrv::setDeviceId(std::uint32_t newVid, std::uint32_t newPid) {
    vid = newVid;
    pid = newPid;
}

bool ZlPTPdrv::checkConnection(std::uint32_t* foundVid, std::uint32_t* foundPid) {
    TraceLine(category, "checkConnection");
    *foundVid = *foundPid = 0;
    checkTransport();
    std::uint32_t v = vid, p = pid;
    // Inside of a progress report the port is held already, and the camera is in a transaction.
    if (!busy) hold("checkConnection", [&] { transport->getVidPid(&v, &p); });
    TraceLine(category, "checkConnection vid(0x%04x) pid(0x%04x)", v, p);
    *foundVid = v;
    *foundPid = p;
    return v == vid;
}

void ZlPTPdrv::openSession() {
    constexpr std::uint32_t session = 1;
    TraceLine(category, "openSession");
    checkTransport();
    setParams(session);
    std::uint32_t saved = 0;
    hold(
        "openSession",
        [&] {
            saved = transactionID;
            transactionID = 0;  // a session counts from 0
            sendCommand(0x1002, 1, params);
            responseBlock = readResponce(0x1002, nullptr);
            transactionID = 1;
        },
        [&] { return recoverTransactionID(saved); });
    TraceLine(category, "openSession exit");
}

std::uint32_t ZlPTPdrv::recoverTransactionID(std::uint32_t saved) const {
    // A camera that has kept its session reports in the refusal how far its count has come.
    if (saved == 0 && lastResponseCode == PTP_SESSION_ALREADY_OPEN && lastResponseId != 0)
        return lastResponseId + 1;
    return vid == countingVid && pid == countingPid ? saved + 1 : saved;
}

void ZlPTPdrv::checkTransport() const {
    if (!transport) throw PTP_NO_CONNECTION;
}

void ZlPTPdrv::sendCommand(std::uint32_t code, std::uint16_t paramCount,
                           const std::uint32_t* parameters) {
    TraceLine(lowCategory, "sendCommand operation(0x%x)", code);
    TraceLine(lowCategory, "sendCommand transactionID(%d)", transactionID);
    // The length is written last, when it is known.
    dataStream.setCursor(4);
    dataStream.writeU16(static_cast<std::uint16_t>(ContainerType::Command));
    dataStream.writeU16(static_cast<std::uint16_t>(code));
    dataStream.writeU32(transactionID++);
    // Trailing zeros are left out, since the maker's cameras would count them as parameters.
    while (!sendsAllParameters && paramCount > 0 && parameters[paramCount - 1] == 0) --paramCount;
    for (std::uint16_t i = 0; i < paramCount; ++i) dataStream.writeU32(parameters[i]);
    const std::uint32_t length = dataStream.cursor();
    dataStream.setCursor(0);
    dataStream.writeU32(length);
    transport->write(dataStream.data(), length);
    TraceLine(lowCategory, "sendCommand length(%d)", length);
}

void ZlPTPdrv::sendData(std::uint32_t code, const void* data, std::uint32_t size) {
    const std::uint32_t total = size + containerHeaderSize;
    dataStream.clear();
    dataStream.setCursor(0);
    dataStream.writeU32(total);
    dataStream.writeU16(static_cast<std::uint16_t>(ContainerType::Data));
    dataStream.writeU16(static_cast<std::uint16_t>(code));
    dataStream.writeU32(transactionID - 1);  // that of the command just sent
    if (size > 0) std::memcpy(dataStream.place(containerHeaderSize, size), data, size);
    transport->write(dataStream.data(), total);
    TraceLine(lowCategory, "sendData length(%d)", total);
}

/// A transport that claims to have read more than was asked for isn't believed.
std::uint32_t ZlPTPdrv::readSome(std::uint32_t at, std::uint32_t length) {
    std::uint32_t count = 0;
    transport->read(dataStream.place(at, length), length, &count);
    if (count > length) throw PTP_TRANSPORT_ERROR;
    if (count == 0) throw PTP_NO_RESPONSE;
    return count;
}

ContainerBlock ZlPTPdrv::readResponce(std::uint16_t expectedCode,
                                      ObjectProgressInterface* progress) {
    TraceLine(lowCategory, "readResponce------------------");
    dataStream.clear();
    // The container's header comes with the first read, and tells how much has to be read.
    std::uint32_t total = readSome(0, firstRead);
    const ContainerBlock block(dataStream);
    TraceLine(lowCategory, "readResponce bytesRead(%d)", total);
    TraceLine(lowCategory, "readResponce CB.length(%d)", block.length);
    TraceLine(lowCategory, "readResponce CB.code  (0x%x)", block.code);
    TraceLine(lowCategory, "readResponce CB.type  (%d)", block.type);
    TraceLine(lowCategory, "readResponce CB.id    (%d)", block.id);
    TraceLine(lowCategory, "readResponce CB.param1(0x%x)", block.param1);
    TraceLine(lowCategory, "readResponce CB.param2(0x%x)", block.param2);
    TraceLine(lowCategory, "readResponce CB.param3(0x%x)", block.param3);
    // openSession() needs these even if the container is refused below.
    lastResponseCode = block.code;
    lastResponseId = block.id;
    if (total < containerHeaderSize) throw PTP_INCOMPLETE_TRANSFER;
    // A refusal becomes an exception. So does data of another operation, which shows that the two
    // sides are out of step.
    const bool refused = block.is(ContainerType::Response) && block.code != ptpOk;
    const bool stranger = block.is(ContainerType::Data) && block.code != expectedCode;
    if (refused || stranger) throw static_cast<PTPCommErrors>(block.code);
    if (block.length > largestContainer) throw PTP_OUT_OF_MEMORY;
    dataStream.makeRoom(block.length);
    while (block.length > total) {
        total += readSome(total, std::min(block.length - total, furtherRead));
        if (progress) progress->reportProgress(percentOf(total, block.length));
    }
    TraceLine(lowCategory, "readResponce length(%d)", total);
    expectNullPacket(total);
    // The container is decoded again: if its header came in a packet of its own, the parameters of
    // a response were missing the first time.
    const ContainerBlock whole(dataStream);
    dataStream.endReadsAt(std::min(total, whole.length));
    return whole;
}

/// A transfer that fills its last packet is ended by a zero-length packet.
void ZlPTPdrv::expectNullPacket(std::uint32_t received) {
    if (maxPacketSize == 0 || received % maxPacketSize != 0) return;
    TraceLine(lowCategory, "readResponce - looking for NULL packet");
    std::uint8_t scratch[10];
    std::uint32_t count = 0;
    transport->read(scratch, sizeof scratch, &count);
    TraceLine(lowCategory, "readResponce - got %d bytes", count);
    if (count != 0) throw PTP_TRANSPORT_ERROR;
}

}  // namespace zlk
