#include "platform/files/FileHandle.h"
#include "usbscan/Protocol.h"
#include "usbscan/client/CameraOpening.h"
#include "usbscan/usbscan.h"

using namespace zlk::platform;

static_assert(CameraRecording::withPayloads == zlk::usbscan::recordPayloads &&
              CameraRecording::anonymous == zlk::usbscan::recordAnonymously);

/// A recording has a connection of its own, and ends with it.
struct CameraRecording::Impl {
    std::shared_ptr<CameraHandle> camera;
};

CameraRecording::CameraRecording(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

CameraRecording::~CameraRecording() {
    impl_->camera->close();
}

std::unique_ptr<CameraRecording> CameraRecording::begin(const std::u16string& port, HANDLE file,
                                                        DWORD options) {
    const auto target = findHandleOf<FileHandle>(file);
    if (!target) return nullptr;
    constexpr std::size_t front = 4;  // `\\.\` or `\\?\`
    const std::u16string name = port.substr(std::min(front, port.size()));
    const auto device = attachedDevice(name);
    const auto camera = openCamera(name);
    if (!camera || !device) return nullptr;
    if (!camera->record(*device, *target, options & (withPayloads | anonymous))) return nullptr;
    return std::unique_ptr<CameraRecording>(
        new CameraRecording(std::make_unique<Impl>(Impl{camera})));
}

bool CameraRecording::end() {
    return impl_->camera->endRecording();
}
