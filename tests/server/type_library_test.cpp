// The type library in the module, against the table of the interfaces that applications were
// written for.

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "platform/internal/TypeLibrary.h"
#include "platform/modules.h"
#include "platform/text.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

using platform::TypeEntry;
using platform::TypeLibrary;
using platform::TypeMember;
using platform::TypeParameter;

constexpr char table[] =
    R"table(ZlkCamTrLib 1.0 0x409 "ZlkCamTr 1.0 Type Library" A1B0C000 on stdole2.tlb
IProgressCallback custom A1B0C008 "IProgressCallback Interface"
  0x60010000 method UpdateProgress([in] long percent) "method UpdateProgress"
IPhotoDevice dual A1B0C002 "IPhotoDevice Interface"
  1 method LockDevice([in] BSTR cueId) "method LockDevice"
  2 method UnlockDevice() "method UnlockDevice"
  3 method GetFileInfo([in] VARIANT* Progress, [out, retval] BSTR* pVal) "method GetFileInfo"
  4 method SaveFileData([in] BSTR id, [in] BSTR fileName, [in] VARIANT* Progress) "method SaveFileData"
  5 method DeleteFileW([in] BSTR id) "method DeleteFile"
  6 method Escape([in] BSTR inMsg, [out, retval] BSTR* outMsg) "method Escape"
  7 get Dpof([out, retval] BSTR* pVal) "property Dpof"
  7 put Dpof([in] BSTR val) "property Dpof"
  8 get Intent([out, retval] BSTR* pVal) "property Intent"
  8 put Intent([in] BSTR val) "property Intent"
  9 get IsConnected([out, retval] long* pVal) "property IsConnected"
  10 get DeviceId([out, retval] BSTR* pVal) "property DeviceId"
  11 get ErrorCode([out, retval] long* pVal) "property ErrorCode"
  12 get DeviceDate([out, retval] BSTR* pVal) "property DeviceDate"
  12 put DeviceDate([in] BSTR val) "property DeviceDate"
  13 get SupportedDialogs([out, retval] ULONG* pVal) "property SupportedDialogs"
  14 method ShowDialog([in] ULONG dialogNum, [out, retval] ULONG* pVal) "method ShowDialog(ULONG dialogNum,[out,retval] ULONG* pVal)"
  15 method SaveThumbnail([in] BSTR id, [in] BSTR fileName) "method SaveThumbnail"
ISwiftPostDevice dual A1B0C004 "ISwiftPostDevice Interface"
  1 method LockDevice([in] BSTR cueId) "method LockDevice"
  2 method UnlockDevice() "method UnlockDevice"
  3 get DeviceId([out, retval] BSTR* pVal) "property DeviceId"
  4 put Password([in] BSTR val) "property Password"
  5 get HasPassword([out, retval] BYTE* pVal) "property HasPassword"
  6 get ShareMenu([out, retval] BSTR* pVal) "property ShareMenu"
  6 put ShareMenu([in] BSTR val) "property ShareMenu"
  7 get ErrorCode([out, retval] long* pVal) "property ErrorCode"
ITagDevice dual A1B0C006 "ITagDevice Interface"
  1 method LockDevice([in] BSTR cueId) "method LockDevice"
  2 method UnlockDevice() "method UnlockDevice"
  3 get DeviceId([out, retval] BSTR* pVal) "property DeviceId"
  6 get TagList([out, retval] BSTR* pVal) "property TagList"
  6 put TagList([in] BSTR val) "property TagList"
  7 get ErrorCode([out, retval] long* pVal) "property ErrorCode"
IDeviceList dual A1B0C00A "IDeviceList Interface"
  1 get UnloadDevices([out, retval] BSTR* pVal) "property UnloadDevices"
  2 get SwiftPostDevices([out, retval] BSTR* pVal) "property SwiftPostDevices"
  3 get TagDevices([out, retval] BSTR* pVal) "property TagDevices"
IDeviceUtils dual A1B0C00C "IDeviceUtils Interface"
  2 method DriveLetterToContextId([in] BSTR driveLetter, [out] BSTR* ContextId) "method DriveLetterToContextId"
  3 method ContextIdToLowLevelId([in] BSTR ContextId, [out] BSTR* LowLevelId) "method ContextIdToLowLevelId"
  4 method ContextIdToUnloadInterface([in] BSTR ContextId, [out] BSTR* UnloadInterface) "method ContextIdToUnloadInterface"
  5 method ContextIdToName([in] BSTR ContextId, [out] BSTR* Name) "method ContextIdToName"
  6 method CameraVidPidToContextId([in] BSTR vidPid, [out] BSTR* ContextId) "method CameraVidPidToContextId"
  7 method LogCameraInfo([in] BSTR ContextId, [in] BSTR DeviceIdxml) "method LogCameraInfo"
  8 method ContextIdToCheckMediaMethod([in] BSTR ContextId, [out] BSTR* Method) "method ContextIdToCheckMediaMethod"
  9 method IsDeviceLocked([in] BSTR ContextId, [out, retval] short* locked) "method IsDeviceLocked"
  10 method ContextIdToCameraPort([in] BSTR ContextId, [out] BSTR* cameraPort) "method ContextIdToCameraPort"
  11 method MapContextId([in] BSTR ContextId, [out] BSTR* mappedId) "method MapContextId"
  12 method ContextIdToFileEnumTimeout([in] BSTR ContextId, [out] long* timeoutValue) "method ContextIdToFileEnumTimeout"
  13 method IsDeviceRequestingConfig([in] BSTR ContextId, [out, retval] short* config) "method IsDeviceRequestingConfig"
  14 method AllowDeleteForContextId([in] BSTR ContextId, [out, retval] short* allowDelete) "method AllowDeleteForContextId"
  15 method IsDeviceRequestingTagSetup([in] BSTR ContextId, [out, retval] short* config) "method IsDeviceRequestingTagSetup"
  16 method ContextIdToTSBInterface([in] BSTR ContextId, [out] BSTR* Interface) "method ContextIdToTSBInterface"
