#pragma once
// Watches what the host sends, and records where its containers and cancel requests break rules of
// PTP and of the still image class. An id that comes again or was left out after a broken
// transaction is excused, and so are commands without a session after the session was lost.

#include <deque>
#include <optional>
#include <string>

#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/Session.h"

namespace zlk::camsim {

/// Never changes what the camera does; it only takes notes.
class Judge {
  public:
    explicit Judge(const Session& session) : session_(session) {}

    /// A container arrived where a command is expected. `arrived` is the length of its transfer,
    /// and `transactionOpen` says that the host hasn't fetched the previous response yet.
    void command(const ContainerHeader& header, std::size_t arrived, bool transactionOpen);
    /// The data phase of `command` arrived, with `arrived` bytes, the header included.
    void data(const ContainerHeader& header, std::uint64_t arrived, const Message& command);
    /// The class request 0x64 arrived. `openId` is the transaction that is open, if there is one.
    void cancelRequest(ByteView request, std::optional<std::uint32_t> openId);

    /// The host can't know whether the id of this transaction counts: the transaction was cut off,
    /// the host gave up before it read the response, or a fault struck the command. The host may
    /// use the id again, or leave it out.
    void transactionBroken(std::uint32_t id) { reusable_ = id; }
    /// The session ended without the host's knowledge. The host may go on with it until it notices.
    void sessionLost() { excused_ = true; }

    /// Records a violation as a text. The last thousand are kept.
    void blame(std::string what);
    const std::deque<std::string>& violations() const { return violations_; }
    /// How often the last id came again and was accepted though its transaction wasn't broken, as
    /// after a host was killed.
    unsigned repeats() const { return repeats_; }
    void clear() { violations_.clear(); }

  private:
    void judgeId(const ContainerHeader& header);

    // The camera's session, with which the ids of commands are compared.
    const Session& session_;
    // The id that transactionBroken() was called with, until the next command other than
    // OpenSession.
    std::optional<std::uint32_t> reusable_;
    // The last id that was accepted again, and how often it was.
    std::optional<std::uint32_t> repeated_;
    unsigned inARow_ = 0;
    unsigned repeats_ = 0;
    // Whether commands without a session are excused, until the host opens one.
    bool excused_ = false;
    std::deque<std::string> violations_;
};

}  // namespace zlk::camsim
