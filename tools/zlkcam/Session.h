#pragma once
// Claims a device for this program, and lets go of it when the session object ends.

#include <optional>
#include <string>
#include <string_view>

#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/StopFlag.h"

namespace zlk {

/// The Failure for an ErrorCode of a device object. `doing` says what failed: it completes "...
/// failed", as in "Reading the print order".
Failure deviceFailure(LONG errorCode, const Device& device, std::string_view doing);

/// A component's device object and its claim on one device. `Interface` is IPhotoDevice,
/// ISwiftPostDevice or ITagDevice. To be used by one thread.
template <class Interface>
class Session {
  public:
    /// Claims the device. Throws Failure if the object can't be created or the device can't be
    /// claimed.
    Session(const Device& device, const std::u16string& progId)
        : device_(device), object_(createComponent<Interface>(progId)) {
        require(call([&](Interface& it) { return it.LockDevice(Bstr(device.contextId).get()); }),
                "Claiming the device");
    }
    ~Session() { object_->UnlockDevice(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Interface* operator->() const { return object_.get(); }
    /// Makes a call that may have to wait for the device. A StopWatch sees the call, so that a stop
    /// needn't wait until it returns.
    template <class Call>
    HRESULT call(Call&& ask) const {
        const DeviceCall inside;
        return ask(*object_.get());
    }
    const Device& device() const { return device_; }

    /// The ErrorCode of the last call.
    LONG errorCode() const {
        LONG code = 0;
        object_->get_ErrorCode(&code);
        return code;
    }
    /// Throws the Failure of the last call if its result isn't S_OK.
    void require(HRESULT result, std::string_view doing) const {
        if (result != S_OK) throw deviceFailure(errorCode(), device_, doing);
    }

  private:
    // A copy, so that the session doesn't depend on a list of devices.
    Device device_;
    ComPtr<Interface> object_;
};

/// Sends an escape message to a device and returns the answer, also while another program holds the
/// device. Throws Failure if that fails.
std::u16string askDevice(const Device& device, std::u16string_view message);

/// A session for work with the files of a device.
class PhotoSession : public Session<IPhotoDevice> {
  public:
    explicit PhotoSession(const Device& device) : Session(device, device.progId) {}

    /// Throws Failure (NotConnected) if a camera is attached but can't be reached. Cards pass, and
    /// so does a camera that is gone.
    void requireAnswer() const;
    /// Like requireAnswer(), but also throws if the card or the camera is gone.
    void requireMedia() const;
    /// Whether the device and its card are there.
    bool hasMedia() const;
    /// The failure that ends the work on this device after `failure` of one file; none if the work
    /// can go on. The work has to end if the device is gone or was let go: what answers now may be
    /// another device, with other files under the same ids.
    std::optional<Failure> endOf(const Failure& failure) const;

    /// The answer to an escape message; empty if the device doesn't answer.
    std::u16string escape(std::u16string_view message) const;

    /// Lists the files. Throws Failure, also if the device went away during the listing.
    std::vector<FileRecord> files() const;
    /// Deletes a file of the device by its id; throws Failure.
    void remove(const std::u16string& id) const;

  private:
    bool isConnected() const;
};

}  // namespace zlk
