#pragma once
// A device that is claimed for this program, as long as the session lives.

#include <optional>
#include <string>
#include <string_view>

#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/StopFlag.h"

namespace zlk {

/// What an ErrorCode stands for. `doing` completes "... failed", as in "Reading the print order".
Failure deviceFailure(LONG errorCode, const Device& device, std::string_view doing);

/// `Interface` is IPhotoDevice, ISwiftPostDevice or ITagDevice.
template <class Interface>
class Session {
  public:
    /// Throws Failure where somebody else holds the device.
    Session(const Device& device, const std::u16string& progId)
        : device_(device), object_(createComponent<Interface>(progId)) {
        require(call([&](Interface& it) { return it.LockDevice(Bstr(device.contextId).get()); }),
                "Claiming the device");
    }
    ~Session() { object_->UnlockDevice(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Interface* operator->() const { return object_.get(); }
    /// What may wait for the device goes through here, so that a stop needn't wait as well.
    template <class Call>
    HRESULT call(Call&& ask) const {
        const DeviceCall inside;
        return ask(*object_.get());
    }
    const Device& device() const { return device_; }

    /// The outcome of the last call.
    LONG errorCode() const {
        LONG code = 0;
        object_->get_ErrorCode(&code);
        return code;
    }
    /// Throws what the last call failed with.
    void require(HRESULT result, std::string_view doing) const {
        if (result != S_OK) throw deviceFailure(errorCode(), device_, doing);
    }

  private:
    Device device_;
    ComPtr<Interface> object_;
};

/// Sends an escape message to a device, which another program may hold; throws Failure.
std::u16string askDevice(const Device& device, std::u16string_view message);

class PhotoSession : public Session<IPhotoDevice> {
  public:
    explicit PhotoSession(const Device& device) : Session(device, device.progId) {}

    /// Throws Failure (NotConnected) where a camera is attached and can't be reached.
    void requireAnswer() const;
    /// The same, and where the card or the camera is gone.
    void requireMedia() const;
    bool hasMedia() const;
    /// What ends the work on this device with this failure, if anything does: it is gone, or let
    /// go. What answers now may be another one, with other files behind the same ids.
    std::optional<Failure> endOf(const Failure& failure) const;

    /// Empty where the device doesn't answer.
    std::u16string escape(std::u16string_view message) const;

    /// The list of files. Throws Failure, also where the device went away meanwhile.
    std::vector<FileRecord> files() const;
    /// Deletes a file of the device; throws Failure.
    void remove(const std::u16string& id) const;

  private:
    bool isConnected() const;
};

}  // namespace zlk
