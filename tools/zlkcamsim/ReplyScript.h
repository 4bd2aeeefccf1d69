#pragma once
// Lays a reply out on the pipe to the host, container by container, with what faults make of it.

#include <vector>

#include "tools/zlkcamsim/BulkInPipe.h"
#include "tools/zlkcamsim/Fault.h"
#include "tools/zlkcamsim/Responder.h"

namespace zlk::camsim {

class ReplyScript {
  public:
    ReplyScript(BulkInPipe& pipe, FaultList& faults) : pipe_(pipe), faults_(faults) {}

    void play(const Message& command, Reply reply);

  private:
    void container(ContainerHeader header, const Payload& payload,
                   const std::vector<Fault>& faults);
    void before(const ContainerHeader& header, const std::vector<Fault>& faults);
    /// False if nothing of this container comes behind what has been sent.
    bool body(const Bytes& header, const Payload& payload, const std::vector<Fault>& faults);
    void end(const std::vector<Fault>& faults);
    /// Packets of no bytes that nothing is due for.
    void surplus(const std::vector<Fault>& faults);

    void send(Payload payload);
    void sendWholePackets(const Bytes& header, const Payload& payload, std::size_t count);
    void step(PipeStep::Kind kind) { pipe_.append({kind, {}, {}}); }
    void endTransfer();

    BulkInPipe& pipe_;
    FaultList& faults_;
    std::uint64_t inTransfer_ = 0;  // bytes of the transfer that hasn't ended
};

}  // namespace zlk::camsim
