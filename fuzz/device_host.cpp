// Fuzzes a device host with messages of several clients, and at the same time with the answers of
// its device.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "fuzz/Input.h"
#include "usbscan/Protocol.h"
#include "usbscan/host/DeviceHost.h"

using namespace zlk::usbscan;
using zlk::fuzz::Input;

namespace {

/// A device whose answers come from the input. The end of each transfer is posted, as a real
/// device's comes later, too.
class InventedDevice final : public UsbDevice {
  public:
    InventedDevice(EventLoop& loop, Input& input) : loop_(loop), input_(input) {
        facts_.bulkIn = {0x81, 64, 0};
        facts_.bulkOut = {0x02, 64, 0};
        facts_.interruptIn = {0x83, 8, 0};
    }

    const UsbFacts& facts() const override { return facts_; }
    void setListener(Listener* listener) override { listener_ = listener; }
    void read(std::uint64_t, bool) override {
        if (!std::exchange(reading_, true)) post([this] { speak(); });
    }
    bool stopReading() override { return std::exchange(reading_, false); }
    void write(std::span<const std::byte>, bool, Done done) override {
        post([this, done = std::move(done)] { done(status()); });
    }
    // Nothing to cancel: every answer is on its way.
    void cancelWrite() override {}
    void control(const UsbRequest&, DoneWithBytes done) override {
        post([this, done = std::move(done)] {
            const std::string bytes = input_.narrow(input_.byte() % 16);
            done(status(), std::as_bytes(std::span(bytes)));
        });
    }
    void waitForInterrupt(DoneWithBytes done) override {
        post([this, done = std::move(done)] {
            const std::string bytes = input_.narrow(input_.byte() % 64);
            done(bytes.empty() ? UsbStatus::Failed : UsbStatus::Done,
                 std::as_bytes(std::span(bytes)));
        });
    }
    void cancelInterrupt() override {}
    bool clearHalt(std::uint8_t) override { return true; }
    bool reset() override { return input_.byte() % 2; }

  private:
    void post(EventLoop::Task task) { loop_.post(lifetime_.guard(std::move(task))); }
    // Done in most cases, so that conversations get far; sometimes one of the errors.
    UsbStatus status() { return static_cast<UsbStatus>(std::max(input_.byte() % 32 - 26, 0)); }
    void speak() {
        if (!reading_ || !listener_) return;
        // If no bytes come, the reading ends: with a stall, or silently.
        const std::uint8_t what = input_.byte();
        const auto bytes = std::make_shared<std::string>(input_.narrow(what % 80));
        if (bytes->empty()) {
            reading_ = false;
            if (what) listener_->readingStopped(UsbStatus::Stalled);
            return;
        }
        // If `what` is 80 or more, the transfer ends with these bytes.
        listener_->arrived({std::as_bytes(std::span(*bytes)), what >= 80, bytes});
        post([this] { speak(); });
    }

    EventLoop& loop_;
    Input& input_;
    UsbFacts facts_;
    Listener* listener_ = nullptr;
    bool reading_ = false;
    Lifetime lifetime_;
};

/// Sends a message of any kind with any payload.
void say(int socket, Input& input) {
    const auto kind = static_cast<MessageKind>(input.byte() % 10);
    std::string payload = input.narrow(input.byte());
    MessageHeader header{static_cast<std::uint32_t>(payload.size()), kind, 0, input.byte()};
    // A length that promises much more than comes.
    if (input.byte() == 0) header.length = 0x7FFFFFFF;
    // A correct Open message, without which a client gets nowhere.
    const OpenRequest open{protocolVersion, 1, 1};
    if (kind == MessageKind::Open) {
        payload.assign(reinterpret_cast<const char*>(&open), sizeof open);
        header.length = sizeof open;
    }
    const std::string message(reinterpret_cast<const char*>(&header), sizeof header);
    static_cast<void>(::send(socket, (message + payload).data(), message.size() + payload.size(),
                             MSG_DONTWAIT | MSG_NOSIGNAL));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    EventLoop loop;
    DeviceHost host(loop, std::make_unique<InventedDevice>(loop, input),
                    std::chrono::milliseconds(0), [] {});
    // Three clients, which compete for the device.
    int clients[3][2];
    for (auto& pair : clients) {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair) != 0) return 0;
        host.serve(pair[0]);
    }
    for (int steps = input.byte() % 64; steps > 0; --steps) {
        int(&pair)[2] = clients[input.byte() % 3];
        const std::uint8_t what = input.byte();
        // A client may leave at any time.
        if (what == 0 && pair[1] >= 0) ::close(std::exchange(pair[1], -1));
        if (pair[1] >= 0) say(pair[1], input);
        // The loop runs for a few rounds only, so that messages arrive in any state of the host.
        for (int i = what % 8; i > 0; --i) {
            loop.post([&] { loop.stop(); });
            loop.run();
        }
    }
    for (const auto& pair : clients)
        if (pair[1] >= 0) ::close(pair[1]);
    return 0;
}
