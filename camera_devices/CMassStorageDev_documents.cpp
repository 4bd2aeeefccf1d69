// The documents in the folder MISC of a volume, and the message file.

#include <algorithm>
#include <array>

#include "camera_devices/CMassStorageDev.h"
#include "camera_devices/DeviceOperation.h"
#include "camera_devices/SpecialFiles.h"
#include "camera_devices/VolumeUtils.h"
#include "foundation/Paths.h"
#include "foundation/TraceLine.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace zlk {
namespace {

constexpr char category[] = "CMassStorageDev";

constexpr std::int64_t largestDocument = 16 << 20;  // bytes, when read
constexpr int menuLimit = 204'800;  // bytes of a menu when written, with its terminating zero

// The message file has two blocks from this machine's settings, and between them the number of the
// message. Offsets and lengths are in bytes:
//
//     0: first block (64) | 64: zeros (36) | 100: message number (1) | 101: zeros (12)
//     | 113: second block (64) | 177: zeros (23)
constexpr DWORD messageFileSize = 200;
constexpr std::size_t firstBlockAt = 0, messageAt = 100, secondBlockAt = 113;
using MessageBlock = std::array<BYTE, 64>;

/// A block from this machine's settings; zeros if they have none of this size.
MessageBlock messageBlock(const WCHAR* name) {
    HKEY opened = nullptr;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform", 0, KEY_READ, &opened);
    const RegistryKey key(opened);
    MessageBlock block{};
    DWORD type = REG_NONE;
    DWORD size = block.size();
    const bool read = key && RegQueryValueExW(key.get(), name, nullptr, &type, block.data(),
                                              &size) == ERROR_SUCCESS;
    return read && type == REG_BINARY && size == block.size() ? block : MessageBlock{};
}

UniqueHandle createFile(const std::u16string& path) {
    return UniqueHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

/// Replaces the file's contents, which may be lost if the writing fails.
DeviceCode writeFile(const std::u16string& path, std::string_view bytes) {
    const UniqueHandle file = createFile(path);
    DWORD written = 0;
    const bool done = file && WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()),
                                        &written, nullptr);
    return done ? DeviceCode::Success : DeviceCode::WriteFailed;
}

/// Reads a whole document; OutOfMemory if it has more than largestDocument bytes.
DeviceCode readFile(const std::u16string& path, std::string& bytes) {
    const UniqueHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_READONLY, nullptr));
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.get(), &size)) return DeviceCode::ReadFailed;
    if (size.QuadPart > largestDocument) return DeviceCode::OutOfMemory;
    bytes.resize(static_cast<std::size_t>(size.QuadPart));
    const auto wanted = static_cast<DWORD>(bytes.size());
    DWORD got = 0;
    const bool whole = ReadFile(file.get(), bytes.data(), wanted, &got, nullptr) && got == wanted;
    return whole ? DeviceCode::Success : DeviceCode::ReadFailed;
}

}  // namespace

std::u16string CMassStorageDev::specialFilePath(const WCHAR* name) const {
    return joinPath(joinPath(rootPath, specialFiles::folder), name);
}

DeviceCode CMassStorageDev::readDocument(const WCHAR* name, UINT codePage,
                                         std::u16string& text) const {
    text.clear();
    return operationCode(DeviceCode::ReadFailed, [&] {
        std::string bytes;
        const DeviceCode code = readFile(specialFilePath(name), bytes);
        if (code != DeviceCode::Success) return code;
        // The text ends at the first zero, at the latest at the one that c_str() has after the
        // bytes.
        std::u16string wide(bytes.size() + 1, u'\0');
        const int length = MultiByteToWideChar(codePage, 0, bytes.c_str(), -1, wide.data(),
                                               static_cast<int>(wide.size()));
        if (length < 1) return DeviceCode::ReadFailed;
        wide.resize(static_cast<std::size_t>(length) - 1);
        text = std::move(wide);
        return DeviceCode::Success;
    });
}

DeviceCode CMassStorageDev::putDocument(const WCHAR* name, const std::u16string& text,
                                        Writer writer) {
    return operationCode(DeviceCode::WriteFailed, [&] {
        const std::u16string path = specialFilePath(name);
        return text.empty() ? DeleteFile(path) : (this->*writer)(path, text);
    });
}

DeviceCode CMassStorageDev::writeNarrowFile(const std::u16string& path,
                                            const std::u16string& text) {
    wroteToVolume = true;
    return writeFile(path, utf8Text(text));  // the system's code page is UTF-8
}

