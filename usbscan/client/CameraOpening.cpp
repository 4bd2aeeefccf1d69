#include "usbscan/client/CameraOpening.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <span>
#include <string>
#include <utility>

#include "platform/base/Diagnose.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/settings/PlatformSettings.h"
#include "platform/text.h"
#include "usbscan/client/DeviceHolder.h"
#include "usbscan/client/HostStart.h"

namespace zlk::platform {
namespace {

using usbscan::MessageHeader;
using usbscan::MessageKind;
using namespace std::chrono_literals;

constexpr char category[] = "Usbscan";

constexpr DWORD usualTransferTimeout = 20'000, usualEventTimeout = 5'000;  // ms
constexpr DWORD shortestTimeout = 10, longestTimeout = 3'600'000;
// The host measures the time-outs. After a time-out it recovers the device, which may take some
// seconds more. So a client waits this much longer than the time-outs before it gives up the host.
constexpr auto hostPatience = 30s;
// A host that is about to end may still accept the connection and close it. Its successor can be
// reached a moment later.
constexpr int tries = 10;
constexpr timespec pauseBetweenTries{0, 10'000'000};

DWORD timeoutSetting(const WCHAR* name, DWORD usual) {
    return std::clamp(platformNumber(name, usual), shortestTimeout, longestTimeout);
}

/// Again: no answer came, and connecting anew may help. Refused: the last error says why.
enum class Greeting { Opened, OpenedAndRecorded, Again, Refused };

Greeting greetHost(HostLink& link, const usbscan::OpenRequest& request) {
    // A failed send is no reason to give up: a host that refuses clients may have closed its end
    // already, and its reason can still be read.
    link.send({0, MessageKind::Open, 0, 0}, std::as_bytes(std::span(&request, 1)));
    for (MessageHeader header; link.receiveHeader(header) == HostLink::Result::Ok;) {
        DWORD error = 0;
        if (header.kind == MessageKind::Opened && header.length == 0)
            return header.flags & usbscan::isRecorded ? Greeting::OpenedAndRecorded
                                                      : Greeting::Opened;
        if (header.kind == MessageKind::Refused && header.length == sizeof error) {
            const auto bytes = std::as_writable_bytes(std::span(&error, 1));
            if (link.receive(bytes) != HostLink::Result::Ok) break;
            SetLastError(error);
            return Greeting::Refused;
        }
        if (link.skipRest() != HostLink::Result::Ok) break;
    }
    return Greeting::Again;
}

void tellHolder(const AttachedDevice& device) {
    const DeviceHolder holder = findHolderOf(device);
    if (holder.pid != 0)
        diagnose(category, u"%s is held by %s (process %u)", device.node, holder.program,
                 holder.pid);
    else
        diagnose(category, u"%s is held by another program", device.node);
}

/// The time and the process id keep the names of recordings apart, unless one process begins two of
/// the same model within a second.
std::u16string recordingPath(const std::u16string& folder, const AttachedDevice& device) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char time[32];
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", &local);
    return formatText(u"%s/%04x-%04x-%s-%d.pcapng", folder, device.vid, device.pid,
                      std::string(time), ::getpid());
}

/// Begins a recording if the settings ask for one. A failure is traced, and the camera stays open.
void recordIfSet(CameraHandle& camera, const AttachedDevice& device) {
    const std::u16string folder = platformText(u"Record");
    if (folder.empty()) return;
    const std::u16string path = recordingPath(folder, device);
    const UniqueHandle file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                        nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    const auto opened = file ? findHandleOf<FileHandle>(file.get()) : nullptr;
    std::uint32_t flags = usbscan::recordToTheEnd;
    if (platformNumber(u"RecordPayloads", 0)) flags |= usbscan::recordPayloads;
    if (platformNumber(u"RecordAnonymously", 0)) flags |= usbscan::recordAnonymously;
    if (opened && camera.record(device, *opened, flags)) return;
    diagnose(category, u"Can't record into %s, error %d", path, GetLastError());
    if (opened) DeleteFileW(path.c_str());
}

}  // namespace

std::shared_ptr<CameraHandle> openCamera(std::u16string_view name) {
    const auto device = attachedDevice(name);
    if (!device) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return nullptr;
    }
    const usbscan::OpenRequest request{usbscan::protocolVersion,
                                       timeoutSetting(u"TransferTimeout", usualTransferTimeout),
                                       timeoutSetting(u"EventTimeout", usualEventTimeout)};
    const std::chrono::milliseconds longest(
        std::max(request.transferTimeout, request.eventTimeout));
    for (int i = 0; i < tries; ++i) {
        Descriptor socket = connectToHost(*device);
        if (!socket) return nullptr;
        auto link = std::make_unique<HostLink>(std::move(socket), longest + hostPatience);
        const Greeting greeting = greetHost(*link, request);
        if (greeting == Greeting::Refused) {
            if (GetLastError() == ERROR_SHARING_VIOLATION) tellHolder(*device);
            return nullptr;
        }
        if (greeting != Greeting::Again) {
            auto camera = std::make_shared<CameraHandle>(std::move(link));
            if (greeting == Greeting::Opened) recordIfSet(*camera, *device);
            return camera;
        }
        ::nanosleep(&pauseBetweenTries, nullptr);
    }
    SetLastError(ERROR_DEVICE_NOT_CONNECTED);
    return nullptr;
}

}  // namespace zlk::platform
