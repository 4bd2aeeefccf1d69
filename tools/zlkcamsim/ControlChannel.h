#pragma once
// The channel over which testers control a virtual camera: a Unix stream socket, or standard input
// and output.

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "usbscan/host/EventLoop.h"

namespace zlk::camsim {

/// Used on the thread of the event loop only.
class ControlChannel {
  public:
    /// Gets a line without its end, and returns the line of the answer.
    using Answer = std::function<std::string(const std::string& line)>;

    /// `answer` gets the lines of all connections, on the loop's thread. The loop outlives this.
    ControlChannel(usbscan::EventLoop& loop, Answer answer);
    ~ControlChannel();
    ControlChannel(const ControlChannel&) = delete;
    ControlChannel& operator=(const ControlChannel&) = delete;

    /// Creates the socket. A socket that lies at `path` is deleted. Throws std::system_error, also
    /// if another kind of file lies there.
    void listenOn(const std::string& path);
    /// `closed` is called when standard input ends, and also if a line is too long or an answer
    /// can't be written.
    void serveStandardStreams(std::function<void()> closed);

  private:
    class Talk;
    void accept(int listening);

    usbscan::EventLoop& loop_;
    Answer answer_;
    struct Listening {
        int socket;
        std::string path;
    };
    std::list<Listening> listening_;
    std::list<std::unique_ptr<Talk>> talks_;
};

/// The client: sends one line to the socket at `path`, waits for the answer's line, and returns it.
/// Throws std::system_error, or std::runtime_error if no answer comes.
std::string tell(const std::string& path, const std::string& line);

}  // namespace zlk::camsim
