#include "tools/zlkcam/Session.h"

#include "platform/clock.h"
#include "platform/text.h"
#include "tools/zlkcam/MachineTrouble.h"
#include "tools/zlkcam/ProgressCallback.h"
#include "tools/zlkcam/UsbCamera.h"

namespace zlk {

Failure deviceFailure(LONG errorCode, const Device& device, std::string_view doing) {
    const std::string name = utf8Text(device.name.empty() ? device.contextId : device.name);
    const std::string failed = std::string(doing) + " failed: ";
    switch (static_cast<ExitStatus>(errorCode)) {
        case ExitStatus::DeviceHeld:
            // The components also return this code if a claim can't be made on this computer at
            // all.
            return claimFailure().value_or(
                Failure(ExitStatus::DeviceHeld, name + " is held by another program.",
                        "Close that program, or wait until it has finished, and try again."));
        case ExitStatus::NotClaimed:
            return {ExitStatus::NotClaimed, failed + "the device was let go meanwhile."};
        case ExitStatus::ReadFailed:
            return {ExitStatus::ReadFailed, failed + name + " has no such file, or can't read it."};
        case ExitStatus::WriteFailed:
            return {ExitStatus::WriteFailed, failed + name + " doesn't take it.",
                    "The card may be full, write-protected or damaged."};
        case ExitStatus::FileUnusable:
            return {ExitStatus::FileUnusable, failed + "the file on this machine can't be used."};
        case ExitStatus::NotSupported:
            return {ExitStatus::NotSupported, failed + name + " doesn't support it."};
        case ExitStatus::NotConnected:
            return notReached(device);
        case ExitStatus::DeleteRefused:
            return {ExitStatus::DeleteRefused, failed + name + " refused to delete.",
                    "There may be no such file, or the card may be write-protected."};
        case ExitStatus::NoMemory:
            return {ExitStatus::NoMemory,
                    failed + "out of memory, or the thumbnail library is missing."};
        default:
            return {ExitStatus::ReadFailed,
                    failed + "error " + std::to_string(errorCode) + " of " + name + "."};
    }
}

std::u16string askDevice(const Device& device, std::u16string_view message) {
    const auto object = createComponent<IPhotoDevice>(device.progId);
    // The claim may be refused, because another program holds the device. It is made only to tell
    // the object which device is meant.
    object->LockDevice(Bstr(device.contextId).get());
    Bstr answer;
    if (object->Escape(Bstr(message).get(), answer.out()) != S_OK) {
        LONG code = 0;
        object->get_ErrorCode(&code);
        throw deviceFailure(code, device, "The message \"" + utf8Text(message) + "\"");
    }
    return std::u16string(answer.view());
}

bool PhotoSession::isConnected() const {
    LONG connected = 0;
    return call([&](IPhotoDevice& it) { return it.get_IsConnected(&connected); }) == S_OK &&
           connected;
}

bool PhotoSession::hasMedia() const {
    // A device that can't test for its card counts as one with a card, hence the comparison with
    // FALSE.
    return isConnected() && escape(u"MSDC_IsCardInserted") != u"FALSE";
}

std::optional<Failure> PhotoSession::endOf(const Failure& failure) const {
    if (failure.status == ExitStatus::NotConnected || failure.status == ExitStatus::NotClaimed)
        return failure;
    // The failure may be the file's alone. It ends the work only if there is no medium any more.
    if (hasMedia()) return std::nullopt;
    return deviceFailure(static_cast<LONG>(ExitStatus::NotConnected), device(), "");
}

void PhotoSession::requireMedia() const {
    requireAnswer();
    if (!hasMedia())
        throw Failure(ExitStatus::NotConnected, utf8Text(device().name) + " has no card any more.",
                      "Insert the card again, and repeat the command.");
}

void PhotoSession::requireAnswer() const {
    if (isConnected()) return;
    if (DeviceDirectory().isCamera(device().contextId)) throw notReached(device());
}

std::u16string PhotoSession::escape(std::u16string_view message) const {
    Bstr answer;
    call([&](IPhotoDevice& it) { return it.Escape(Bstr(message).get(), answer.out()); });
    return std::u16string(answer.view());
}

std::vector<FileRecord> PhotoSession::files() const {
    // For a card reader without its card the component would wait for files until its timeout, and
    // then return an empty list.
    requireMedia();
    Bstr document;
    // The list of a large card takes a while; returning false stops it.
    ProgressCallback callback([](int) { return !StopFlag::raised(); });
    const std::int64_t start = _time64();
    try {
        require(call([&](IPhotoDevice& it) {
                    return it.GetFileInfo(callback.asArgument(), document.out());
                }),
                "Listing the files");
    } catch (const Failure& failure) {
        // The components return the same code for a list that can't be read and for one that was
        // cut off because the device was unplugged.
        throw endOf(failure).value_or(failure);
    }
    if (StopFlag::raised()) throw stoppedEarly();
    // A card that is removed during the listing gives a list of the files found so far, without an
    // error. So the card has to be there afterwards, too.
    requireMedia();
    std::vector<FileRecord> files = parseFileInfo(std::move(document));
    markMissingDates(files, start, _time64());
    return files;
}

void PhotoSession::remove(const std::u16string& id) const {
    const Bstr text(id);
    require(call([&](IPhotoDevice& it) { return it.DeleteFileW(text.get()); }), "Deleting it");
}

}  // namespace zlk
