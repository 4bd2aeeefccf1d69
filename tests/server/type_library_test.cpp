// The type library in the module, against the table of the interfaces that applications were
// written for.

#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "ZlkCamTr.h"
#include "platform/component_module.h"
#include "platform/text.h"
#include "platform/type_library.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

const GUID libraryId{0xA1B0C000, 0x7E11, 0x4A00, {0x9C, 0x00, 0, 0, 0, 0, 0, 0xA0}};

constexpr char table[] =
    R"table(ZlkCamTrLib 1.0 0x409 "ZlkCamTr 1.0 Type Library" A1B0C000
IProgressCallback custom A1B0C008 "IProgressCallback Interface" on IUnknown
  0x60010000 method UpdateProgress([in] long percent) "method UpdateProgress"
IPhotoDevice dual A1B0C002 "IPhotoDevice Interface" on IDispatch
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
ISwiftPostDevice dual A1B0C004 "ISwiftPostDevice Interface" on IDispatch
  1 method LockDevice([in] BSTR cueId) "method LockDevice"
  2 method UnlockDevice() "method UnlockDevice"
  3 get DeviceId([out, retval] BSTR* pVal) "property DeviceId"
  4 put Password([in] BSTR val) "property Password"
  5 get HasPassword([out, retval] BYTE* pVal) "property HasPassword"
  6 get ShareMenu([out, retval] BSTR* pVal) "property ShareMenu"
  6 put ShareMenu([in] BSTR val) "property ShareMenu"
  7 get ErrorCode([out, retval] long* pVal) "property ErrorCode"
ITagDevice dual A1B0C006 "ITagDevice Interface" on IDispatch
  1 method LockDevice([in] BSTR cueId) "method LockDevice"
  2 method UnlockDevice() "method UnlockDevice"
  3 get DeviceId([out, retval] BSTR* pVal) "property DeviceId"
  6 get TagList([out, retval] BSTR* pVal) "property TagList"
  6 put TagList([in] BSTR val) "property TagList"
  7 get ErrorCode([out, retval] long* pVal) "property ErrorCode"
IDeviceList dual A1B0C00A "IDeviceList Interface" on IDispatch
  1 get UnloadDevices([out, retval] BSTR* pVal) "property UnloadDevices"
  2 get SwiftPostDevices([out, retval] BSTR* pVal) "property SwiftPostDevices"
  3 get TagDevices([out, retval] BSTR* pVal) "property TagDevices"
IDeviceUtils dual A1B0C00C "IDeviceUtils Interface" on IDispatch
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

const std::filesystem::path modulePath = moduleFolder() / "ZlkCamTr.so";

ComPtr<ITypeLib> loadedLibrary() {
    ComPtr<ITypeLib> library;
    EXPECT_EQ(LoadTypeLib(pathText(modulePath).c_str(), library.out()), S_OK);
    return library;
}

std::string shown(const GUID& id) {
    // They all are A1B0C0nn-7E11-4Ann-9Cnn-0000000000xx.
    EXPECT_EQ(id.Data2, 0x7E11);
    EXPECT_EQ(id.Data3, 0x4A00 | (id.Data1 & 0xFF));
    EXPECT_EQ(id.Data4[1], id.Data1 & 0xFF);
    EXPECT_EQ(id.Data4[7], 0xA0 + (id.Data1 & 0xFF));
    return utf8Text(formatText(u"%08X", id.Data1));
}

/// Name and help string of a member, or of the type with MEMBERID_NIL.
std::pair<std::string, std::string> documentation(ITypeInfo& info, MEMBERID id) {
    Bstr name, help;
    EXPECT_EQ(info.GetDocumentation(id, name.out(), help.out(), nullptr, nullptr), S_OK);
    return {utf8Text(name.view()), utf8Text(help.view())};
}

ComPtr<ITypeInfo> referred(ITypeInfo& info, UINT index) {
    HREFTYPE type = 0;
    ComPtr<ITypeInfo> found;
    EXPECT_EQ(info.GetRefTypeOfImplType(index, &type), S_OK);
    EXPECT_EQ(info.GetRefTypeInfo(type, found.out()), S_OK);
    return found;
}

