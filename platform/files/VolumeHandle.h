#pragma once
// An open volume, or an open folder that stands for the file system that it is on.

#include <string>

#include "platform/base/Handle.h"
#include "platform/descriptor.h"

namespace zlk::platform {

class VolumeHandle final : public Handle {
  public:
    explicit VolumeHandle(Descriptor folder) noexcept : folder_(std::move(folder)) {}

    /// The volume of a drive, also of one without a medium; null with the last error.
    static std::shared_ptr<VolumeHandle> open(WCHAR letter);

    /// All that is written on the file system. ERROR_NOT_READY where there is no medium.
    bool flush() override;
    int descriptor() const noexcept override { return folder_.get(); }
    /// IOCTL_STORAGE_QUERY_PROPERTY; ERROR_NOT_SUPPORTED for a folder.
    bool control(DWORD code, const void* input, DWORD inputSize, void* output, DWORD outputSize,
                 DWORD& returned) override;

  private:
    const Descriptor folder_;  ///< empty: no medium
    bool isVolume_ = false;
    bool isDisc_ = false;
    bool isRemovable_ = false;
    std::string vendor_, product_;
};

}  // namespace zlk::platform