DeviceCode CMassStorageDev::writeUtf8File(const std::u16string& path, const std::u16string& text) {
    // The conversion fails if the text doesn't fit, which is how the limit is kept.
    std::string bytes(menuLimit, '\0');
    // With the length -1 the terminating zero is converted too. Cameras expect it in the file.
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, bytes.data(), menuLimit);
    if (length < 1) return DeviceCode::WriteFailed;  // too long; the old file stays
    wroteToVolume = true;
    return writeFile(path, std::string_view(bytes).substr(0, static_cast<std::size_t>(length)));
}

DeviceCode CMassStorageDev::GetDpofFile(std::u16string& text) {
    return readDocument(specialFiles::printOrder, CP_ACP, text);
}

DeviceCode CMassStorageDev::PutDpofFile(std::u16string text) {
    return putDocument(specialFiles::printOrder, text, &CMassStorageDev::writeNarrowFile);
}

DeviceCode CMassStorageDev::GetIntentFile(std::u16string& text) {
    return readDocument(specialFiles::intent, CP_ACP, text);
}

DeviceCode CMassStorageDev::PutIntentFile(std::u16string text) {
    return putDocument(specialFiles::intent, text, &CMassStorageDev::writeNarrowFile);
}

DeviceCode CMassStorageDev::GetShareMenu(std::u16string& text) {
    return readDocument(specialFiles::shareOld, CP_UTF8, text);
}

DeviceCode CMassStorageDev::PutShareMenu(std::u16string text) {
    return putDocument(specialFiles::shareNew, text, &CMassStorageDev::writeUtf8File);
}

DeviceCode CMassStorageDev::GetTagMenu(std::u16string& text) {
    return readDocument(specialFiles::tagOld, CP_UTF8, text);
}

DeviceCode CMassStorageDev::PutTagMenu(std::u16string text) {
    return putDocument(specialFiles::tagNew, text, &CMassStorageDev::writeUtf8File);
}

DeviceCode CMassStorageDev::GetDeviceID(std::u16string& text) {
    return readDocument(specialFiles::deviceId, CP_ACP, text);
}

DeviceCode CMassStorageDev::GetCameraDiagnostic(std::u16string& text) {
    text.clear();
    if (!camInfo.valid) return DeviceCode::NotSupported;
    return readDocument(specialFiles::diagnostics, CP_ACP, text);
}

DeviceCode CMassStorageDev::GetDeviceTime(std::u16string& text) {
    text.clear();
    return DeviceCode::NotSupported;
}

DeviceCode CMassStorageDev::PutDeviceTime(std::u16string) {
    return DeviceCode::NotSupported;
}

bool CMassStorageDev::requestFileExists(const char* operation, const WCHAR* name) const {
    return operationAnswer([&] {
        TraceLine(category, operation);
        FileStatus status;
        const bool found = _wstat64i32(specialFilePath(name).c_str(), status);
        TraceLine(category, found ? "%s - FoundIt" : "%s - No file found", operation);
        return found;
    });
}

bool CMassStorageDev::CheckForRequestConfigFile() {
    return requestFileExists("CheckForRequestConfigFile", specialFiles::shareRequest);
}

bool CMassStorageDev::CheckForRequestTagSetupFile() {
    return requestFileExists("CheckForRequestTagSetupFile", specialFiles::tagRequest);
}

bool CMassStorageDev::SendSpecialMsg(CameraMessage message) {
    return operationAnswer([&] {
        TraceLine(category, "SendSpecialMsg (%d)", static_cast<std::int32_t>(message));
        if (!camInfo.valid || !camInfo.SwiftPostSupport || !CheckConnection()) return false;
        if (message == CameraMessage::UnloadError || message == CameraMessage::ConfigError)
            return false;
        std::array<BYTE, messageFileSize> file{};
        std::ranges::copy(messageBlock(u"MessageBlock1"), file.begin() + firstBlockAt);
        file[messageAt] = static_cast<BYTE>(message);
        std::ranges::copy(messageBlock(u"MessageBlock2"), file.begin() + secondBlockAt);
        // The attempt counts, whether or not the file can be written. A drive is flushed at once,
        // so that the camera finds the message now.
        WriteBufToFile(file.data(), messageFileSize, specialFilePath(specialFiles::message));
        if (!driveRoot.empty()) FlushDrive(driveRoot[0]);
        wroteToVolume = false;
        return true;
    });
}

bool CMassStorageDev::WriteBufToFile(const void* buffer, DWORD length, const std::u16string& path) {
    wroteToVolume = true;
    TraceLine(category, "WriteBufToFile");
    const UniqueHandle file = createFile(path);
    if (!file) {
        TraceLine(category, "WriteBufToFile - Error creating file %s", path);
        return false;
    }
    DWORD written = 0;
    if (!WriteFile(file.get(), buffer, length, &written, nullptr)) {
        TraceLine(category, "WriteBufToFile - Error writing file %s", path);
        return false;
    }
    return true;
}

}  // namespace zlk
