#pragma once
// The PTP initiator over USB.
//
// A transaction is a command, data in one direction or none, and a response. It runs while the
// port's mutex is held, and takes its id from the port's counter. All processes share the mutex and
// the counter, so they continue each other's count in one session of the camera. A session that
// openSession() has opened counts from 0.
//
// Nothing is retried but a refused command from which parameters were left out (see
// mayMissParameters()).

#include <memory>

#include "ptp/ContainerBlock.h"
#include "ptp/PTPSyncInterface.h"
#include "ptp/PtpInterface.h"
#include "ptp/TransportInterface.h"

namespace zlk {

/// One connection to one port, for one thread at a time. A broken connection can't be repaired: its
/// user makes a new object. While a progress report is running, checkConnection() may be called and
/// answers from memory; an operation that has to take the port throws PTP_GENERAL_ERROR.
///
/// What a camera sends isn't trusted. A container above 256 MiB throws PTP_OUT_OF_MEMORY, a read of
/// no bytes before a container's end throws PTP_NO_RESPONSE, and of a data phase no byte is handed
/// out that wasn't received.
class ZlPTPdrv : public PtpInterface {
  public:
    /// Opens the port. If it can't be opened, nothing is thrown, and every operation throws
    /// PTP_NO_CONNECTION.
    explicit ZlPTPdrv(const wString& port);
    /// Finds the port by the camera's USB ids, and opens it. If the arbiter doesn't know the ids,
    /// every operation throws PTP_NO_CONNECTION.
    ZlPTPdrv(std::uint32_t vid, std::uint32_t pid);
    /// Leaves the session open, since it belongs to all processes.
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

    /// Our own operations, for a dock. Each gives the USB ids of the dock's camera, which are the
    /// response's first two parameters. ZLpressSaveButton() also makes the dock connect the camera;
    /// ZLconnectedCameraId2() gives the ids even if the camera isn't connected yet.
    void ZLconnectedCameraId(std::uint32_t* first, std::uint32_t* second);
    void ZLpressSaveButton(std::uint32_t* first, std::uint32_t* second);
    void ZLconnectedCameraId2(std::uint32_t* first, std::uint32_t* second);

  protected:
    /// Trailing parameters of 0 are left out of a command. Returns whether a camera that has
    /// refused a command without them may have missed them. If so, the command is repeated with all
    /// of its parameters, and all later commands have theirs. The maker's own models never miss
    /// any.
    virtual bool mayMissParameters(PTPCommErrors refusal) const;

  private:
    struct Operation;

    /// Runs `connecting`. If it throws a PTPCommErrors, the error is traced and goes no further,
    /// and the object then has no transport.
    template <class Connecting>
    void connect(Connecting connecting);
    /// Makes the port known to the arbiter, takes a turn on the port, and opens it. The caller
    /// releases it.
    void open(std::unique_ptr<PTPSyncInterface> arbiter);

    /// Traces the operation's name. Throws if there is no transport, or if an id that mustn't be 0
    /// is 0. To be called before the port is taken.
    void begin(const Operation& operation);
    /// Runs `body` while the port is held. If `body` throws, the id that `recover` returns becomes
    /// the next command's. Throws PTP_GENERAL_ERROR inside of another hold().
    template <class Body, class Recover>
    void hold(const char* name, Body body, Recover recover);
    template <class Body>
    void hold(const char* name, Body body);
    /// hold(), repeated once if the camera may have missed parameters.
    template <class Body>
    void attempt(const Operation& operation, std::uint16_t paramCount, Body body);
    /// A whole operation without data.
    void perform(const Operation& operation, std::uint16_t paramCount);
    /// The rest of an operation after begin(), without data or with data to the device.
    void transact(const Operation& operation, std::uint16_t paramCount);
    void transact(const Operation& operation, std::uint16_t paramCount, const void* data,
                  std::uint32_t size);
    /// A whole operation with data from the device; if any comes, `parse` takes it from the stream.
    template <class Parse>
    void performReceiving(const Operation& operation, std::uint16_t paramCount, Parse parse,
                          ObjectProgressInterface* progress = nullptr);
    template <class Dataset>
    Dataset receiveDataset(const Operation& operation, std::uint16_t paramCount);
    std::vector<std::uint32_t> receiveList(const Operation& operation, std::uint16_t paramCount);
    void receiveObject(const Operation& operation, void* target, std::uint32_t size,
                       ObjectProgressInterface* progress);
    /// Bytes of payload in the container of `dataBlock`.
    std::uint32_t payloadSize() const;
    void askForCamera(const Operation& operation, std::uint32_t* first, std::uint32_t* second);
    void setParams(std::uint32_t first, std::uint32_t second = 0, std::uint32_t third = 0);

    void checkTransport() const;
    /// The phases of a transaction: command, data to the device, and data from the device or a
    /// response, whichever comes.
    void sendCommand(std::uint32_t code, std::uint16_t paramCount, const std::uint32_t* parameters);
    void sendData(std::uint32_t code, const void* data, std::uint32_t size);
    ContainerBlock readResponce(std::uint16_t expectedCode, ObjectProgressInterface* progress);
    /// One read into the stream; returns the number of bytes, at least 1.
    std::uint32_t readSome(std::uint32_t at, std::uint32_t length);
    /// Reads the zero-length packet after a container of `received` bytes, if there has to be one.
    void expectNullPacket(std::uint32_t received);
    /// The next command's id after a failed openSession(), before which it was `saved`.
    std::uint32_t recoverTransactionID(std::uint32_t saved) const;

    std::unique_ptr<TransportInterface> transport;  // null: not connected
    std::unique_ptr<PTPSyncInterface> sync;
    ContainerBlock responseBlock;  // its parameters are the result of some operations
    ContainerBlock dataBlock;  // the first container of the last operation that can receive data
    std::uint32_t transactionID = 0;  // of the next command, while the port is held
    PtpDataStream dataStream;         // the container that is being sent or received
    PtpDataStream eventStream;
    std::uint32_t params[3] = {};  // of the operation under way
    wString port;
    std::uint32_t vid = 0;  // of the camera that is expected, as is `pid`
    std::uint32_t pid = 0;
    std::uint32_t lastResponseCode = 0;  // of the last container received, before it is tested
    std::uint32_t lastResponseId = 0;
    std::uint32_t maxPacketSize = 64;  // bytes; the transport's value once it is open
    bool busy = false;                 // hold() is running
    bool sendsAllParameters = false;   // commands keep their trailing zeros
};

}  // namespace zlk
