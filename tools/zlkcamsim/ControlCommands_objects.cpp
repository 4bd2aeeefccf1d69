// The commands that change and list what lies on the camera's cards, and list what the host has
// announced to the camera.

#include <ctime>
#include <stdexcept>

#include "platform/text.h"
#include "tools/zlkcam/JsonWriter.h"
#include "tools/zlkcamsim/ControlCommands.h"
#include "tools/zlkcamsim/NumberText.h"
#include "tools/zlkcamsim/Words.h"

namespace zlk::camsim {
namespace {

// The bytes lie in memory, so their number is limited.
constexpr std::uint64_t mostRandomBytes = 1u << 30;

/// Bytes that a test can compute by itself, given the seed: each is the highest byte of the
/// generator's next state.
Payload randomBytes(std::uint64_t size, std::uint64_t seed) {
    if (size > mostRandomBytes) throw std::invalid_argument("at most 1 GiB; larger ones as a file");
    Bytes bytes(size);
    std::uint64_t state = seed;
    for (std::byte& byte : bytes) {
        state = state * 6364136223846793005u + 1442695040888963407u;
        byte = static_cast<std::byte>(state >> 56);
    }
    return Payload::of(std::move(bytes));
}

/// Gives the object the file or the random bytes that the options name.
void setContent(StoredObject& object, const Options& options) {
    if (options.has("file")) {
        object.path = utf8Text(nameOf(options.text("file")));
        if (!std::filesystem::is_regular_file(object.path))
            throw std::invalid_argument("no file: " + object.path.string());
        object.borrowed = true;
        object.name = wideText(object.path.filename().string());
    } else {
        object.memory = randomBytes(options.number("random", 0), options.number("seed", 1));
        object.name = u"RANDOM.BIN";
        object.taken = std::time(nullptr);
    }
}

}  // namespace

std::string ControlCommands::add(const Words& words) {
    const Options options(words, 1);
    options.allow(
        {"file", "random", "seed", "name", "format", "size", "date", "storage", "parent"});
    ObjectStore& store = camera_.store();
    StoredObject object;
    setContent(object, options);
    // What the tester says needn't make sense, since hosts are tested with nonsense, too.
    if (options.has("name")) object.name = nameOf(options.text("name"));
    object.format = static_cast<Code>(options.number("format", formatOf(object.name)));
    if (options.has("size"))
        object.statedSize = static_cast<std::uint32_t>(options.number("size", 0));
    if (options.has("date")) object.statedDate = nameOf(options.text("date"));
    // The handle is reserved first, as an object may be its own parent, to confuse the host.
    object.handle = store.reserveHandle();
    object.parent = options.text("parent") == "self"
                        ? object.handle
                        : static_cast<std::uint32_t>(options.number("parent", 0));
    if (store.storages().empty()) throw std::invalid_argument("the camera has no storage");
    object.storage =
        static_cast<std::uint32_t>(options.number("storage", store.storages().front().id));
    const std::uint32_t handle = store.add(std::move(object)).handle;
    // As after a shot, the host learns of the object by an event.
    camera_.raise({event::ObjectAdded, camera_.session().lastTransaction, {handle}});
    return "ok " + std::to_string(handle);
}

std::string ControlCommands::remove(const Words& words) {
    if (words.size() != 2) throw std::invalid_argument("remove HANDLE");
    const auto handle = static_cast<std::uint32_t>(parseNumber(words[1], 0xFFFFFFFF));
    if (!camera_.store().remove(handle)) throw std::invalid_argument("it can't be removed");
    camera_.raise({event::ObjectRemoved, camera_.session().lastTransaction, {handle}});
    return "ok";
}

std::string ControlCommands::eject(const Words& words) {
    if (words.size() != 2) throw std::invalid_argument("eject STORAGE");
    const auto id = static_cast<std::uint32_t>(parseNumber(words[1], 0xFFFFFFFF));
    if (!camera_.store().removeStorage(id)) throw std::invalid_argument("no storage: " + words[1]);
    camera_.raise({event::StoreRemoved, camera_.session().lastTransaction, {id}});
    return "ok";
}

std::string ControlCommands::objects(const Words&) {
    JsonWriter json;
    json.beginArray();
    for (const auto& [handle, object] : camera_.store().objects()) {
        json.beginObject();
        json.member("handle", handle);
        json.member("storage", object.storage);
        json.member("parent", object.parent);
        json.member("name", std::u16string_view(object.name));
        json.member("format", object.format);
        json.member("size", object.size());
        json.member("protected", object.isProtected);
        json.endObject();
    }
    json.endArray();
    return "ok " + json.take();
}

std::string ControlCommands::sent(const Words&) {
    JsonWriter json;
    json.beginArray();
    for (const Announcement& announced : camera_.responder().announcements()) {
        json.beginObject();
        json.member("handle", announced.handle);
        json.member("storage", announced.storage);
        json.member("parent", announced.parent);
        json.member("name", std::u16string_view(announced.name));
        json.member("format", announced.format);
        json.member("size", announced.size);
        json.member("filled", announced.filled);
        json.endObject();
    }
    json.endArray();
    return "ok " + json.take();
}

}  // namespace zlk::camsim
