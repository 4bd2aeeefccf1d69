#include "tools/zlkcamsim/Judge.h"

#include <utility>

#include "tools/zlkcamsim/Codes.h"
#include "tools/zlkcamsim/NumberText.h"

namespace zlk::camsim {
namespace {

// A host that breaks a rule all the time must not fill the memory.
constexpr std::size_t maxViolations = 1000;

std::size_t mostParameters(Code code) {
    return operation::isVendor(code) ? Message::maxParameters : operation::parameterCount(code);
}

bool mayComeWithoutSession(Code code) {
    return code == operation::GetDeviceInfo || code == operation::OpenSession ||
           code == operation::ResetDevice || operation::isVendor(code);
}

/// The id that follows; 0 and 0xFFFFFFFF aren't ids of transactions.
std::uint32_t idBehind(std::uint32_t id) {
    return id >= 0xFFFFFFFE ? 1 : id + 1;
}

std::string nameOf(const ContainerHeader& header) {
    return hexText(header.code) + " (id " + std::to_string(header.id) + ")";
}

}  // namespace

void Judge::blame(std::string what) {
    violations_.push_back(std::move(what));
    if (violations_.size() > maxViolations) violations_.pop_front();
}

void Judge::command(const ContainerHeader& header, std::size_t arrived, bool transactionOpen) {
    const std::string name = nameOf(header);
    if (header.type != Command) {
        blame("a container of type " + std::to_string(header.type) +
              " where a command belongs: " + name);
        return;
    }
    if (header.length != arrived)
        blame(name + ": the container says " + std::to_string(header.length) + " bytes, " +
              std::to_string(arrived) + " came");
    else if ((arrived - ContainerHeader::size) % 4 != 0)
        blame(name + ": parameters that are no whole numbers");
    else if ((arrived - ContainerHeader::size) / 4 > mostParameters(header.code))
        blame(name + ": too many parameters");
    if (transactionOpen) blame(name + ": while the transaction before it is open");
    judgeId(header);
    // OpenSession isn't counted, so it leaves open whether the id of a broken transaction comes
    // again.
    if (header.code != operation::OpenSession) reusable_.reset();
}

void Judge::judgeId(const ContainerHeader& header) {
    const std::string name = nameOf(header);
    if (header.code == operation::OpenSession) {
        // OpenSession comes before the count of its session, and carries 0.
        if (header.id != 0) blame(name + ": a session is opened with id 0");
        excused_ = false;
        return;
    }
    if (!session_.isOpen()) {
        if (!mayComeWithoutSession(header.code) && !excused_) blame(name + ": without a session");
        return;
    }
    const std::uint32_t expected = idBehind(session_.lastTransaction);
    // After a broken transaction its id may come again, or be left out.
    const bool mayFollow = reusable_ && header.id == idBehind(*reusable_);
    if (header.id == expected || header.id == reusable_ || mayFollow) return;
    // A host that was killed after the response may not have stored its count, and the next host
    // then uses the last id again. If the next host is killed at the same place, the id comes once
    // more. A count that stands still for longer is a fault.
    constexpr unsigned mostInARow = 3;
    if (repeated_ != header.id) inARow_ = 0;
    if (header.id == session_.lastTransaction && inARow_ < mostInARow) {
        repeated_ = header.id;
        ++inARow_;
        ++repeats_;
    } else {
        blame(name + ": id " + std::to_string(expected) + " was to come");
    }
}

void Judge::data(const ContainerHeader& header, std::uint64_t arrived, const Message& command) {
    const std::string name = "data of " + hexText(command.code);
    if (header.type != Data) blame(name + ": container type " + std::to_string(header.type));
    if (header.code != command.code) blame(name + ": carries code " + hexText(header.code));
    if (header.id != command.id) blame(name + ": carries id " + std::to_string(header.id));
    // A length of 4 GiB or more doesn't fit, and is written as 0xFFFFFFFF.
    const bool tooLongToSay =
        header.length == ContainerHeader::unknownLength && arrived >= header.length;
    if (header.length != arrived && !tooLongToSay)
        blame(name + ": the container says " + std::to_string(header.length) + " bytes, " +
              std::to_string(arrived) + " came");
}

void Judge::cancelRequest(ByteView request, std::optional<std::uint32_t> openId) {
    constexpr std::uint64_t cancelTransaction = 0x4001;
    if (request.size() != 6 || loadNumber(request, 2) != cancelTransaction)
        blame("cancel request: six bytes with code 0x4001 are due");
    // A host may find the device in the middle of another program's transaction, whose id it
    // doesn't know. It sends 0 then.
    else if (const auto id = loadNumber(request.subspan(2), 4); openId && id && id != *openId)
        blame("cancel request: not for the transaction that is open");
}

}  // namespace zlk::camsim
