#include "tools/zlkcamsim/ControlCommands.h"

#include <map>
#include <new>
#include <stdexcept>

#include "tools/zlkcam/JsonWriter.h"
#include "tools/zlkcamsim/NumberText.h"
#include "tools/zlkcamsim/Words.h"

namespace zlk::camsim {
namespace {

// The word at this place; throws if there are too few.
const std::string& word(const std::vector<std::string>& words, std::size_t index) {
    if (index >= words.size()) throw std::invalid_argument("too few words");
    return words[index];
}

std::uint32_t number(const std::vector<std::string>& words, std::size_t index,
                     std::uint64_t most = 0xFFFFFFFF) {
    return static_cast<std::uint32_t>(parseNumber(word(words, index), most));
}

/// Whether the word after the command is `expected`; false if there is none. Throws for another
/// word.
bool saysAlso(const std::vector<std::string>& words, std::string_view expected) {
    if (words.size() < 2) return false;
    if (words[1] != expected) throw std::invalid_argument("unknown: " + words[1]);
    return true;
}

std::string ok(JsonWriter& json) {
    return "ok " + json.take();
}

}  // namespace

ControlCommands::ControlCommands(VirtualCamera& camera, Cable cable, std::function<void()> quit)
    : camera_(camera), cable_(std::move(cable)), quit_(std::move(quit)) {}

/// The names are those of docs/zlkcamsim.md.
ControlCommands::Command ControlCommands::find(const std::string& name) {
    static const std::map<std::string, Command> commands{
        {"plug", &ControlCommands::plug},       {"unplug", &ControlCommands::unplug},
        {"quit", &ControlCommands::quit},       {"state", &ControlCommands::state},
        {"session", &ControlCommands::session}, {"behind", &ControlCommands::behind},
        {"fault", &ControlCommands::fault},     {"faults", &ControlCommands::faults},
        {"event", &ControlCommands::event},     {"events", &ControlCommands::events},
        {"add", &ControlCommands::add},         {"remove", &ControlCommands::remove},
        {"eject", &ControlCommands::eject},     {"objects", &ControlCommands::objects},
        {"sent", &ControlCommands::sent},       {"violations", &ControlCommands::violations},
        {"log", &ControlCommands::log},         {"stats", &ControlCommands::stats}};
    const auto found = commands.find(name);
    return found == commands.end() ? nullptr : found->second;
}

std::string ControlCommands::answer(const std::string& line) {
    try {
        const Words words = wordsOf(line);
        const Command command = find(word(words, 0));
        if (!command) throw std::invalid_argument("no command: " + words.front());
        return (this->*command)(words);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        // The tester gets the texts of all other errors.
        return std::string("error ") + error.what();
    }
}

std::string ControlCommands::plug(const Words&) {
    cable_.plug();
    return "ok";
}

std::string ControlCommands::unplug(const Words&) {
    cable_.unplug();
    return "ok";
}

std::string ControlCommands::quit(const Words&) {
    quit_();
    return "ok";
}

std::string ControlCommands::state(const Words&) {
    JsonWriter json;
    json.beginObject();
    json.member("plugged", cable_.isPlugged());
    json.member("session", camera_.session().id);
    json.member("lastTransaction", camera_.session().lastTransaction);
    json.member("transactionOpen", camera_.transactionOpen());
    json.endObject();
    return ok(json);
}

std::string ControlCommands::session(const Words& words) {
    if (!saysAlso(words, "lost")) throw std::invalid_argument("session lost");
    camera_.loseSession();
    return "ok";
}

std::string ControlCommands::behind(const Words& words) {
    camera_.responder().setCameraBehind(static_cast<std::uint16_t>(number(words, 1, 0xFFFF)),
                                        static_cast<std::uint16_t>(number(words, 2, 0xFFFF)));
    return "ok";
}

std::string ControlCommands::fault(const Words& words) {
    camera_.faults().arm(Fault::parse({words.begin() + 1, words.end()}));
    return "ok";
}

std::string ControlCommands::faults(const Words& words) {
    JsonWriter json;
    json.beginArray();
    for (const Fault& fault : camera_.faults().armed()) json.value(fault.text());
    json.endArray();
    // The answer has the faults as they were before they are cleared.
    if (saysAlso(words, "clear")) camera_.faults().clear();
    return ok(json);
}

std::string ControlCommands::event(const Words& words) {
    // An event belongs to no transaction, and carries the number of the last one.
    Message event{
        static_cast<Code>(number(words, 1, 0xFFFF)), camera_.session().lastTransaction, {}};
    std::string form;
    for (std::size_t i = 2; i < words.size(); ++i) {
        if (words[i] == "split" || words[i] == "short")
            form = words[i];
        else
            event.parameters.push_back(number(words, i));
    }
    if (event.parameters.size() > Message::maxParameters)
        throw std::invalid_argument("too many parameters");
    // `split` sends the event in two transfers, and `short` sends only its first bytes, as broken
    // cameras do.
    const Bytes bytes = event.encode(Event);
    const auto cut = bytes.begin() + (form == "split" ? 8 : 4);
    if (form.empty()) {
        camera_.sendInterrupt(bytes);
    } else {
        camera_.sendInterrupt({bytes.begin(), cut});
        if (form == "split") camera_.sendInterrupt({cut, bytes.end()});
    }
    return "ok";
}

std::string ControlCommands::events(const Words& words) {
    if (word(words, 1) != "on" && words[1] != "off") throw std::invalid_argument("on or off");
    camera_.setEventsEnabled(words[1] == "on");
    return "ok";
}

std::string ControlCommands::violations(const Words& words) {
    JsonWriter json;
    json.beginArray();
    for (const std::string& violation : camera_.judge().violations()) json.value(violation);
    json.endArray();
    if (saysAlso(words, "clear")) camera_.judge().clear();
    return ok(json);
}

/// The log keeps only the beginning of each transfer, so the answer stays of reasonable size.
std::string ControlCommands::log(const Words& words) {
    JsonWriter json;
    json.beginArray();
    for (const TransactionLog::Entry& entry : camera_.log().entries()) {
        json.beginObject();
        json.member("ms", entry.time.count());
        json.member("channel", nameOf(entry.channel));
        json.member("length", entry.length);
        json.member("ended", entry.ended);
        json.member("bytes", hexOf(entry.head));
        json.endObject();
    }
    json.endArray();
    if (saysAlso(words, "clear")) camera_.log().clear();
    return ok(json);
}

std::string ControlCommands::stats(const Words&) {
    JsonWriter json;
    json.beginObject();
    json.member("transactions", camera_.transactions());
    json.member("repeatedIds", camera_.judge().repeats());
    json.member("bytesOut", camera_.log().bytesOf(Channel::BulkOut));
    json.member("bytesIn", camera_.log().bytesOf(Channel::BulkIn));
    json.member("bytesInterrupt", camera_.log().bytesOf(Channel::Interrupt));
    json.endObject();
    return ok(json);
}

}  // namespace zlk::camsim
