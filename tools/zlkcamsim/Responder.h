#pragma once
// The camera as PTP sees it: operations and their answers, without the containers they travel in.

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
    std::optional<std::uint32_t> id;  ///< another than the command's
};

inline Reply failure(Code code) {
    return {code, {}, {}, {}};
}
inline Reply answer(Payload data) {
    return {response::OK, {}, std::move(data), {}};
}

/// An object that the host has announced, whether or not its content came.
struct Announcement {
    std::u16string name;
    Code format = 0;
    std::uint32_t size = 0, storage = 0, parent = 0, handle = 0;
    bool filled = false;
};

class Responder {
  public:
    Responder(Identity identity, const Traits& traits, ObjectStore& store, Session& session);

    /// Of operations whose data phase comes from the host.
    static bool takesData(Code operation);
    /// Where that data goes.
    std::unique_ptr<Spool> spoolFor(const Message& command) const;
    /// `received` for operations that take data, else null.
    Reply execute(const Message& command, Spool* received);

    void closeSession();

    /// Of the camera behind a pass-through device; 0, 0: none.
    void setCameraBehind(std::uint16_t vid, std::uint16_t pid);
    /// What the host has sent, the oldest first; the last thousand.
    const std::deque<Announcement>& announcements() const { return announcements_; }
    /// Takes each event that an operation of the host causes, and calls `seen`, once, when the
    /// host has fetched it or never will.
    using EventSink = std::function<void(const Message&, std::function<void()> seen)>;
    void setEventSink(EventSink sink) { raise_ = std::move(sink); }

  private:
    using Operation = Reply (Responder::*)(const Message&);
    struct Row {
        Code code;
        Operation run;
    };
    static const std::vector<Row>& operations();
    bool knows(Code operation) const;
    std::vector<Code> operationCodes() const;
    std::vector<Code> propertyCodes() const;

    Reply getDeviceInfo(const Message&);
    Reply openSession(const Message& command);
    Reply endSession(const Message&);
    Reply connectedCamera(const Message& command);

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
    Reply selectObjects(const Message& command, std::vector<std::uint32_t>& handles) const;
    void spoilList(std::uint32_t parent, std::vector<std::uint32_t>& handles) const;
    Reply deleteAll(Code onlyFormat);
    bool isProtected(const StoredObject& object) const;
    bool removeObject(std::uint32_t handle);

    Reply getDevicePropDesc(const Message& command);
    Reply getDevicePropValue(const Message& command);
    Reply setDevicePropValue(const Message& command);
    Reply resetDevicePropValue(const Message& command);

    Reply sendObjectInfo(const Message& command);
    Reply sendObject(const Message&);
    /// Where the host's object goes, by the two parameters of its announcement.
    Code placeObject(const Message& command, Announcement& announced) const;
    void makeFolder(Announcement& announced);

    bool hasProperty(std::uint32_t code) const;

    Identity identity_;
    Traits traits_;
    ObjectStore& store_;
    Session& session_;
    std::pair<std::uint32_t, std::uint32_t> behind_;
    bool buttonPressed_ = false;  ///< since that one was plugged in
    EventSink raise_;
    std::time_t clockOffset_ = 0;  ///< the camera's clock against this machine's

    Spool* received_ = nullptr;
    std::deque<Announcement> announcements_;
    bool expectsObject_ = false;  ///< the last announcement waits for its content
};

}  // namespace zlk::camsim
