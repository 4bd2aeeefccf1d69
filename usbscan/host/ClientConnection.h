#pragma once
// A client's connection at the host's end: messages in, messages out, neither of them blocking.

#include <sys/types.h>

#include <deque>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/descriptor.h"
#include "usbscan/Protocol.h"
#include "usbscan/host/DataArea.h"
#include "usbscan/host/EventLoop.h"

namespace zlk::usbscan {

/// A part of a Write message.
struct WritePart {
    std::uint16_t turn;
    std::span<const std::byte> bytes;
    bool first, last;
};
/// What a part has at most; a multiple of every packet size.
inline constexpr std::uint32_t maxWritePart = 256 * 1024;

class ClientConnection {
  public:
    class Owner {
      public:
        /// A whole message of any kind but Write.
        virtual void received(ClientConnection& from, const MessageHeader& header,
                              std::span<const std::byte> payload) = 0;
        /// The bytes of a Write, in order; a short one comes whole. They stay until resume(), and
        /// nothing further is read until then.
        virtual void receivedPart(ClientConnection& from, const WritePart& part) = 0;
        /// The client is gone, or broke the protocol. The owner removes the connection later,
        /// from the loop.
        virtual void lost(ClientConnection& connection) = 0;

      protected:
        ~Owner() = default;
    };

    /// Takes over the socket.
    ClientConnection(EventLoop& loop, int socket, Owner& owner);
    ~ClientConnection();
    ClientConnection(const ClientConnection&) = delete;
    ClientConnection& operator=(const ClientConnection&) = delete;

    /// Reads on behind a part.
    void resume();

    enum class When { Now, WithTheNext };
    /// Queues a message; `bytes` are copied where there is no keeper. WithTheNext: it isn't worth
    /// a client's waking up.
    void send(MessageHeader header, std::span<const std::byte> bytes = {},
              std::shared_ptr<const void> keeper = {}, When when = When::Now);
    void sendError(MessageKind kind, std::uint32_t error, std::uint16_t turn = 0,
                   std::uint8_t flags = 0);
    void note(std::string_view line);
    /// Drops what was pushed and isn't sent: nobody will read it, and its buffers are needed.
    void dropData();
    /// Whether the client hasn't taken yet what is queued for it.
    bool isBehind() const noexcept { return !output_.empty() && !awaitsNext_; }
    /// Ends the connection once everything queued is sent, or at once if that would wait.
    void finish();

    /// The descriptor that came last with a message; empty if none did since.
    Descriptor takeDescriptor() { return std::move(passed_); }

    /// Of the client, as the kernel knows it.
    pid_t process() const noexcept { return process_; }

    // What the host keeps of each client.
    OpenRequest opened{};       ///< version 0: not yet
    bool dead = false;          ///< its session is over
    bool hasCommanded = false;  ///< the device has got a command of its

  private:
    struct Outgoing {
        MessageHeader header;
        std::span<const std::byte> bytes;
        std::shared_ptr<const void> keeper;
        int descriptor = -1;     // that goes with it
        bool wantsArea = false;  // a large piece of data, not there yet
    };
    void queue(Outgoing outgoing, When when = When::Now);
    /// Puts what wants it into the area; false if it has to wait for a slot.
    bool moveToArea(Outgoing& outgoing);
    void happened(short events);
    bool listens() const noexcept;
    void readOn();
    /// From the loop: not from inside of anybody's call, and behind what else waits there.
    void readOnLater();
    /// False if something is missing for it, which `wanted_` then tells.
    bool takeMessage();
    bool takePart();
    bool receive();
    void lose();
    void flush();
    void expectEvents();

    EventLoop& loop_;
    const int socket_;
    const pid_t process_;
    Owner& owner_;
    bool paused_ = false, lost_ = false, finishing_ = false;
    Lifetime lifetime_;

    Descriptor passed_;

    // What was received and isn't handed out yet; `wanted_` bytes are needed to go on.
    std::vector<std::byte> input_;
    std::size_t begin_ = 0, end_ = 0, wanted_ = sizeof(MessageHeader);
    MessageHeader write_{};        // a Write that is under way,
    std::uint32_t writeLeft_ = 0;  // what of it isn't handed out

    DataArea area_;
    std::deque<Outgoing> output_;
    std::size_t queuedAnswers_ = 0;  // of them: what isn't data
    std::size_t sent_ = 0;           // of the first message, header included
    bool awaitsSlot_ = false;
    bool awaitsNext_ = false;  // all that is queued goes with the next message
};

}  // namespace zlk::usbscan
