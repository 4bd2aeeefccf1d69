#pragma once
// The PTP initiator over USB.
//
// A transaction is a command, data in one direction or none, and a response. It runs inside a hold
// of the port's mutex, which all processes share, and takes its id from the port's counter, which
// they share too: they go on counting from each other's last id, in one session of the camera.
// Nothing here tries again, waits or resets a pipe: a failure goes to the caller at once, and the
// port is released on every way out.

#include <memory>

#include "ptp/ContainerBlock.h"
#include "ptp/PTPSyncInterface.h"
#include "ptp/PtpInterface.h"
#include "ptp/TransportInterface.h"

namespace zlk {

/// One connection to one port, used from one thread at a time. There is no reconnecting: build
/// another. While it reports progress it is there, by checkConnection(), and any other operation
/// is PTP_GENERAL_ERROR.
///
/// A camera is not believed: a container above 256 MiB is PTP_OUT_OF_MEMORY, a read of no bytes
/// inside of one PTP_NO_RESPONSE, and no byte is handed out that wasn't received.
class ZlPTPdrv : public PtpInterface {
  public:
    /// A connection that fails raises nothing; the first operation then raises PTP_NO_CONNECTION.
    explicit ZlPTPdrv(const wString& port);
    /// Looks for the port by the ids, where the system's arbiter can do that.
    ZlPTPdrv(std::uint32_t vid, std::uint32_t pid);
    /// Leaves the session open: it belongs to all processes.
    ~ZlPTPdrv() override;
    ZlPTPdrv(const ZlPTPdrv&) = delete;
    ZlPTPdrv& operator=(const ZlPTPdrv&) = delete;

    wString getPortName() const { return port; }

    DeviceInfoDataset getDeviceInfo() override;
    void openSession() override;
    void closeSession() override;
    std::vector<std::uint32_t> getStorageIDs() override;
    StorageInfoDataset getStorageInfo(std::uint32_t storage) override;
    std::vector<std::uint32_t> getObjectHandles(std::uint32_t storage, std::uint32_t format,
                                                std::uint32_t parent) override;
    ObjectInfoDataset getObjectInfo(std::uint32_t handle) override;
    std::uint32_t getNumberObjects(std::uint32_t storage, std::uint32_t format,
                                   std::uint32_t parent) override;
    void getThumb(std::uint32_t handle, void* target, std::uint32_t size) override;
    void getObject(std::uint32_t handle, void* target, std::uint32_t size,
                   ObjectProgressInterface* progress) override;
    void deleteObject(std::uint32_t handle, std::uint32_t format) override;
    void sendObjectInfo(ObjectInfoDataset info, std::uint32_t storage,
                        std::uint32_t parent) override;
    void sendObject(const void* data, std::uint32_t size) override;
    void initiateCapture(std::uint32_t storage, std::uint32_t format) override;
    void formatStore(std::uint32_t storage, std::uint32_t format) override;
    void resetDevice() override;
    void selfTest(std::uint32_t type) override;
    void setObjectProtection(std::uint32_t handle, std::uint32_t status) override;
    void powerDown() override;
    PropertyDataset getDevicePropDesc(std::uint32_t code) override;
    PropertyValue getDevicePropValue(std::uint32_t code, std::uint16_t type) override;
    void setDevicePropValue(std::uint32_t code, PropertyValue value, std::uint16_t type) override;
    void resetDevicePropValue(std::uint32_t code) override;
    void terminateOpenCapture(std::uint32_t id) override;
    void moveObject(std::uint32_t handle, std::uint32_t storage, std::uint32_t parent) override;
    std::uint32_t copyObject(std::uint32_t handle, std::uint32_t storage,
                             std::uint32_t parent) override;
    std::uint32_t getPartialObject(std::uint32_t handle, std::uint32_t offset,
                                   std::uint32_t maxBytes, void* target) override;
    void initiateOpenCapture(std::uint32_t storage, std::uint32_t format) override;
    PtpEvent getEvent() override;
    void setDeviceId(std::uint32_t newVid, std::uint32_t newPid) override;
    bool checkConnection(std::uint32_t* foundVid, std::uint32_t* foundPid) override;
    std::uint32_t receivedData() const override;

