#pragma once
// The recording that a client has asked for.

#include <functional>
#include <string_view>

#include "usbscan/host/ClientConnection.h"
#include "usbscan/host/EventLoop.h"
#include "usbscan/host/RecordingDevice.h"

namespace zlk::usbscan {

class HostRecording {
  public:
    /// `tell` hands a line to everybody who listens. `isBusy`: the host is still setting right what
    /// went wrong, which belongs into the recording.
    HostRecording(EventLoop& loop, RecordingDevice& device,
                  std::function<void(std::string_view)> tell, std::function<bool()> isBusy)
        : device_(device),
          tell_(std::move(tell)),
          isBusy_(std::move(isBusy)),
          pause_(loop),
          watch_(loop) {}
    /// Waits a moment for what isn't written yet.
    ~HostRecording();

    bool isRunning() const { return recorder_ && recorder_->file().error() == 0; }
    /// The payload of a Record message; the file has come with it. It is answered.
    void begin(ClientConnection& client, std::span<const std::byte> payload);
    /// Answered once everything is written.
    void end(ClientConnection& client);
    /// It wants no answer any more.
    void remove(const ClientConnection& client);
    /// Waits a moment for the last bytes, and answers.
    void deviceGone();

  private:
    std::uint32_t tryToBegin(ClientConnection& client, std::span<const std::byte> payload);
    void finish();
    void finishWhenQuiet();
    void answerWhenOver();
    void watch();

    RecordingDevice& device_;
    const std::function<void(std::string_view)> tell_;
    const std::function<bool()> isBusy_;
    std::shared_ptr<Recorder> recorder_;
    std::shared_ptr<Recorder> finished_;  // until all of it is written
    ClientConnection* owner_ = nullptr;   // null: nobody waits for its end
    bool isAsked_ = false;                // it has asked for the end
    Timer pause_, watch_;
};

}  // namespace zlk::usbscan
