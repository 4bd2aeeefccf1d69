#pragma once
// Writes a reply to the pipe as a script, container by container, with the changes that faults
// make.

#include <vector>

#include "tools/zlkcamsim/BulkInPipe.h"
#include "tools/zlkcamsim/Fault.h"
#include "tools/zlkcamsim/Responder.h"

namespace zlk::camsim {

/// Made for one reply. Pipe and faults outlive it.
class ReplyScript {
  public:
    ReplyScript(BulkInPipe& pipe, FaultList& faults) : pipe_(pipe), faults_(faults) {}

    /// Appends data and response of `command` to the script.
    void play(const Message& command, Reply reply);

  private:
    /// Appends one container with the faults before it, in it and at its end.
    void container(ContainerHeader header, const Payload& payload,
                   const std::vector<Fault>& faults);
    /// Appends what faults put before the container.
    void before(const ContainerHeader& header, const std::vector<Fault>& faults);
    /// Appends the header and the payload. Returns false if a fault has ended the container.
    bool body(const Bytes& header, const Payload& payload, const std::vector<Fault>& faults);
    /// Ends the transfer, unless a fault keeps it open.
    void end(const std::vector<Fault>& faults);
    /// Appends a needless zero-length packet if a fault wants one.
    void surplus(const std::vector<Fault>& faults);

    /// Appends bytes to the current transfer.
    void send(Payload payload);
    void sendWholePackets(const Bytes& header, const Payload& payload, std::size_t count);
    void step(PipeStep::Kind kind) { pipe_.append({kind, {}, {}}); }
    void endTransfer();

    BulkInPipe& pipe_;
    FaultList& faults_;
    // Bytes that were sent in the current transfer.
    std::uint64_t inTransfer_ = 0;
};

}  // namespace zlk::camsim
