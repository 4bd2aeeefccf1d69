#include "usbscan/host/HostRecording.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <system_error>
#include <utility>

#include "platform/error.h"

namespace zlk::usbscan {
namespace {

// In this order: how often the host looks whether a recovery or the writing is over, how often it
// looks whether the writing has failed, and how long an ending host waits for the writing.
constexpr std::chrono::milliseconds betweenLooks{5}, betweenWatches{500}, patienceAtTheEnd{1000};

/// Only a regular file is accepted: writing to a pipe or a device could block for ever.
bool isWritableFile(int file) {
    struct stat status;
    const int flags = ::fcntl(file, F_GETFL);
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && flags >= 0 &&
           (flags & O_ACCMODE) != O_RDONLY;
}

/// Takes a Record message's payload apart. False if it is malformed.
bool readRequest(std::span<const std::byte> payload, RecordRequest& request, DeviceTexts& texts) {
    if (payload.size() < sizeof request) return false;
    std::memcpy(&request, payload.data(), sizeof request);
    payload = payload.subspan(sizeof request);
    const std::pair<std::string*, std::size_t> fields[]{{&texts.manufacturer, request.manufacturer},
                                                        {&texts.product, request.product},
                                                        {&texts.serial, request.serial}};
    for (const auto& [text, size] : fields) {
        if (size > payload.size()) return false;
        text->assign(reinterpret_cast<const char*>(payload.data()), size);
        payload = payload.subspan(size);
    }
    return true;
}

std::string_view reasonOf(std::uint32_t error) {
    if (error == ERROR_DISK_FULL) return "the disk is full";
    if (error == ERROR_SEM_TIMEOUT) return "the disk is too slow";
    return "the file can't be written";
}

}  // namespace

HostRecording::~HostRecording() {
    for (const auto& last : {recorder_, finished_}) {
        if (!last) continue;
        last->file().finish();
        last->file().waitUntilOver(patienceAtTheEnd);
    }
}

void HostRecording::begin(ClientConnection& client, std::span<const std::byte> payload) {
    client.sendError(MessageKind::Recorded, tryToBegin(client, payload));
}

std::uint32_t HostRecording::tryToBegin(ClientConnection& client,
                                        std::span<const std::byte> payload) {
    Descriptor file = client.takeDescriptor();
    RecordRequest request{};
    DeviceTexts texts;
    if (!readRequest(payload, request, texts) || !isWritableFile(file.get()))
        return ERROR_INVALID_PARAMETER;
    // A recording that has failed and has no owner may be replaced.
    if (finished_ || isRunning() || owner_) return ERROR_BUSY;
    // The contents of files could reveal their owner, so an anonymous recording never has them.
    const bool isAnonymous = request.flags & recordAnonymously;
    const RecordingOptions options{.payloads = (request.flags & recordPayloads) && !isAnonymous,
                                   .anonymous = isAnonymous};
    try {
        recorder_ = std::make_shared<Recorder>(std::move(file), options, device_.facts(), texts);
    } catch (const std::system_error&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    device_.setRecorder(recorder_);
    owner_ = request.flags & recordToTheEnd ? nullptr : &client;
    isAsked_ = false;
    watch();
    return ERROR_SUCCESS;
}

void HostRecording::finish() {
    watch_.stop();
    if (!recorder_) return;
    device_.setRecorder(nullptr);
    finished_ = std::move(recorder_);
    finished_->file().finish();
}

/// Ends the recording, after a recovery that is under way, so that the recovery is recorded too.
void HostRecording::finishWhenQuiet() {
    if (isBusy_()) return pause_.start(betweenLooks, [this] { finishWhenQuiet(); });
    finish();
    answerWhenOver();
}

/// If a recording fails before its end, all clients are soon told, and not only its owner at the
/// end.
void HostRecording::watch() {
    const std::uint32_t error = recorder_->file().error();
    if (error == ERROR_SUCCESS) return watch_.start(betweenWatches, [this] { watch(); });
    device_.setRecorder(nullptr);
    tell_("The recording of the device has ended early: " + std::string(reasonOf(error)));
}

void HostRecording::end(ClientConnection& client) {
    if (owner_ != &client || isAsked_)
        return client.sendError(MessageKind::Recorded, ERROR_INVALID_PARAMETER);
    isAsked_ = true;
    finishWhenQuiet();
}

void HostRecording::remove(const ClientConnection& client) {
    if (owner_ != &client) return;
    owner_ = nullptr;
    if (!isAsked_) finishWhenQuiet();
}

/// The host ends after this, so here it does wait for the disk, though not for long.
void HostRecording::deviceGone() {
    finish();
    if (!finished_) return;
    finished_->file().waitUntilOver(patienceAtTheEnd);
    isAsked_ = true;
    answerWhenOver();
}

void HostRecording::answerWhenOver() {
    if (!finished_) return;
    if (!finished_->file().isOver())
        return pause_.start(betweenLooks, [this] { answerWhenOver(); });
    const std::uint32_t error = finished_->file().error();
    finished_.reset();
    if (ClientConnection* const client = std::exchange(owner_, nullptr); client && isAsked_)
        client->sendError(MessageKind::Recorded, error);
}

}  // namespace zlk::usbscan
