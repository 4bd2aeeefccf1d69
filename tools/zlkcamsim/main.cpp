#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "tools/zlkcamsim/ControlChannel.h"
#include "tools/zlkcamsim/ControlCommands.h"
#include "tools/zlkcamsim/Plug.h"

namespace {

using namespace zlk::camsim;

struct Settings {
    std::string name = "cam0";
    Model model;
    std::vector<std::string> storages, controls;
    std::string replay;
    std::uint16_t packetSize = 512;
    bool unplugged = false;
};

/// Ends the loop on SIGTERM, SIGINT and SIGHUP. SIGPIPE is ignored, since a client that closes its
/// connection must not kill the program.
class StopSignals {
  public:
    explicit StopSignals(zlk::usbscan::EventLoop& loop) : loop_(loop) {
        sigset_t stops;
        sigemptyset(&stops);
        for (const int each : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&stops, each);
        // Blocked signals are delivered through the descriptor, into the loop.
        sigprocmask(SIG_BLOCK, &stops, nullptr);
        ::signal(SIGPIPE, SIG_IGN);
        descriptor_ = ::signalfd(-1, &stops, SFD_CLOEXEC);
        loop_.watch(descriptor_, POLLIN, [this](short) { loop_.stop(); });
    }
    ~StopSignals() {
        loop_.forget(descriptor_);
        ::close(descriptor_);
    }

  private:
    zlk::usbscan::EventLoop& loop_;
    int descriptor_;
};

/// Runs the camera until it is told to end.
void serve(const Settings& settings) {
    zlk::usbscan::EventLoop loop;
    const StopSignals signals(loop);
    // The recording is read first, since it decides the packet size of the camera.
    std::optional<Recording> recording;
    if (!settings.replay.empty()) {
        zlk::RecordingReader reader(settings.replay);
        recording = readRecording(reader);
    }
    VirtualCamera camera(loop, settings.model.identity,
                         recording ? recording->packetSize : settings.packetSize,
                         settings.model.traits);
    if (recording)
        camera.replay(std::move(*recording), [](const std::string& line) {
            std::cerr << "zlkcamsim: " << line << std::endl;
        });
    for (const std::string& folder : settings.storages) camera.store().addStorage(folder);
    Plug plug(loop, camera, settings.name);
    // The loop stops a moment later, so that the answer to the command `quit` is still sent.
    const auto stop = [&loop] {
        loop.after(std::chrono::milliseconds(0), [&loop] { loop.stop(); });
    };
    ControlCommands commands(camera,
                             {[&plug] { plug.plug(); }, [&plug] { plug.unplug(); },
                              [&plug] { return plug.isPlugged(); }},
                             stop);
    ControlChannel channel(loop,
                           [&commands](const std::string& line) { return commands.answer(line); });
    if (!settings.unplugged) plug.plug();
    for (const std::string& control : settings.controls) {
        if (control == "-")
            channel.serveStandardStreams(stop);
        else
            channel.listenOn(control);
    }
    loop.run();
    // Clients learn that the camera is gone before its socket disappears.
    plug.unplug();
}

/// The client: says the words to a running camera and prints its answer. The exit status is 0 for
/// `ok`, else 1.
int tellAndPrint(const std::string& socket, const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
    const std::string answer = tell(socket, line);
    std::cout << answer << std::endl;
    return answer.starts_with("ok") ? 0 : 1;
}

/// Replaces everything that the model decides; throws for an unknown name.
void setModel(Model& model, const std::string& name) {
    for (const Model& known : models())
        if (known.name == name) model = known;
    if (model.name != name) throw CLI::ValidationError("--model", "there is no model " + name);
}

void setQuirks(Quirks& quirks, const std::vector<std::string>& words) {
    try {
        quirks = quirksOf(words);
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--quirks", error.what());
    }
}

void addOptions(CLI::App& app, Settings& settings) {
    app.add_option("--name", settings.name, "name of the device's entry")->capture_default_str();
    std::string names;
    for (const Model& known : models()) names += (names.empty() ? "" : ", ") + known.name;
    // The options are evaluated in the order in which they are added here: the model first, so that
    // the following ones change what it has.
    app.add_option_function<std::string>(
        "--model", [&settings](const std::string& name) { setModel(settings.model, name); },
        "play one of: " + names);
    Identity& identity = settings.model.identity;
    app.add_option("--vid", identity.vid, "USB vendor id, as in 0x0ABC");
    app.add_option("--pid", identity.pid, "USB product id");
    app.add_option("--manufacturer", identity.manufacturer)->capture_default_str();
    app.add_option("--product", identity.product)->capture_default_str();
    app.add_option("--serial", identity.serial)->capture_default_str();
    app.add_option("--storage", settings.storages, "folder that is a storage; repeatable")
        ->check(CLI::ExistingDirectory);
    app.add_option("--packet-size", settings.packetSize, "of the bulk pipes")
        ->check(CLI::IsMember({64, 512, 1024}))
        ->capture_default_str();
    app.add_option("--replay", settings.replay,
                   "play the device of this recording, which zlkcam record made");
    app.add_option("--control", settings.controls,
                   "socket for commands, or - for standard input and output; repeatable");
    Quirks& quirks = settings.model.traits.quirks;
    app.add_option_function<std::vector<std::string>>(
           "--quirks", [&quirks](const auto& words) { setQuirks(quirks, words); },
           "habits of other makers' cameras, with commas between them")
        ->delimiter(',');
    app.add_flag("--unplugged", settings.unplugged, "start without plugging in");
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    CLI::App app("A virtual still camera on this machine's bus.", "zlkcamsim");
    addOptions(app, settings);
    std::string socket;
    std::vector<std::string> words;
    CLI::App* const telling = app.add_subcommand("tell", "Say one command to a running camera.");
    telling->add_option("socket", socket)->required();
    telling->add_option("command", words)->required();
    CLI11_PARSE(app, argc, argv);
    try {
        if (telling->parsed()) return tellAndPrint(socket, words);
        serve(settings);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "zlkcamsim: " << error.what() << "\n";
        return 2;
    }
}