std::string shown(const ELEMDESC& parameter, std::u16string_view name) {
    static const std::map<int, std::string> types{{VT_I2, "short"},        {VT_I4, "long"},
                                                  {VT_BSTR, "BSTR"},       {VT_UI1, "BYTE"},
                                                  {VT_VARIANT, "VARIANT"}, {VT_UI4, "ULONG"}};
    const WORD flags = parameter.paramdesc.wParamFlags;
    const bool isIn = flags & PARAMFLAG_FIN, isOut = flags & PARAMFLAG_FOUT;
    const bool isPointer = parameter.tdesc.vt == VT_PTR;
    std::string text = isIn ? isOut ? "[in, out" : "[in" : "[out";
    if (flags & PARAMFLAG_FRETVAL) text += ", retval";
    return text + "] " + types.at(isPointer ? parameter.tdesc.lptdesc->vt : parameter.tdesc.vt) +
           (isPointer ? "* " : " ") + utf8Text(name);
}

/// The line of one function of a virtual table.
std::string shownMember(ITypeInfo& info, UINT index, UINT firstSlot) {
    FUNCDESC* member = nullptr;
    EXPECT_EQ(info.GetFuncDesc(index, &member), S_OK);
    if (!member) return {};
    EXPECT_EQ(member->oVft, static_cast<SHORT>((firstSlot + index) * sizeof(void*)));
    EXPECT_EQ(member->elemdescFunc.tdesc.vt, VT_HRESULT);
    static const std::map<int, const char*> kinds{
        {INVOKE_FUNC, "method"}, {INVOKE_PROPERTYGET, "get"}, {INVOKE_PROPERTYPUT, "put"}};
    const auto id = formatText(member->memid < 0x60000000 ? u"%d" : u"0x%x", member->memid);
    const auto [name, help] = documentation(info, member->memid);
    // The two functions of a property have one id, and the names that are told by it are the
    // reader's.
    Bstr names[8];
    BSTR raw[8] = {};
    UINT count = 0;
    EXPECT_EQ(info.GetNames(member->memid, raw, 8, &count), S_OK);
    for (UINT i = 0; i < count; ++i) *names[i].out() = raw[i];
    const bool isPut = member->invkind == INVOKE_PROPERTYPUT;
    std::string parameters;
    for (SHORT i = 0; i < member->cParams; ++i)
        parameters += (i ? ", " : "") +
                      shown(member->lprgelemdescParam[i], isPut ? u"val" : names[i + 1].view());
    const auto line = formatText(u"  %s %s %s(%s) \"%s\"\n", id, kinds.at(member->invkind), name,
                                 parameters, help);
    info.ReleaseFuncDesc(member);
    return utf8Text(line);
}

TYPEATTR attributesOf(ITypeInfo& info) {
    TYPEATTR* attributes = nullptr;
    EXPECT_EQ(info.GetTypeAttr(&attributes), S_OK);
    if (!attributes) return {};
    const TYPEATTR copy = *attributes;
    info.ReleaseTypeAttr(attributes);
    return copy;
}

std::string shownType(ITypeInfo& info) {
    const TYPEATTR attributes = attributesOf(info);
    const auto [name, help] = documentation(info, MEMBERID_NIL);
    const bool isDual = attributes.typekind == TKIND_DISPATCH;
    const std::string base = documentation(*referred(info, 0).get(), MEMBERID_NIL).first;
    std::string text = shown(attributes.guid) + " \"" + help + '"';
    if (attributes.typekind == TKIND_COCLASS) {
        LONG flags = 0;
        EXPECT_EQ(info.GetImplTypeFlags(0, &flags), S_OK);
        EXPECT_EQ(flags, IMPLTYPEFLAG_FDEFAULT);
        return name + " class " + text + " of " + base + '\n';
    }
    text = name + (isDual ? " dual " : " custom ") + text + " on " + base + '\n';
    ComPtr<ITypeInfo> functions =
        isDual ? referred(info, static_cast<UINT>(-1)) : ComPtr<ITypeInfo>();
    ITypeInfo& described = isDual ? *functions.get() : info;
    EXPECT_EQ(attributesOf(described).typekind, TKIND_INTERFACE);
    for (UINT i = 0; i < attributes.cFuncs; ++i) text += shownMember(described, i, isDual ? 7 : 3);
    return text;
}

