#include <gmock/gmock.h>

#include <map>

#include "ZlkCamTr.h"
#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

const fs::path modulePath = moduleFolder() / "ZlkCamTr.so";

struct ServerClass {
    std::string name;  ///< as in its ProgID
    GUID clsid;
    std::string interfaceName;
    GUID iid;
    bool dual = true;
};

const ServerClass serverClasses[] = {
    {"UnloadableCamera", CLSID_UnloadableCamera, "IPhotoDevice", iidOf<IPhotoDevice>},
    {"SPostDevice", CLSID_SPostDevice, "ISwiftPostDevice", iidOf<ISwiftPostDevice>},
    {"DeviceList", CLSID_DeviceList, "IDeviceList", iidOf<IDeviceList>},
    {"DeviceUtils", CLSID_DeviceUtils, "IDeviceUtils", iidOf<IDeviceUtils>},
    {"TagDevice", CLSID_TaggerDevice, "ITagDevice", iidOf<ITagDevice>},
    {"ProgressCallback", CLSID_ProgressCallback, "", iidOf<IProgressCallback>, false},
};

struct Server : testing::Test {
    ~Server() override { CoFreeUnusedLibraries(); }
    LoadedModule module{modulePath};
};

/// What is registered: the values by their keys and names, and the keys that have none.
using Entries = std::map<std::string, std::string>;

void addEntriesBelow(HKEY parent, const std::string& path, Entries& entries) {
    for (const std::string& name : subKeys(parent)) {
        const std::string below = path + name;
        const RegistryKey key = openKey(parent, wideText(name));
        const std::vector<std::string> values = valueNames(key.get());
        if (values.empty()) entries[below];
        for (const std::string& value : values)
            entries[below + " " + value] = text(key.get(), wideText(value).c_str());
        addEntriesBelow(key.get(), below + "\\", entries);
    }
}

Entries registered() {
    Entries entries;
    addEntriesBelow(HKEY_CLASSES_ROOT, "", entries);
    return entries;
}

const std::string libraryId = "{A1B0C000-7E11-4A00-9C00-0000000000A0}";

Entries entriesOf(const ServerClass& c, const std::string& module) {
    const std::string id = utf8Text(idText(c.clsid)), description = c.name + " Class";
    const std::string progId = "ZlkCamTr." + c.name, version = progId + ".1", key = "CLSID\\" + id;
    Entries entries{{version + " ", description},
                    {version + "\\CLSID ", id},
                    {progId + " ", description},
                    {progId + "\\CLSID ", id},
                    {progId + "\\CurVer ", version},
                    {key + " ", description},
                    {key + " AppID", ""},
                    {key + "\\ProgID ", version},
                    {key + "\\VersionIndependentProgID ", progId},
                    {key + "\\Programmable", ""},
                    {key + "\\InprocServer32 ", module},
                    {key + "\\InprocServer32 ThreadingModel", "Apartment"},
                    {key + "\\TypeLib ", libraryId}};
    const std::string interface = "Interface\\" + utf8Text(idText(c.iid));
    if (c.dual)
        entries.merge(Entries{{interface + " ", c.interfaceName},
                              {interface + "\\TypeLib ", libraryId},
                              {interface + "\\TypeLib Version", "1.0"}});
    return entries;
}

Entries expectedRegistration() {
    const std::string module = fs::canonical(modulePath), library = "TypeLib\\" + libraryId;
    Entries entries{{"CLSID", ""},
                    {"Interface", ""},
                    {"TypeLib", ""},
                    {library, ""},
                    {library + "\\1.0 ", "ZlkCamTr 1.0 Type Library"},
                    {library + "\\1.0\\409", ""},
                    {library + "\\1.0\\409\\win64 ", module},
                    {library + "\\1.0\\FLAGS ", "0"},
                    {library + "\\1.0\\HELPDIR ", ""}};
    for (const ServerClass& c : serverClasses) entries.merge(entriesOf(c, module));
    return entries;
}

TEST_F(Server, ExportsItsFourEntryPointsAndNothingElse) {
    const ProgramResult names = runProgram({"nm", "-D", "--defined-only", "-j", modulePath});
    ASSERT_EQ(names.status, 0) << names.error;
    EXPECT_EQ(names.output,
              "DllCanUnloadNow\nDllGetClassObject\nDllRegisterServer\nDllUnregisterServer\n");
}

TEST_F(Server, RegistersItsClassesAndLeavesNoTraceBehind) {
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    EXPECT_EQ(registered(), expectedRegistration());
    // What is left of an older one goes, and the second run has the same result.
    for (const ServerClass& c : serverClasses) {
        const std::u16string key = u"CLSID\\" + idText(c.clsid);
        createKey(HKEY_CLASSES_ROOT, key + u"\\Old");
        createKey(HKEY_CLASSES_ROOT, key + u"\\Programmable\\Old");
    }
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    EXPECT_EQ(registered(), expectedRegistration());

    // Another library's interface stays.
    const std::string foreign = "Interface\\{A1B0C000-7E11-4A00-9C00-0000000000FF}";
    createKey(HKEY_CLASSES_ROOT, wideText(foreign) + u"\\TypeLib");
    ASSERT_EQ(module.call("DllUnregisterServer"), S_OK);
    const Entries left{
        {"CLSID", ""}, {"Interface", ""}, {foreign, ""}, {foreign + "\\TypeLib", ""}};
    EXPECT_EQ(registered(), left);
    EXPECT_EQ(module.call("DllUnregisterServer"), S_OK) << "twice";
    EXPECT_EQ(registered(), left);
}

TEST_F(Server, HasTheScriptOfAnAppIdEntryThatNothingRuns) {
    const HRSRC script = FindResourceW(module.get(), 2000, u"REGISTRY");
    ASSERT_TRUE(script);
    const std::string text(static_cast<const char*>(LoadResource(module.get(), script)),
                           SizeofResource(module.get(), script));
    EXPECT_THAT(text, testing::HasSubstr("AppID"));
    EXPECT_FALSE(FindResourceW(module.get(), 2007, u"REGISTRY"));
}

TEST_F(Server, MakesEachClassByItsProgIdWithItsInterfacesOnly) {
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
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
            const ComPtr<IDispatch> dispatch = as<IDispatch>(object.get());
            ASSERT_EQ(static_cast<bool>(dispatch), c.dual);
            UINT count = 0;
            if (dispatch) dispatch->GetTypeInfoCount(&count);
            EXPECT_EQ(count, c.dual ? 1u : 0u);
        }
    }
}

TEST_F(Server, IsUnloadedBehindItsLastObject) {
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    module.release();
    ASSERT_FALSE(isLoaded(modulePath)) << "nothing in it may pin it";

    ComPtr<IPhotoDevice> device;
    ASSERT_EQ(device.create(u"ZlkCamTr.UnloadableCamera"), S_OK);
    CoFreeUnusedLibraries();
    EXPECT_TRUE(isLoaded(modulePath));
    device.reset();
    EXPECT_TRUE(isLoaded(modulePath)) << "until somebody asks";
    CoFreeUnusedLibraries();
    EXPECT_FALSE(isLoaded(modulePath));
}

}  // namespace
}  // namespace zlk::test
