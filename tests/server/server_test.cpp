#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <utility>

#include "ZlkCamTr.h"
#include "platform/component_object.h"
#include "platform/modules.h"
#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

const fs::path modulePath = moduleFolder() / "ZlkCamTr.so";

struct ServerClass {
    std::string name;  ///< as in its ProgID
    GUID clsid;
    std::string clsidText;
    GUID iid;
    bool dual = true;
};

const ServerClass serverClasses[] = {
    {"UnloadableCamera", CLSID_UnloadableCamera, "{A1B0C001-7E11-4A01-9C01-0000000000A1}",
     iidOf<IPhotoDevice>},
    {"SPostDevice", CLSID_SPostDevice, "{A1B0C003-7E11-4A03-9C03-0000000000A3}",
     iidOf<ISwiftPostDevice>},
    {"DeviceList", CLSID_DeviceList, "{A1B0C009-7E11-4A09-9C09-0000000000A9}", iidOf<IDeviceList>},
    {"DeviceUtils", CLSID_DeviceUtils, "{A1B0C00B-7E11-4A0B-9C0B-0000000000AB}",
     iidOf<IDeviceUtils>},
    {"TagDevice", CLSID_TaggerDevice, "{A1B0C005-7E11-4A05-9C05-0000000000A5}", iidOf<ITagDevice>},
    {"ProgressCallback", CLSID_ProgressCallback, "{A1B0C007-7E11-4A07-9C07-0000000000A7}",
     iidOf<IProgressCallback>, false},
};

/// The module, held loaded, with its entry points.
class Server : public testing::Test {
  protected:
    Server() { EXPECT_TRUE(module_) << GetLastError(); }
    ~Server() override {
        CoFreeUnusedLibraries();
        FreeLibrary(module_);
    }

    /// An entry point; all of them answer with an HRESULT.
    template <class... Arguments>
    HRESULT call(const char* name, Arguments... arguments) {
        const auto entry =
            reinterpret_cast<HRESULT (*)(Arguments...)>(GetProcAddress(module_, name));
        return entry ? entry(arguments...) : E_UNEXPECTED;
    }
    HRESULT getClassObject(const GUID& clsid, const GUID& iid, void** object) {
        return call<const GUID&, const GUID&, void**>("DllGetClassObject", clsid, iid, object);
    }
    ComPtr<IClassFactory> factoryOf(const GUID& clsid) {
        ComPtr<IClassFactory> factory;
        EXPECT_EQ(
            getClassObject(clsid, iidOf<IClassFactory>, reinterpret_cast<void**>(factory.out())),
            S_OK);
        return factory;
    }

    HMODULE module_ = LoadLibraryW(pathText(modulePath).c_str());
};

/// Everything below a key: a line for each key and value.
void dump(HKEY parent, const std::string& path, std::map<std::string, std::string>& lines) {
    for (const std::string& name : subKeys(parent)) {
        const std::string below = path + name;
        const RegistryKey key = openKey(parent, wideText(name));
        lines[below];
        for (const std::string& value : valueNames(key.get()))
            lines[below + " " + value] = text(key.get(), wideText(value).c_str());
        dump(key.get(), below + "\\", lines);
    }
}

std::map<std::string, std::string> registered() {
    std::map<std::string, std::string> lines;
    dump(HKEY_CLASSES_ROOT, "", lines);
    return lines;
}

void addTypeLibrary(std::map<std::string, std::string>& lines) {
    const std::string id = "{A1B0C000-7E11-4A00-9C00-0000000000A0}";
    const std::string version = "TypeLib\\" + id + "\\1.0";
    for (const std::string& key :
         {std::string("TypeLib"), "TypeLib\\" + id, version + "\\409", std::string("Interface")})
        lines[key];
    std::vector<std::pair<std::string, std::string>> values{
        {version, "ZlkCamTr 1.0 Type Library"},
        {version + "\\409\\win64", fs::canonical(modulePath)},
        {version + "\\FLAGS", "0"},
        {version + "\\HELPDIR", ""}};
    const std::pair<const char*, const char*> interfaces[] = {{"02", "IPhotoDevice"},
                                                              {"04", "ISwiftPostDevice"},
                                                              {"06", "ITagDevice"},
                                                              {"0A", "IDeviceList"},
                                                              {"0C", "IDeviceUtils"}};
    for (const auto& [number, name] : interfaces) {
        const std::string nn = number;
        const std::string key = "Interface\\{A1B0C0" + nn + "-7E11-4A" + nn + "-9C" + nn +
                                "-0000000000A" + nn.back() + "}";
        values.emplace_back(key, name);
        values.emplace_back(key + "\\TypeLib", id);
        lines[key + "\\TypeLib Version"] = "1.0";
    }
    for (const auto& [path, value] : values) {
        lines[path];
        lines[path + " "] = value;
    }
}

