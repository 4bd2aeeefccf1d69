#pragma once
// Where testers talk to a virtual camera: a Unix stream socket, or standard input and output.

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "usbscan/host/EventLoop.h"

namespace zlk::camsim {

class ControlChannel {
  public:
    using Answer = std::function<std::string(const std::string& line)>;

    /// Lines of any talker go to `answer`, which gives the line for it.
    ControlChannel(usbscan::EventLoop& loop, Answer answer);
    ~ControlChannel();
    ControlChannel(const ControlChannel&) = delete;
    ControlChannel& operator=(const ControlChannel&) = delete;

    /// Makes the socket, in the place of an old one. Throws std::system_error.
    void listenOn(const std::string& path);
    /// `closed` is called when the input has ended.
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

/// The other end: says one line to the socket at `path` and gives the answer's line. Throws
/// std::system_error; std::runtime_error if no answer comes.
std::string tell(const std::string& path, const std::string& line);

}  // namespace zlk::camsim
