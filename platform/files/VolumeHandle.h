#pragma once
// The object behind the handle of a volume or of a folder. Flushing either of them flushes the
// whole file system.

#include <string>

#include "platform/base/Handle.h"
#include "platform/descriptor.h"

namespace zlk::platform {

class VolumeHandle final : public Handle {
  public:
    /// A handle of a folder, which answers no control codes.
    explicit VolumeHandle(Descriptor folder) noexcept : folder_(std::move(folder)) {}

    /// Opens the volume of a drive, even if the drive has no medium or its folder can't be opened.
    /// Null with ERROR_FILE_NOT_FOUND if there is no such drive.
    static std::shared_ptr<VolumeHandle> open(WCHAR letter);

    /// Flushes everything on the file system to the medium. ERROR_NOT_READY if there is no medium,
    /// or the drive's folder couldn't be opened.
    bool flush() override;
    int descriptor() const noexcept override { return folder_.get(); }
    /// Answers IOCTL_STORAGE_QUERY_PROPERTY. Fails, among others, with ERROR_NOT_SUPPORTED for any
    /// other code or query, and for a folder.
    bool control(DWORD code, const void* input, DWORD inputSize, void* output, DWORD outputSize,
                 DWORD& returned) override;

  private:
    const Descriptor folder_;  ///< empty if there is no medium, or it can't be opened
    bool isVolume_ = false;
    bool isDisc_ = false;
    bool isRemovable_ = false;
    std::string vendor_, product_;
};

}  // namespace zlk::platform
