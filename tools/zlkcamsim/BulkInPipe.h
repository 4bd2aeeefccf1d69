#pragma once
// The bulk pipe to the host, as a script that is played while the host reads: bytes, ends of
// transfers, and what may go wrong in between.

#include <deque>
#include <functional>

#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/UsbFunction.h"
#include "usbscan/host/EventLoop.h"

namespace zlk::camsim {

struct PipeStep {
    enum class Kind {
        Send,   ///< `payload`
        End,    ///< ends the transfer by a short packet, or a zero-length one where that is needed
        Wait,   ///< for `delay`
        Stall,  ///< the pipe halts, and the steps that follow are dropped
        Silence,    ///< nothing comes until the pipe is cleared
        Pulled,     ///< the cable is pulled
        Completed,  ///< the host has the whole response
    };
    Kind kind = Kind::End;
    Payload payload{};
    std::chrono::milliseconds delay{};
};

/// Used on the thread of the event loop only.
class BulkInPipe {
  public:
    /// Learns what the host's reading brought about. The calls come from inside of `take` or from
    /// the loop.
    struct Listener {
        virtual void transactionCompleted() = 0;
        virtual void pipeStalled() = 0;
        virtual void cablePulled() = 0;
        /// `take` has returned NotNow before, and may have something to give now.
        virtual void pipeReady() = 0;

      protected:
        ~Listener() = default;
    };

    /// `packetSize` in bytes. Loop and listener outlive this.
    BulkInPipe(usbscan::EventLoop& loop, std::uint16_t packetSize, Listener& listener)
        : packetSize_(packetSize), listener_(listener), delay_(loop) {}

    std::uint16_t packetSize() const { return packetSize_; }
    void append(PipeStep step) { steps_.push_back(std::move(step)); }
    /// Plays the script and returns up to `room` bytes. `room` is a multiple of the packet size,
    /// and not 0.
    PipeBytes take(std::size_t room);

    /// Drops all steps; a halt stays until clearHalt.
    void clear();
    void clearHalt() { halted_ = false; }
    bool halted() const { return halted_; }

  private:
    PipeBytes takeBytes(std::size_t room);
    /// Starts the delay of a Wait step, or goes on waiting.
    PipeBytes wait(std::chrono::milliseconds delay);
    void passCompleted();
    void halt();

    std::uint16_t packetSize_;
    Listener& listener_;
    std::deque<PipeStep> steps_;
    bool halted_ = false;
    // Runs for the Wait step that is in front.
    usbscan::Timer delay_;
};

}  // namespace zlk::camsim
