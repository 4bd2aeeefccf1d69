// The documents on a PTP camera, its clock, and the messages to it.

#include "camera_devices/CPTPCameraDev.h"
#include "camera_devices/DeviceOperation.h"
#include "camera_devices/SpecialFiles.h"
#include "foundation/TraceLine.h"
#include "platform/clock.h"

namespace zlk {
namespace {

constexpr char category[] = "CPTPCameraDev";

constexpr std::uint32_t largestDocument = 16 << 20;  // bytes, when read
constexpr std::size_t menuLimit = 0x32000;           // bytes of a menu or tag list, when sent
constexpr std::uint32_t dateTimeProperty = 0x5011;

// These names only show in the trace. Narrow and UTF-8 documents are read in the same way, because
// the system's code page is UTF-8.
constexpr char narrowReader[] = "GetFileToString";
constexpr char utf8Reader[] = "GetUTF8FileToString";

/// The dataset that announces an object before it is sent.
ObjectInfoDataset announcement(const WCHAR* fileName, std::uint32_t size, std::uint32_t folder) {
    ObjectInfoDataset info;
    info.ObjectFormat = specialFiles::scriptFormat;
    info.ObjectCompressedSize = size;
    info.ParentObject = folder;
    info.Filename.assign(wString(fileName));
    return info;
}

}  // namespace

DeviceCode CPTPCameraDev::readDocument(const char* reader, std::uint32_t handle,
                                       std::u16string& text) {
    text.clear();
    return operationCode(DeviceCode::ReadFailed, [&] {
        TraceLine(category, "%s (%d)", reader, handle);
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        // The camera doesn't have this document.
        if (handle == 0) return DeviceCode::Success;
        const std::uint32_t size = ptp->getObjectInfo(handle).ObjectCompressedSize;
        // A camera that sends no description hasn't said that the document is empty.
        if (ptp->receivedData() == 0) return DeviceCode::ReadFailed;
        if (size == 0) return DeviceCode::Success;
        if (size > largestDocument) return DeviceCode::OutOfMemory;
        std::string bytes(size, '\0');
        ptp->getObject(handle, bytes.data(), size, nullptr);
        if (ptp->receivedData() != size) return DeviceCode::ReadFailed;
        text = wideText(bytes.c_str());  // the text ends at its first zero
        TraceLine(category, "%s (%d) Exit", reader, handle);
        return DeviceCode::Success;
    });
}

DeviceCode CPTPCameraDev::readXmlFile(DeviceCode blocked, HandleField handle, const char* reader,
                                      std::u16string& text) {
    text.clear();
    return operationCode(DeviceCode::ReadFailed, [&] {
        if (shareBlocked()) return blocked;
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        if (!EnumXMLFiles()) return DeviceCode::ReadFailed;
        return readDocument(reader, this->*handle, text);
    });
}

DeviceCode CPTPCameraDev::GetShareMenu(std::u16string& text) {
    TraceLine(category, "GetShareMenu");
    return readXmlFile(DeviceCode::NotSupported, &CPTPCameraDev::shareOldHandle, utf8Reader, text);
}

DeviceCode CPTPCameraDev::GetTagMenu(std::u16string& text) {
    return readXmlFile(DeviceCode::NotSupported, &CPTPCameraDev::tagOldHandle, utf8Reader, text);
}

DeviceCode CPTPCameraDev::GetDeviceID(std::u16string& text) {
    TraceLine(category, "GetDeviceID");
    return readXmlFile(DeviceCode::Success, &CPTPCameraDev::deviceIdHandle, narrowReader, text);
}

DeviceCode CPTPCameraDev::GetCameraDiagnostic(std::u16string& text) {
    TraceLine(category, "GetCameraDiagnostic");
    return readXmlFile(DeviceCode::Success, &CPTPCameraDev::diagnosticHandle, narrowReader, text);
}

DeviceCode CPTPCameraDev::GetDpofFile(std::u16string& text) {
    TraceLine(category, "GetDpofFile");
    return readDocument(narrowReader, dpofHandle, text);
}

DeviceCode CPTPCameraDev::GetIntentFile(std::u16string& text) {
    TraceLine(category, "GetIntentFile");
    text.clear();
    return operationCode(DeviceCode::ReadFailed, [&] {
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        if (!camInfo.SwiftPostSupport) return DeviceCode::Success;
        if (!EnumXMLFiles()) return DeviceCode::ReadFailed;
        return readDocument(narrowReader, intentHandle, text);
    });
}

DeviceCode CPTPCameraDev::PutDpofFile(std::u16string text) {
    TraceLine(category, "PutDpofFile");
    return deleteDocument(dpofHandle, text);
}

DeviceCode CPTPCameraDev::PutIntentFile(std::u16string text) {
    TraceLine(category, "PutIntentFile");
    return deleteDocument(intentHandle, text);
}

DeviceCode CPTPCameraDev::deleteDocument(std::uint32_t handle, const std::u16string& text) {
    if (!text.empty()) return DeviceCode::NotSupported;
    // The camera table says of some models that they keep print order and intent.
    if (handle == 0 || !camInfo.AbilityToConsumeIntent) return DeviceCode::Success;
    return DeleteFile(handle);
}

struct CPTPCameraDev::Menu {
    const char* operation;
    const WCHAR* fileName;
    std::size_t blanks;  // how many are sent after the text, at least
};

DeviceCode CPTPCameraDev::PutShareMenu(std::u16string text) {
    TraceLine(category, "PutShareMenu");
    return sendMenu({"SendShareMenu", specialFiles::shareNew, 20}, std::move(text));
}

DeviceCode CPTPCameraDev::PutTagMenu(std::u16string text) {
    return sendMenu({"SendTagMenu", specialFiles::tagNew, 0}, std::move(text));
}

DeviceCode CPTPCameraDev::sendMenu(const Menu& menu, std::u16string text) {
    return operationCode(DeviceCode::WriteFailed, [&] {
        TraceLine(category, "%s (%s)", menu.operation, text);
        if (shareBlocked()) return DeviceCode::NotSupported;
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        if (!EnumXMLFiles()) return DeviceCode::ReadFailed;
        // Cameras lose the end of a share menu, and the last character of any text with an even
        // number of characters. Blanks are appended, so that nothing but blanks is lost.
        text.append(menu.blanks, u' ');
        if (text.size() % 2 == 0) text += u' ';
        const std::string bytes = utf8Text(text);
        if (bytes.size() > menuLimit) return DeviceCode::WriteFailed;
        const auto size = static_cast<std::uint32_t>(bytes.size());
        try {
            TraceLine(category, "%s - sendObjectInfo", menu.operation);
            ptp->sendObjectInfo(announcement(menu.fileName, size, menuFolderHandle), 0,
                                menuFolderHandle);
            TraceLine(category, "%s - sendObject", menu.operation);
            ptp->sendObject(bytes.data(), size);
        } catch (PTPCommErrors error) {
            TraceLine(category, "%s - PTPCommErrors (0x%x)", menu.operation,
                      static_cast<std::uint32_t>(error));
            return DeviceCode::WriteFailed;
        }
        return DeviceCode::Success;
    });
}

bool CPTPCameraDev::requestFileExists(HandleField handle) {
    return operationAnswer([&] {
        return !shareBlocked() && VerifyConnection() && EnumXMLFiles() && this->*handle != 0;
    });
}

bool CPTPCameraDev::CheckForRequestConfigFile() {
    TraceLine(category, "CheckForRequestConfigFile");
    return requestFileExists(&CPTPCameraDev::shareRequestHandle);
}

bool CPTPCameraDev::CheckForRequestTagSetupFile() {
    TraceLine(category, "CheckForRequestTagSetupFile");
    return requestFileExists(&CPTPCameraDev::tagRequestHandle);
}

DeviceCode CPTPCameraDev::GetDeviceTime(std::u16string& text) {
    TraceLine(category, "GetDeviceTime");
    text.clear();
    return operationCode(DeviceCode::ReadFailed, [&] {
        if (shareBlocked()) return DeviceCode::NotSupported;
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        if (camInfo.Model == u"368") return DeviceCode::NotSupported;  // its clock can only be set
        const PropertyValue value = ptp->getDevicePropValue(dateTimeProperty, dataType::string);
        text = ptpDateToTime(value.text.view()).toXml(u"time");
        return DeviceCode::Success;
    });
}

DeviceCode CPTPCameraDev::PutDeviceTime(std::u16string text) {
    TraceLine(category, "PutDeviceTime (%s)", text);
    return operationCode(DeviceCode::WriteFailed, [&] {
        if (shareBlocked()) return DeviceCode::NotSupported;
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        FileTimestamp time;
        // The camera takes local time in the form of ISO 15740, YYYYMMDDThhmmss.
        time.fromXml(text, u"time");
        BrokenDownTime local;
        if (!_localtime64_s(local, time.seconds())) return DeviceCode::WriteFailed;
        PropertyValue value;
        value.text.assign(
            wString(formatText(u"%04d%02d%02dT%02d%02d%02d", local.year + 1900, local.month + 1,
                               local.day, local.hour, local.minute, local.second)));
        ptp->setDevicePropValue(dateTimeProperty, value, dataType::string);
        return DeviceCode::Success;
    });
}

bool CPTPCameraDev::SendSpecialMsg(CameraMessage message) {
    return operationAnswer([&] {
        TraceLine(category, "SendSpecialMsg (%d)", static_cast<std::int32_t>(message));
        if (shareBlocked() || !VerifyConnection()) return false;
        TraceLine(category, "SendSpecialMsg - Sending");
        // Cameras read the message's number from the size of an object that is announced and then
        // never sent.
        ObjectInfoDataset info =
            announcement(specialFiles::message, static_cast<std::uint32_t>(message), 0);
        info.ProtectionStatus = 1;
        try {
            ptp->sendObjectInfo(info, 0, 0);
            if (message == CameraMessage::UnloadDone || message == CameraMessage::ConfigDone)
                // These messages end a dialogue, and with it the session.
                ptp->closeSession();
        } catch (PTPCommErrors) {
            TraceLine(category, "SendSpecialMsg - PTPCommErrors");
            return false;
        }
        return true;
    });
}

bool CPTPCameraDev::IsCardInserted(bool&) {
    return false;
}

bool CPTPCameraDev::SetRecursion(bool) {
    return false;
}

}  // namespace zlk