std::map<std::string, std::string> expectedRegistration() {
    std::map<std::string, std::string> lines{{"CLSID", ""}};
    for (const ServerClass& c : serverClasses) {
        const std::string progId = "ZlkCamTr." + c.name, version = progId + ".1";
        const std::string description = c.name + " Class", key = "CLSID\\" + c.clsidText;
        const std::pair<std::string, std::string> values[] = {
            {version, description},
            {version + "\\CLSID", c.clsidText},
            {progId, description},
            {progId + "\\CLSID", c.clsidText},
            {progId + "\\CurVer", version},
            {key, description},
            {key + "\\ProgID", version},
            {key + "\\VersionIndependentProgID", progId},
            {key + "\\InprocServer32", fs::canonical(modulePath)},
            {key + "\\TypeLib", "{A1B0C000-7E11-4A00-9C00-0000000000A0}"},
        };
        for (const auto& [path, value] : values) {
            lines[path];
            lines[path + " "] = value;
        }
        lines[key + " AppID"];
        lines[key + "\\Programmable"];
        lines[key + "\\InprocServer32 ThreadingModel"] = "Apartment";
    }
    addTypeLibrary(lines);
    return lines;
}

TEST_F(Server, ExportsItsFourEntryPointsAndNothingElse) {
    const ProgramResult names = runProgram({"nm", "-D", "--defined-only", "-j", modulePath});
    ASSERT_EQ(names.status, 0) << names.error;
    EXPECT_EQ(names.output,
              "DllCanUnloadNow\nDllGetClassObject\nDllRegisterServer\nDllUnregisterServer\n");
}

TEST_F(Server, RegistersItsClassesAndLeavesNoTraceBehind) {
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(registered(), expectedRegistration());
    // What is left of an older one goes, and the second run has the same result.
    for (const ServerClass& c : serverClasses) {
        const std::u16string key = u"CLSID\\" + wideText(c.clsidText);
        createKey(HKEY_CLASSES_ROOT, key + u"\\Old");
        createKey(HKEY_CLASSES_ROOT, key + u"\\Programmable\\Old");
    }
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(registered(), expectedRegistration());

    ASSERT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(registered(), (std::map<std::string, std::string>{{"CLSID", ""}}));
    EXPECT_EQ(call("DllUnregisterServer"), S_OK) << "twice";
}

TEST_F(Server, HasTheScriptOfAnAppIdEntryThatNothingRuns) {
    const HRSRC script = FindResourceW(module_, 2000, u"REGISTRY");
    ASSERT_TRUE(script);
    const std::string text(static_cast<const char*>(LoadResource(module_, script)),
                           SizeofResource(module_, script));
    EXPECT_THAT(text, testing::HasSubstr("AppID"));
    EXPECT_FALSE(FindResourceW(module_, 2007, u"REGISTRY"));
}

TEST_F(Server, MakesEachClassByItsProgIdWithItsInterfacesOnly) {
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    for (const ServerClass& c : serverClasses) {
        for (const std::string& progId : {"ZlkCamTr." + c.name, "ZlkCamTr." + c.name + ".1"}) {
            SCOPED_TRACE(progId);
            ComPtr<IUnknown> object;
            ASSERT_EQ(object.create(wideText(progId).c_str()), S_OK);
            for (const ServerClass& other : serverClasses) {
                ComPtr<IUnknown> asked;
                EXPECT_EQ(object->QueryInterface(other.iid, reinterpret_cast<void**>(asked.out())),
                          other.iid == c.iid ? S_OK : E_NOINTERFACE)
                    << "as that of " << other.name;
            }
            ComPtr<IDispatch> dispatch;
            EXPECT_EQ(
                object->QueryInterface(iidOf<IDispatch>, reinterpret_cast<void**>(dispatch.out())),
                c.dual ? S_OK : E_NOINTERFACE);
            UINT count = c.dual ? 0 : 1;
            EXPECT_EQ(dispatch ? dispatch->GetTypeInfoCount(&count) : S_OK, S_OK);
            EXPECT_EQ(count, 1u);
        }
    }
}

