#include "camera_devices/PcFile.h"

#include "platform/files.h"

namespace zlk {

UniqueHandle createPcFile(const std::u16string& path) {
    if (path.find(u'\0') != path.npos) return {};
    return UniqueHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

DeviceCode writePcFile(HANDLE file, std::span<const BYTE> bytes) {
    DWORD written = 0;
    const bool done =
        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    return done ? DeviceCode::Success : DeviceCode::PcFileUnusable;
}

}  // namespace zlk
