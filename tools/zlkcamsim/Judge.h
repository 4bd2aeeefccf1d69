#pragma once
// Watches what the host sends, and keeps a record of what no initiator may do. What the camera
// itself spoils by a fault is not held against the host.

#include <deque>
#include <optional>
#include <string>

#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/Session.h"

namespace zlk::camsim {

class Judge {
  public:
    explicit Judge(const Session& session) : session_(session) {}

    /// A container came where a command belongs: `arrived` bytes in one transfer.
    /// `transactionOpen`: the response of the one before hasn't been handed out.
    void command(const ContainerHeader& header, std::size_t arrived, bool transactionOpen);
    /// The data phase of `command`.
    void data(const ContainerHeader& header, std::uint64_t arrived, const Message& command);
    /// Request 0x64; `openId` of the transaction that is open.
    void cancelRequest(ByteView request, std::optional<std::uint32_t> openId);

    /// A transaction ended before its response, or never began: its id may be used once more, or
    /// be left behind.
    void transactionBroken(std::uint32_t id) { reusable_ = id; }
    /// The session went without the host's knowing: it may go on until it finds out.
    void sessionLost() { excused_ = true; }

    /// Something else that is wrong. The last thousand are kept.
    void blame(std::string what);
    const std::deque<std::string>& violations() const { return violations_; }
    /// How many ids came a second time behind their response, as after a host that was killed.
    unsigned repeats() const { return repeats_; }
    void clear() { violations_.clear(); }

  private:
    void judgeId(const ContainerHeader& header);

    const Session& session_;
    std::optional<std::uint32_t> reusable_;
    std::optional<std::uint32_t> repeated_;
    unsigned repeats_ = 0;
    bool excused_ = false;
    std::deque<std::string> violations_;
};

/// `0x1009`
std::string hexText(std::uint32_t number, int digits = 4);

}  // namespace zlk::camsim
