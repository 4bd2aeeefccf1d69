#pragma once
// The camera's PTP operations and their answers, without the containers that carry them.

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/zlkcamsim/Codes.h"
#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/Model.h"
#include "tools/zlkcamsim/ObjectStore.h"
#include "tools/zlkcamsim/Session.h"
#include "tools/zlkcamsim/Spool.h"

namespace zlk::camsim {

struct Reply {
    Code code = response::OK;
    std::vector<std::uint32_t> parameters;
    std::optional<Payload> data;
    std::optional<std::uint32_t> id;  ///< if it isn't the command's
};

inline Reply failure(Code code) {
    return {code, {}, {}, {}};
}
inline Reply answer(Payload data) {
    return {response::OK, {}, std::move(data), {}};
}

/// An object that the host has announced by SendObjectInfo.
struct Announcement {
    std::u16string name;
    Code format = 0;
    std::uint32_t size = 0, storage = 0, parent = 0, handle = 0;
    /// Whether its content has come, too. A folder has none and counts as filled.
    bool filled = false;
};

/// Used on the thread of the event loop only.
class Responder {
  public:
    /// Store and session are the camera's and outlive this.
    Responder(Identity identity, const Traits& traits, ObjectStore& store, Session& session);

    /// Whether the operation has a data phase from the host.
    static bool takesData(Code operation);
    /// A place for the data of a command's data phase, with a limit that suits the operation.
    std::unique_ptr<Spool> spoolFor(const Message& command) const;
    /// Runs an operation. `received` has the data of its data phase; null for operations without
    /// one. May throw, for instance if a file has vanished.
    Reply execute(const Message& command, Spool* received);

    /// Ends the session, as the host or a reset does.
    void closeSession();

    /// Sets the USB ids of the camera that is plugged into this dock; 0, 0 for none.
    void setCameraBehind(std::uint16_t vid, std::uint16_t pid);
    /// The host's announcements that were accepted, the oldest first; at most the last thousand.
    const std::deque<Announcement>& announcements() const { return announcements_; }
    /// The sink gets each event that an operation of the host causes. It has to call `seen` once,
    /// when the host has fetched the event or can't fetch it any more.
    using EventSink = std::function<void(const Message&, std::function<void()> seen)>;
    void setEventSink(EventSink sink) { raise_ = std::move(sink); }

  private:
    using Operation = Reply (Responder::*)(const Message&);
    /// An operation and the function that runs it.
    struct Row {
        Code code;
        Operation run;
    };
    static const std::vector<Row>& operations();
    /// Whether this model supports the operation.
    bool knows(Code operation) const;
    std::vector<Code> operationCodes() const;
    std::vector<Code> propertyCodes() const;

    // Device and session.
    Reply getDeviceInfo(const Message&);
    Reply openSession(const Message& command);
    Reply endSession(const Message&);
    Reply connectedCamera(const Message& command);

    // Storages and objects: Responder_objects.cpp.
    Reply getStorageIDs(const Message&);
    Reply getStorageInfo(const Message& command);
    Reply getNumObjects(const Message& command);
    Reply getObjectHandles(const Message& command);
    Reply getObjectInfo(const Message& command);
    Reply getObject(const Message& command);
    Reply getThumb(const Message& command);
    Reply getPartialObject(const Message& command);
    Reply deleteObject(const Message& command);
    Reply setObjectProtection(const Message& command);
    /// Finds the objects that the three parameters of a listing mean.
    Reply selectObjects(const Message& command, std::vector<std::uint32_t>& handles) const;
    /// Adds the handles that some cameras of other makers list by mistake, as the quirks say: the
    /// folder itself, its parent, and all objects a second time.
    void spoilList(std::uint32_t parent, std::vector<std::uint32_t>& handles) const;
    Reply deleteAll(Code onlyFormat);
    bool isProtected(const StoredObject& object) const;
    bool removeObject(std::uint32_t handle);

    // Properties: Responder_properties.cpp.
    Reply getDevicePropDesc(const Message& command);
    Reply getDevicePropValue(const Message& command);
    Reply setDevicePropValue(const Message& command);
    Reply resetDevicePropValue(const Message& command);

    // Objects from the host: Responder_send.cpp.
    Reply sendObjectInfo(const Message& command);
    Reply sendObject(const Message&);
    /// Decides where the announced object goes, by the two parameters of the operation.
    Code placeObject(const Message& command, Announcement& announced) const;
    void makeFolder(Announcement& announced);

    bool hasProperty(std::uint32_t code) const;  // Responder_properties.cpp

    Identity identity_;
    Traits traits_;
    ObjectStore& store_;
    Session& session_;
    // USB ids of the camera in the dock.
    std::pair<std::uint32_t, std::uint32_t> behind_;
    bool buttonPressed_ = false;  ///< since the camera was plugged into the dock
    EventSink raise_;
    std::time_t clockOffset_ = 0;  ///< seconds that the clock is ahead of this machine's

    // What the host has sent as data of the operation that execute() runs; null if the operation
    // has none. It is the caller's, and valid during that call only.
    Spool* received_ = nullptr;

    std::deque<Announcement> announcements_;
    bool expectsObject_ = false;  ///< the content of the last announcement is still to come
};

}  // namespace zlk::camsim