std::string shownLibrary(ITypeLib& library) {
    TLIBATTR* attributes = nullptr;
    EXPECT_EQ(library.GetLibAttr(&attributes), S_OK);
    Bstr name, help;
    EXPECT_EQ(library.GetDocumentation(-1, name.out(), help.out(), nullptr, nullptr), S_OK);
    std::string text = utf8Text(formatText(u"%s %d.%d 0x%x \"%s\" %s\n", name.view(),
                                           attributes->wMajorVerNum, attributes->wMinorVerNum,
                                           attributes->lcid, help.view(), shown(attributes->guid)));
    library.ReleaseTLibAttr(attributes);
    for (UINT i = 0; i < library.GetTypeInfoCount(); ++i) {
        ComPtr<ITypeInfo> info;
        EXPECT_EQ(library.GetTypeInfo(i, info.out()), S_OK);
        if (info) text += shownType(*info.get());
    }
    return text;
}

TEST(TypeLibrary, InTheModuleSaysWhatApplicationsWereWrittenFor) {
    const ComPtr<ITypeLib> library = loadedLibrary();
    ASSERT_TRUE(library);
    EXPECT_EQ(shownLibrary(*library.get()), table);
}

TEST(TypeLibrary, TellsCallersByNameWhatAMemberReturns) {
    const ComPtr<ITypeLib> library = loadedLibrary();
    ASSERT_TRUE(library);
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(library->GetTypeInfoOfGuid(iidOf<IPhotoDevice>, info.out()), S_OK);
    const auto describe = [&](UINT index) {
        FUNCDESC* member = nullptr;
        EXPECT_EQ(info->GetFuncDesc(index, &member), S_OK);
        const std::tuple<VARTYPE, SHORT, FUNCKIND> told{member->elemdescFunc.tdesc.vt,
                                                        member->cParams, member->funckind};
        info->ReleaseFuncDesc(member);
        return told;
    };
    EXPECT_EQ(describe(1), (std::tuple{VT_VOID, SHORT{0}, FUNC_DISPATCH})) << "UnlockDevice";
    EXPECT_EQ(describe(2), (std::tuple{VT_BSTR, SHORT{1}, FUNC_DISPATCH})) << "GetFileInfo";
    FUNCDESC* beyond = nullptr;
    EXPECT_EQ(info->GetFuncDesc(attributesOf(*info.get()).cFuncs, &beyond), TYPE_E_ELEMENTNOTFOUND);

    WCHAR name[] = u"savefiledata";
    BOOL found = false;
    EXPECT_EQ(library->IsName(name, 0, &found), S_OK);
    EXPECT_TRUE(found);
    EXPECT_EQ(std::u16string(name), u"SaveFileData");
    ITypeInfo* infos[8] = {};
    MEMBERID ids[8] = {};
    WORD count = 8;
    WCHAR lock[] = u"LOCKDEVICE";
    EXPECT_EQ(library->FindName(lock, 0, infos, ids, &count), S_OK);
    EXPECT_EQ(count, 3) << "the three device objects";
    while (count > 0) infos[--count]->Release();
}

TEST(TypeLibrary, MakesObjectsOfItsClasses) {
    const LoadedModule module(modulePath);
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    ComPtr<ITypeLib> library;
    ASSERT_EQ(LoadRegTypeLib(libraryId, 1, 0, 0x407, library.out()), S_OK) << "of any language";
    ComPtr<ITypeLib> none;
    EXPECT_EQ(LoadRegTypeLib(libraryId, 2, 0, 0x409, none.out()), TYPE_E_LIBNOTREGISTERED);
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(library->GetTypeInfoOfGuid(CLSID_DeviceList, info.out()), S_OK);
    ComPtr<IDeviceList> list;
    EXPECT_EQ(
        info->CreateInstance(nullptr, iidOf<IDeviceList>, reinterpret_cast<void**>(list.out())),
        S_OK);
    ASSERT_EQ(library->GetTypeInfoOfGuid(iidOf<IDeviceList>, info.out()), S_OK);
    EXPECT_EQ(info->CreateInstance(nullptr, iidOf<IUnknown>, reinterpret_cast<void**>(list.out())),
              TYPE_E_WRONGTYPEKIND);
}

