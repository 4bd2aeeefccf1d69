#pragma once
// Turns requests into packets as the kernel and a host controller do, with short, empty and too
// large packets, halted pipes, and requests that continue each other.

#include <deque>
#include <list>
#include <map>
#include <memory>

#include "tools/emulated_usb/Urb.h"
#include "tools/zlkcamsim/UsbFunction.h"

namespace zlk::emulated {

class UrbQueues {
  public:
    /// Accepts requests as long as the buffers of all that are under way have at most `memory`
    /// bytes together.
    UrbQueues(camsim::UsbFunction& function, std::size_t memory)
        : function_(function), memory_(memory) {}

    /// 0 or an errno.
    int submit(std::unique_ptr<Urb> urb);
    /// Ends a request as cancelled. False if the client has none at this address under way.
    bool discard(Urb::Client client, gulong address);
    /// Ends everything that is under way, or everything of one client, with this status.
    void end(int status, Urb::Client client = nullptr);
    /// Forgets a client and what it hasn't reaped.
    void forget(Urb::Client client);
    /// The oldest ended request of a client, or none.
    std::unique_ptr<Urb> reap(Urb::Client client);
    bool nothingToReap() const { return ended_.empty(); }

    /// Moves packets between the requests and the device until neither has anything for the other.
    void run();

  private:
    using UrbList = std::list<std::unique_ptr<Urb>>;
    struct Pipe {
        UrbList queue;
        bool emptyPacketIsDue = false;
        /// A request ended with an error: those that continue it are refused.
        bool continuationsRefused = false;
    };

    bool serve(Pipe& pipe);
    bool serveControl(Pipe& pipe);
    bool serveOut(Pipe& pipe);
    bool serveIn(Pipe& pipe);
    bool serveInterrupt(Pipe& pipe);
    bool endFirst(Pipe& pipe, int status);
    bool endShort(Pipe& pipe);
    bool endWith(Pipe& pipe, camsim::PipeAnswer answer);
    void end(Pipe& pipe, UrbList::iterator urb, int status);

    camsim::UsbFunction& function_;
    std::size_t memory_, used_ = 0;
    std::map<unsigned char, Pipe> pipes_;  ///< by endpoint
    UrbList ended_;
};

}  // namespace zlk::emulated