TEST_F(Server, GivesTheFactoryOfItsOwnClassesOnly) {
    const auto factory = factoryOf(CLSID_DeviceList);
    EXPECT_EQ(factory.get(), factoryOf(CLSID_DeviceList).get());
    const GUID unknown{0xA1B0C0FF, 0x7E11, 0x4A01, {0x9C, 0x01}};
    const GUID& wanted = iidOf<IClassFactory>;
    int unset;
    void* object = &unset;
    EXPECT_EQ(getClassObject(unknown, wanted, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    object = &unset;
    EXPECT_EQ(getClassObject(CLSID_DeviceList, iidOf<IDeviceList>, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    for (const GUID& clsid : {CLSID_DeviceList, unknown})
        EXPECT_EQ(getClassObject(clsid, wanted, nullptr), E_POINTER);
    EXPECT_EQ(factory->CreateInstance(nullptr, iidOf<IDeviceList>, nullptr), E_POINTER);
}

TEST_F(Server, MakesAPartOfAnotherObjectOfEachClass) {
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    // The factory stands in for an outer object: what it counts means nothing to it.
    const auto outer = factoryOf(CLSID_DeviceList);
    for (const ServerClass& c : serverClasses) {
        int unset;
        void* object = &unset;
        EXPECT_EQ(CoCreateInstance(c.clsid, outer.get(), CLSCTX_ALL, c.iid, &object),
                  CLASS_E_NOAGGREGATION)
            << c.name;
        EXPECT_EQ(object, nullptr);
        ComPtr<IUnknown> inner, part, whole;
        ASSERT_EQ(CoCreateInstance(c.clsid, outer.get(), CLSCTX_ALL, iidOf<IUnknown>,
                                   reinterpret_cast<void**>(inner.out())),
                  S_OK)
            << c.name;
        ASSERT_EQ(inner->QueryInterface(c.iid, reinterpret_cast<void**>(part.out())), S_OK);
        part->QueryInterface(iidOf<IUnknown>, reinterpret_cast<void**>(whole.out()));
        EXPECT_EQ(whole.get(), static_cast<IUnknown*>(outer.get())) << c.name;
    }
    EXPECT_EQ(call("DllCanUnloadNow"), S_OK);
}

TEST_F(Server, IsHeldByObjectsAndLocksAndNotByFactories) {
    const auto factory = factoryOf(CLSID_DeviceUtils);
    EXPECT_EQ(call("DllCanUnloadNow"), S_OK);
    for (const bool lock : {true, false}) {
        EXPECT_EQ(factory->LockServer(lock), S_OK);
        EXPECT_EQ(call("DllCanUnloadNow"), lock ? S_FALSE : S_OK);
    }
    ComPtr<IDeviceUtils> utils;
    ASSERT_EQ(factory->CreateInstance(nullptr, iidOf<IDeviceUtils>,
                                      reinterpret_cast<void**>(utils.out())),
              S_OK);
    EXPECT_EQ(call("DllCanUnloadNow"), S_FALSE);
    utils.reset();
    EXPECT_EQ(call("DllCanUnloadNow"), S_OK);
}

/// Whether anybody but this function holds the module.
bool isLoaded() {
    const HMODULE module = LoadLibraryW(pathText(modulePath).c_str());
    void* const entry = GetProcAddress(module, "DllCanUnloadNow");
    EXPECT_TRUE(entry);
    FreeLibrary(module);
    return moduleFromAddress(entry) != nullptr;
}

TEST_F(Server, IsUnloadedBehindItsLastObject) {
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    FreeLibrary(std::exchange(module_, nullptr));
    ASSERT_FALSE(isLoaded()) << "nothing in it may pin it";

    ComPtr<IPhotoDevice> device;
    ASSERT_EQ(device.create(u"ZlkCamTr.UnloadableCamera"), S_OK);
    CoFreeUnusedLibraries();
    EXPECT_TRUE(isLoaded());
    device.reset();
    EXPECT_TRUE(isLoaded()) << "until somebody asks";
    CoFreeUnusedLibraries();
    EXPECT_FALSE(isLoaded());
}

}  // namespace
}  // namespace zlk::test