    /// Of a device that another camera is plugged into: the USB ids of that camera.
    void ZLconnectedCameraId(std::uint32_t* first, std::uint32_t* second);
    void ZLpressSaveButton(std::uint32_t* first, std::uint32_t* second);
    void ZLconnectedCameraId2(std::uint32_t* first, std::uint32_t* second);

  protected:
    /// Whether a camera that has refused a command, whose trailing zeros were left out, may have
    /// missed them. It is then sent once more with all of its parameters, as all later ones are.
    /// The maker's own models never miss any.
    virtual bool mayMissParameters(PTPCommErrors refusal) const;

  private:
    struct Operation;  // its name, code, and what it asks of its first parameter

    /// Runs `connecting`; what it raises is traced, and leaves the object without a transport.
    template <class Connecting>
    void connect(Connecting connecting);
    void open(std::unique_ptr<PTPSyncInterface> arbiter);

    /// Tests for a transport and of the first parameter, outside of the port's mutex.
    void begin(const Operation& operation);
    /// Runs `body` inside a hold of the port; `recover` tells the id that a failure stores.
    template <class Body, class Recover>
    void hold(const char* name, Body body, Recover recover);
    template <class Body>
    void hold(const char* name, Body body);
    /// hold(), and once more if the camera may have missed parameters.
    template <class Body>
    void attempt(const Operation& operation, std::uint16_t paramCount, Body body);
    /// A whole operation without data.
    void perform(const Operation& operation, std::uint16_t paramCount);
    /// One that has begun, without data or with data to the device.
    void transact(const Operation& operation, std::uint16_t paramCount);
    void transact(const Operation& operation, std::uint16_t paramCount, const void* data,
                  std::uint32_t size);
    /// With data from the device, which `parse` takes from the stream, if any came.
    template <class Parse>
    void performReceiving(const Operation& operation, std::uint16_t paramCount, Parse parse,
                          ObjectProgressInterface* progress = nullptr);
    template <class Dataset>
    Dataset receiveDataset(const Operation& operation, std::uint16_t paramCount);
    std::vector<std::uint32_t> receiveList(const Operation& operation, std::uint16_t paramCount);
    void receiveObject(const Operation& operation, void* target, std::uint32_t size,
                       ObjectProgressInterface* progress);
    std::uint32_t payloadSize() const;
    void askForCamera(const Operation& operation, std::uint32_t* first, std::uint32_t* second);
    void setParams(std::uint32_t first, std::uint32_t second = 0, std::uint32_t third = 0);

    void checkTransport() const;
    void sendCommand(std::uint32_t code, std::uint16_t paramCount, const std::uint32_t* parameters);
    void sendData(std::uint32_t code, const void* data, std::uint32_t size);
    ContainerBlock readResponce(std::uint16_t expectedCode, ObjectProgressInterface* progress);
    std::uint32_t readSome(std::uint32_t at, std::uint32_t length);
    void expectNullPacket(std::uint32_t received);
    std::uint32_t recoverTransactionID(std::uint32_t saved) const;

    std::unique_ptr<TransportInterface> transport;  // null: not connected
    std::unique_ptr<PTPSyncInterface> sync;
    ContainerBlock responseBlock;     // the last response of an operation
    ContainerBlock dataBlock;         // the first container of an operation that can have data
    std::uint32_t transactionID = 0;  // of the next command, while the port is held
    PtpDataStream dataStream;
    PtpDataStream eventStream;
    std::uint32_t params[3] = {};
    wString port;
    std::uint32_t vid = 0;
    std::uint32_t pid = 0;
    std::uint32_t lastResponseCode = 0;  // of the last container, before any test on it
    std::uint32_t lastResponseId = 0;
    std::uint32_t maxPacketSize = 64;  // until the transport has told its own
    bool busy = false;                 // in a transaction
    bool sendsAllParameters = false;   // trailing zeros too
};

}  // namespace zlk
