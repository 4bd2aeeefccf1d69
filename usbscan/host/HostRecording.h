#pragma once
// Begins and ends the recording of the device on behalf of the client that asked for it.

#include <functional>
#include <string_view>

#include "usbscan/host/ClientConnection.h"
#include "usbscan/host/EventLoop.h"
#include "usbscan/host/RecordingDevice.h"

namespace zlk::usbscan {

class HostRecording {
  public:
    /// `tell` sends a line to the traces of all clients. `isBusy` returns whether the host is still
    /// recovering the device. If a client ends its recording, or is gone, the recording goes on
    /// until the recovery is over.
    HostRecording(EventLoop& loop, RecordingDevice& device,
                  std::function<void(std::string_view)> tell, std::function<bool()> isBusy)
        : device_(device),
          tell_(std::move(tell)),
          isBusy_(std::move(isBusy)),
          pause_(loop),
          watch_(loop) {}
    /// Ends a recording, and blocks until the rest is written, but at most for a second.
    ~HostRecording();

    bool isRunning() const { return recorder_ && recorder_->file().error() == 0; }
    /// Handles and answers a Record message with this payload. The recording's file is the client's
    /// latest descriptor.
    void begin(ClientConnection& client, std::span<const std::byte> payload);
    /// Handles EndRecord, and answers it once the writing is over. If the client has no recording,
    /// or has asked already, the answer is an error and comes at once.
    void end(ClientConnection& client);
    /// Forgets a client that is gone. Ends its recording, unless recordToTheEnd was set.
    void remove(const ClientConnection& client);
    /// Ends the recording, and waits for the rest to be written, but at most a second. If the rest
    /// is written by then, the recording's client gets its answer.
    void deviceGone();

  private:
    /// Returns the last error, or 0.
    std::uint32_t tryToBegin(ClientConnection& client, std::span<const std::byte> payload);
    /// Stops recording. The rest is written in the background.
    void finish();
    void finishWhenQuiet();
    void answerWhenOver();
    /// Looks from time to time whether writing has failed.
    void watch();

    RecordingDevice& device_;
    const std::function<void(std::string_view)> tell_;
    const std::function<bool()> isBusy_;
    std::shared_ptr<Recorder> recorder_;  // the current one; it may have failed
    std::shared_ptr<Recorder> finished_;  // an ended one, until all of it is written
    ClientConnection* owner_ = nullptr;   // the client that can end the recording; null: none
    bool isAsked_ = false;                // the owner has asked for the end
    Timer pause_, watch_;
};

}  // namespace zlk::usbscan
