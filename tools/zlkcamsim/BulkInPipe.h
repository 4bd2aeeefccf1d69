#pragma once
// The pipe to the host, as a script that is played when the host asks: bytes, ends of transfers,
// and what may go wrong between them.

#include <deque>
#include <functional>

#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/UsbFunction.h"
#include "usbscan/host/EventLoop.h"

namespace zlk::camsim {

struct PipeStep {
    enum class Kind {
        Send,       ///< `payload`
        End,        ///< of the transfer: by a short packet, or one of no bytes where it is due
        Wait,       ///< for `delay`
        Stall,      ///< what stands behind it is dropped
        Silence,    ///< nothing more
        Pulled,     ///< the cable is
        Completed,  ///< the response has been handed out
    };
    Kind kind = Kind::End;
    Payload payload{};
    std::chrono::milliseconds delay{};
};

class BulkInPipe {
  public:
    struct Listener {
        virtual void transactionCompleted() = 0;
        virtual void pipeStalled() = 0;
        virtual void cablePulled() = 0;
        /// The pipe said NotNow, and goes on.
        virtual void pipeReady() = 0;

      protected:
        ~Listener() = default;
    };

    BulkInPipe(usbscan::EventLoop& loop, std::uint16_t packetSize, Listener& listener)
        : packetSize_(packetSize), listener_(listener), delay_(loop) {}

    std::uint16_t packetSize() const { return packetSize_; }
    void append(PipeStep step) { steps_.push_back(std::move(step)); }
    /// Up to `room` bytes, a multiple of the packet size.
    PipeBytes take(std::size_t room);

    /// Nothing left to say; a stall stays.
    void clear();
    void clearHalt() { halted_ = false; }
    bool halted() const { return halted_; }

  private:
    PipeBytes takeBytes(std::size_t room);
    PipeBytes wait(std::chrono::milliseconds delay);
    void passCompleted();
    void halt();

    std::uint16_t packetSize_;
    Listener& listener_;
    std::deque<PipeStep> steps_;
    bool halted_ = false;
    usbscan::Timer delay_;
};

}  // namespace zlk::camsim