TEST(TypeLibrary, IsRefusedWhereItIsCutOffOrScribbledOver) {
    const std::string bytes = readFile(moduleFolder() / "../../generated/ZlkCamTr.tlb");
    const auto file = newFolder() / "some.tlb";
    const auto load = [&](const std::string& content) {
        writeFile(file, content);
        ComPtr<ITypeLib> library;
        const HRESULT loaded = LoadTypeLib(pathText(file).c_str(), library.out());
        EXPECT_EQ(SUCCEEDED(loaded), static_cast<bool>(library));
        return loaded;
    };
    ASSERT_EQ(load(bytes), S_OK);
    EXPECT_EQ(load(bytes + '\0'), TYPE_E_INVDATAREAD);
    // The fuzzer does it at each byte; here a step goes through all kinds of records.
    constexpr std::size_t step = 19;
    std::size_t tried = 0, refused = 0;
    for (std::size_t at = 0; at < bytes.size(); at += step) {
        // Without its first bytes it is no library, and no module either.
        const HRESULT cut = load(bytes.substr(0, at));
        EXPECT_EQ(cut, at < 8 ? TYPE_E_CANTLOADLIBRARY : TYPE_E_INVDATAREAD) << at;
        std::string scribbled = bytes;
        scribbled[at] = '\xFF';
        refused += FAILED(load(scribbled));
        ++tried;
    }
    // All but what may be anything: ids, versions, locale.
    EXPECT_GT(refused, tried * 8 / 10);
}

/// A copy of the module in which each occurrence of some bytes is another one; its path.
std::filesystem::path changedModule(const std::string& from, const std::string& to) {
    std::string bytes = readFile(modulePath);
    std::size_t at = bytes.find(from);
    EXPECT_NE(at, bytes.npos);
    for (; at != bytes.npos; at = bytes.find(from, at)) bytes.replace(at, to.size(), to);
    const std::filesystem::path path = newFolder() / "Changed.so";
    writeFile(path, bytes);
    return path;
}

ComPtr<IPhotoDevice> cameraOf(const LoadedModule& module) {
    ComPtr<IClassFactory> factory;
    ComPtr<IPhotoDevice> camera;
    module.call<const GUID&, const GUID&, void**>("DllGetClassObject", CLSID_UnloadableCamera,
                                                  iidOf<IClassFactory>,
                                                  reinterpret_cast<void**>(factory.out()));
    factory->CreateInstance(nullptr, iidOf<IPhotoDevice>, reinterpret_cast<void**>(camera.out()));
    return camera;
}

/// The error code of an object, asked for by name.
HRESULT readErrorCode(IDispatch& object) {
    constexpr DISPID errorCode = 11;
    DISPPARAMS none{};
    Variant code;
    return object.Invoke(errorCode, GUID{}, 0, DISPATCH_PROPERTYGET, &none, code.get(), nullptr,
                         nullptr);
}

TEST(TypeLibrary, MayLieBesideAModuleThatHasNone) {
    std::filesystem::path beside = changedModule("TYPELIB", "TYPELIX");
    const LoadedModule changed(beside);
    EXPECT_EQ(changed.call("DllRegisterServer"), TYPE_E_CANTLOADLIBRARY);
    EXPECT_EQ(readErrorCode(*cameraOf(changed).get()), TYPE_E_CANTLOADLIBRARY);

    beside.replace_extension(".tlb");
    std::filesystem::copy_file(moduleFolder() / "../../generated/ZlkCamTr.tlb", beside);
    EXPECT_EQ(changed.call("DllRegisterServer"), S_OK);
    EXPECT_EQ(readErrorCode(*cameraOf(changed).get()), S_OK);
    ComPtr<ITypeLib> library;
    EXPECT_EQ(LoadRegTypeLib(libraryId, 1, 0, 0x409, library.out()), S_OK);
    std::filesystem::permissions(beside, std::filesystem::perms(0666));
    EXPECT_EQ(LoadRegTypeLib(libraryId, 1, 0, 0x409, library.out()), TYPE_E_CANTLOADLIBRARY)
        << "others may write it";
}

TEST(TypeLibrary, ThatIsDamagedTakesNothingButItself) {
    const LoadedModule changed(changedModule("ZLKTLB1", "ZLKTLB7"));
    EXPECT_EQ(changed.call("DllRegisterServer"), TYPE_E_INVDATAREAD);
    const auto object = cameraOf(changed);
    EXPECT_EQ(readErrorCode(*object.get()), TYPE_E_INVDATAREAD);
    ComPtr<ITypeInfo> info;
    EXPECT_EQ(object->GetTypeInfo(0, 0, info.out()), TYPE_E_INVDATAREAD);
    LONG code = -1;
    EXPECT_EQ(object->get_ErrorCode(&code), S_OK);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(changed.call("DllUnregisterServer"), TYPE_E_INVDATAREAD);
    GUID gone;
    EXPECT_EQ(CLSIDFromProgID(u"ZlkCamTr.DeviceList", &gone), CO_E_CLASSSTRING);
}

}  // namespace
}  // namespace zlk::test
