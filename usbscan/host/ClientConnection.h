#pragma once
// The host's end of a client's connection: takes messages apart, queues those to the client, and
// never blocks. For the thread of the event loop only.

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

/// The bytes of a Write message. A large message is handed out in parts, before it is complete.
struct WritePart {
    std::uint16_t turn;
    std::span<const std::byte> bytes;  ///< in the connection's buffer
    bool first, last;
};
/// Largest size of a part in bytes. It is a multiple of all sizes that USB has for bulk packets, so
/// that the device sees no short packet between two parts.
inline constexpr std::uint32_t maxWritePart = 256 * 1024;

class ClientConnection {
  public:
    /// Receives what the client sends. None of its functions may block.
    class Owner {
      public:
        /// A whole message of any kind but Write and SlotFree.
        virtual void received(ClientConnection& from, const MessageHeader& header,
                              std::span<const std::byte> payload) = 0;
        /// The next bytes of a Write, in order; a Write of at most maxWritePart bytes comes whole.
        /// The bytes stay valid until resume(), and nothing further is read until then.
        virtual void receivedPart(ClientConnection& from, const WritePart& part) = 0;
        /// The client is gone or broke the protocol, or finish() has done its work; called once.
        /// The owner destroys the connection later, from the event loop, since functions of the
        /// connection are still on the stack.
        virtual void lost(ClientConnection& connection) = 0;

      protected:
        ~Owner() = default;
    };

    /// Takes ownership of the socket, which must be non-blocking.
    ClientConnection(EventLoop& loop, int socket, Owner& owner);
    ~ClientConnection();
    ClientConnection(const ClientConnection&) = delete;
    ClientConnection& operator=(const ClientConnection&) = delete;

    /// Goes on reading after a part, whose bytes the owner no longer needs.
    void resume();

    /// WithTheNext: the message waits for the next one, since alone it isn't worth waking the
    /// client.
    enum class When { Now, WithTheNext };
    /// Queues a message. `bytes` stay valid while `keeper` is held; without a keeper they are
    /// copied.
    void send(MessageHeader header, std::span<const std::byte> bytes = {},
              std::shared_ptr<const void> keeper = {}, When when = When::Now);
    void sendError(MessageKind kind, std::uint32_t error, std::uint16_t turn = 0,
                   std::uint8_t flags = 0);
    /// Queues a line for the client's trace; drops it if many answers are waiting.
    void note(std::string_view line);
    /// Drops the data that is queued, which nobody will read, to free the device's buffers. A
    /// message of which a part has been sent stays.
    void dropData();
    /// Whether messages are queued that wait for the client to make room in the socket or the area.
    bool isBehind() const noexcept { return !output_.empty() && !awaitsNext_; }
    /// Drops queued data, and ends the connection once everything else is sent.
    void finish();

    /// The latest descriptor that has come with a message; empty if none has come since the last
    /// call.
    Descriptor takeDescriptor() { return std::move(passed_); }

    /// The client's process id, from the kernel; 0 if it isn't known.
    pid_t process() const noexcept { return process_; }

    // What the host remembers of this client.
    OpenRequest opened{};       ///< version 0: the handshake is still to come
    bool dead = false;          ///< every use of this handle fails
    bool hasCommanded = false;  ///< it has sent a command, so it relies on the session

  private:
    struct Outgoing {
        MessageHeader header;
        std::span<const std::byte> bytes;
        std::shared_ptr<const void> keeper;
        int descriptor = -1;     // to be passed with the message; borrowed
        bool wantsArea = false;  // large data, to be moved into a slot before it is sent
    };
    void queue(Outgoing outgoing, When when = When::Now);
    /// Copies the message's data into a free slot if it wants one; false if none is free.
    bool moveToArea(Outgoing& outgoing);
    void happened(short events);
    bool listens() const noexcept;
    /// Handles messages until there are none, or no more may be handled (see listens()). After many
    /// messages it goes on later, so that other clients are served too.
    void readOn();
    /// Posts readOn() to the loop, so that the owner isn't called from inside of a call that it has
    /// made.
    void readOnLater();
    /// These handle the next message and the next part of a Write. False if bytes are missing, in
    /// which case `wanted_` is how many are needed, or if the connection was lost.
    bool takeMessage();
    bool takePart();
    bool receive();
    void lose();
    void flush();
    /// Tells the loop which events matter now: POLLIN while messages may be handled, POLLOUT while
    /// something can be sent.
    void expectEvents();

    EventLoop& loop_;
    const int socket_;
    const pid_t process_;
    Owner& owner_;
    // Paused: the owner still uses a part. Finishing: the connection ends once all is sent.
    bool paused_ = false, lost_ = false, finishing_ = false;
    Lifetime lifetime_;

    Descriptor passed_;

    // Bytes from `begin_` to `end_` have been received and not been handled; `wanted_` bytes are
    // needed before anything can be handled.
    std::vector<std::byte> input_;
    std::size_t begin_ = 0, end_ = 0, wanted_ = sizeof(MessageHeader);
    MessageHeader write_{};        // the Write under way
    std::uint32_t writeLeft_ = 0;  // bytes of the Write not handed out; 0: no Write is under way

    DataArea area_;
    std::deque<Outgoing> output_;
    std::size_t queuedAnswers_ = 0;  // messages in `output_` that aren't data
    std::size_t sent_ = 0;           // bytes of the first message that are sent, header included
    bool awaitsSlot_ = false;        // the first message waits for a free slot of the area
    bool awaitsNext_ = false;        // all that is queued goes with the next message
};

}  // namespace zlk::usbscan
