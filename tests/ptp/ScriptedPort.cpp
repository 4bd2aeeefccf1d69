#include "tests/ptp/ScriptedPort.h"

#include <algorithm>

#include "ptp/PTPSyncInterface.h"
#include "ptp/TransportInterface.h"

namespace zlk {
namespace test {
namespace {

ScriptedPort* script = nullptr;

class ScriptedTransport : public TransportInterface {
  public:
    void openConnection(const WCHAR*) override {
        if (script->openError) throw script->openError;
    }
    void closeConnection() override {}
    void write(const void* buffer, std::uint32_t length) override {
        const auto* bytes = static_cast<const std::uint8_t*>(buffer);
        script->fromHost.emplace_back(bytes, bytes + length);
    }
    void read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead) override {
        ++script->reads;
        if (script->toHost.empty()) throw PTP_TRANSPORT_ERROR;
        Bytes& transfer = script->toHost.front();
        const std::size_t count = std::min<std::size_t>(length, transfer.size());
        std::copy_n(transfer.begin(), count, static_cast<std::uint8_t*>(buffer));
        transfer.erase(transfer.begin(), transfer.begin() + static_cast<std::ptrdiff_t>(count));
        if (transfer.empty()) script->toHost.pop_front();
        *bytesRead = static_cast<std::uint32_t>(count);
    }
    void readInterrupt(void* buffer, std::uint32_t length) override {
        if (script->events.empty()) return;
        const Bytes event = script->events.front();
        script->events.pop_front();
        std::copy_n(event.begin(), std::min<std::size_t>(length, event.size()),
                    static_cast<std::uint8_t*>(buffer));
    }
    std::uint32_t getMaxPacketSize() override { return script->maxPacketSize; }
    void getVidPid(std::uint32_t* vid, std::uint32_t* pid) override {
        *vid = script->vid;
        *pid = script->pid;
    }
};

class ScriptedArbiter : public PTPSyncInterface {
  public:
    std::uint32_t getMutex(const WCHAR*) override {
        if (script->mutexError) throw script->mutexError;
        ++script->held;
        return script->nextId;
    }
    void releaseMutex(const WCHAR*, std::uint32_t transactionId) override {
        --script->held;
        script->nextId = transactionId;
    }
    void setPort(const WCHAR*) override { script->calls.push_back("setPort"); }
    void removePort(const WCHAR*) override { script->calls.push_back("removePort"); }
    wString findPortbyVidPid(std::uint32_t, std::uint32_t) override {
        return wString(script->portOfIds);
    }
    void updatePortInfo(const WCHAR*, std::uint32_t, std::uint32_t) override {
        script->calls.push_back("updatePortInfo");
    }
};

}  // namespace

ScriptedPort::ScriptedPort() {
    script = this;
}

ScriptedPort::~ScriptedPort() {
    script = nullptr;
}

Bytes hex(std::string_view digits) {
    std::string pairs(digits);
    std::erase(pairs, ' ');
    Bytes bytes;
    for (std::size_t i = 0; i < pairs.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(pairs.substr(i, 2), nullptr, 16)));
    return bytes;
}

Bytes u32s(std::initializer_list<std::uint32_t> values) {
    Bytes bytes;
    for (const std::uint32_t value : values)
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    return bytes;
}

Bytes container(std::uint16_t type, std::uint16_t code, std::uint32_t id, const Bytes& payload) {
    const auto length = static_cast<std::uint32_t>(payload.size() + 12);
    Bytes bytes = u32s({length, static_cast<std::uint32_t>(code) << 16 | type, id});
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

}  // namespace test

std::unique_ptr<TransportInterface> createTransport() {
    return std::make_unique<test::ScriptedTransport>();
}

std::unique_ptr<PTPSyncInterface> createPortArbiter() {
    return std::make_unique<test::ScriptedArbiter>();
}

}  // namespace zlk