UnloadableCamera class A1B0C001 "UnloadableCamera Class" of IPhotoDevice
SPostDevice class A1B0C003 "SPostDevice Class" of ISwiftPostDevice
DeviceList class A1B0C009 "DeviceList Class" of IDeviceList
DeviceUtils class A1B0C00B "DeviceUtils Class" of IDeviceUtils
ProgressCallback class A1B0C007 "ProgressCallback Class" of IProgressCallback
TaggerDevice class A1B0C005 "TagDevice Class" of ITagDevice
)table";

std::span<const std::byte> bytesInModule() {
    const HMODULE module =
        LoadLibraryW(wideText((moduleFolder() / "ZlkCamTr.so").string()).c_str());
    const HRSRC found = module ? FindResourceW(module, 1, u"TYPELIB") : nullptr;
    if (!found) return {};
    return {static_cast<const std::byte*>(LoadResource(module, found)),
            SizeofResource(module, found)};
}

std::string shown(const GUID& id) {
    // They all are A1B0C0nn-7E11-4Ann-9Cnn-0000000000xx.
    EXPECT_EQ(id.Data2, 0x7E11);
    EXPECT_EQ(id.Data3, 0x4A00 | (id.Data1 & 0xFF));
    EXPECT_EQ(id.Data4[1], id.Data1 & 0xFF);
    EXPECT_EQ(id.Data4[7], 0xA0 + (id.Data1 & 0xFF));
    return utf8Text(formatText(u"%08X", id.Data1));
}

std::string shown(const TypeParameter& parameter) {
    // By what automation calls VT_I2, VT_I4, VT_BSTR, VT_VARIANT, VT_UI1 and VT_UI4.
    static const std::map<int, std::string> names{{2, "short"},    {3, "long"},  {8, "BSTR"},
                                                  {12, "VARIANT"}, {17, "BYTE"}, {19, "ULONG"}};
    const bool isIn = parameter.flags & typelib::in, isOut = parameter.flags & typelib::out;
    std::string text = isIn ? isOut ? "[in, out" : "[in" : "[out";
    if (parameter.flags & typelib::retval) text += ", retval";
    return text + "] " + names.at(static_cast<int>(parameter.type)) +
           (parameter.isPointer ? "* " : " ") + utf8Text(parameter.name);
}

std::string shown(const TypeMember& member) {
    using Kind = typelib::FunctionKind;
    std::ostringstream line;
    if (member.id >= 0x60000000)
        line << "  0x" << std::hex << member.id << std::dec;
    else
        line << "  " << member.id;
    line << (member.kind == Kind::Method    ? " method "
             : member.kind == Kind::PropGet ? " get "
                                            : " put ")
         << utf8Text(member.name) << '(';
    for (const TypeParameter& parameter : member.parameters)
        line << (&parameter == member.parameters.data() ? "" : ", ") << shown(parameter);
    line << ") \"" << utf8Text(member.help) << "\"\n";
    return line.str();
}

std::string shown(const TypeLibrary& library) {
    using Kind = typelib::TypeKind;
    std::ostringstream text;
    text << utf8Text(library.name) << ' ' << library.majorVersion << '.' << library.minorVersion
         << " 0x" << std::hex << library.locale << std::dec << " \"" << utf8Text(library.help)
         << "\" " << shown(library.id) << " on " << utf8Text(library.imported) << '\n';
    for (const TypeEntry& type : library.types) {
        const bool isClass = type.kind == Kind::Class;
        text << utf8Text(type.name)
             << (isClass                            ? " class "
                 : type.kind == Kind::DualInterface ? " dual "
                                                    : " custom ")
             << shown(type.id) << " \"" << utf8Text(type.help) << '"';
        if (isClass) text << " of " << utf8Text(library.types[type.defaultInterface].name);
        text << '\n';
        for (const TypeMember& member : type.members) text << shown(member);
    }
    return text.str();
}

TEST(TypeLibrary, InTheModuleSaysWhatApplicationsWereWrittenFor) {
    const auto library = platform::readTypeLibrary(bytesInModule());
    ASSERT_TRUE(library);
    EXPECT_EQ(shown(*library), table);
}

TEST(TypeLibrary, IsRefusedWhereItIsCutOffOrScribbledOver) {
    const auto bytes = bytesInModule();
    ASSERT_FALSE(bytes.empty());
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(platform::readTypeLibrary(bytes.first(size))) << size;
    std::vector<std::byte> scribbled(bytes.begin(), bytes.end());
    scribbled.push_back({});
    EXPECT_FALSE(platform::readTypeLibrary(scribbled));
    scribbled.pop_back();
    std::size_t refused = 0;
    for (std::size_t at = 0; at < scribbled.size(); ++at) {
        const std::byte kept = std::exchange(scribbled[at], std::byte{0xFF});
        refused += !platform::readTypeLibrary(scribbled);
        scribbled[at] = kept;
    }
    // All but what may be anything: ids, versions, locale.
    EXPECT_GT(refused, bytes.size() * 8 / 10);
    EXPECT_TRUE(platform::readTypeLibrary(scribbled));
}

}  // namespace
}  // namespace zlk::test
