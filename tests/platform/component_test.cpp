#include "platform/component.h"

#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/component_object.h"
#include "tests/platform/modules/TestInterfaces.h"
#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

const fs::path testModules = programFolder().parent_path() / "lib/test_modules";
const fs::path first = testModules / "first.so", second = testModules / "second.so";

HRESULT registerModule(const fs::path& path) {
    return LoadedModule(path).call("DllRegisterServer");
}

/// The name that a new object of a class gives, by id or by ProgID; its failure as a number.
template <class Id>
std::string newName(const Id& id) {
    ComPtr<INamed> object;
    Bstr name;
    const HRESULT result = object.create(id);
    if (FAILED(result)) return std::to_string(result);
    EXPECT_EQ(object->get_Name(name.out()), S_OK);
    return utf8Text(name.view());
}

struct Components : testing::Test {
    Components() { EXPECT_EQ(registerModule(first), S_OK); }
    ~Components() override { CoFreeUnusedLibraries(); }
};

TEST(Bstr, CountsItsUnitsInFrontAndEndsInAZero) {
    const std::pair<BSTR, std::u16string_view> cases[] = {
        {SysAllocString(u"text"), u"text"},
        {SysAllocString(u""), u""},
        {SysAllocStringLen(u"te\0xt and more", 5), std::u16string_view(u"te\0xt", 5)},
        {SysAllocStringLen(u"anything", 0), u""},
        {SysAllocStringLen(nullptr, 3), std::u16string_view(u"\0\0\0", 3)},
    };
    for (const auto& [text, expected] : cases) {
        ASSERT_TRUE(text);
        EXPECT_EQ(SysStringLen(text), expected.size());
        EXPECT_EQ(std::u16string(text, expected.size() + 1), std::u16string(expected) + u'\0');
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(text) % alignof(std::max_align_t), 0u);
        std::uint32_t bytes;
        std::memcpy(&bytes, reinterpret_cast<const char*>(text) - 4, 4);
        EXPECT_EQ(bytes, expected.size() * 2);
        SysFreeString(text);
    }
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    SysFreeString(nullptr);
    // Its bytes have no number of 32 bits.
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x80000000), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFF), nullptr);
}

TEST(ClassId, IsReadFromItsTextAndFromNoOther) {
    GUID id;
    const GUID expected{0xA1B0C001, 0x7E11, 0x4A01, {0x9C, 0x01, 0, 0, 0, 0, 0xFE, 0xA1}};
    ASSERT_EQ(CLSIDFromString(u"{a1B0C001-7E11-4A01-9c01-00000000FEA1}", &id), S_OK);
    EXPECT_EQ(id, expected);
    EXPECT_EQ(idText(id), u"{A1B0C001-7E11-4A01-9C01-00000000FEA1}");
    WCHAR small[38];
    EXPECT_EQ(StringFromGUID2(id, small, 38), 0);

    const WCHAR* const wrong[] = {nullptr,
                                  u"{",
                                  u"A1B0C001-7E11-4A01-9C01-0000000000A1",
                                  u"{A1B0C001-7E11-4A01-9C01-0000000000A1",
                                  u"{A1B0C001-7E11-4A01-9C01-0000000000A1} ",
                                  u"{A1B0C001-7E11-4A01-9C01-0000000000AG}",
                                  u"{A1B0C0017-E11-4A01-9C01-0000000000A1}"};
    for (const WCHAR* text : wrong) {
        id = expected;
        EXPECT_EQ(CLSIDFromString(text, &id), CO_E_CLASSSTRING);
        EXPECT_EQ(id, GUID{});
    }
}

TEST_F(Components, AreFoundByProgIdAndItsCurrentVersion) {
    const auto write = [](const WCHAR* key, const WCHAR* value) {
        setText(createKey(HKEY_CLASSES_ROOT, key).get(), nullptr, value);
    };
    write(u"ZlkTest.Any\\CurVer", u"ZlkTest.Thing");
    write(u"ZlkTest.Round\\CurVer", u"ZlkTest.Round");
    write(u"ZlkTest.Odd\\CLSID", u"no id");
    createKey(HKEY_CLASSES_ROOT, u"ZlkTest.Empty\\CLSID");
    for (const WCHAR* progId : {u"ZlkTest.Thing", u"zlktest.THING", u"ZlkTest.Any"})
        EXPECT_EQ(newName(progId), "first") << utf8Text(progId);
    const std::u16string unknown[] = {u"ZlkTest.Round",       u"ZlkTest.Odd",
                                      u"ZlkTest.Empty",       u"",
                                      u"ZlkTest.Any\\CurVer", std::u16string(10'000, u'x')};
    for (const std::u16string& progId : unknown) {
        GUID id{1, 0, 0, {}};
        EXPECT_EQ(CLSIDFromProgID(progId.c_str(), &id), CO_E_CLASSSTRING) << utf8Text(progId);
        EXPECT_EQ(id, GUID{});
    }
    EXPECT_EQ(CLSIDFromProgID(nullptr, nullptr), E_INVALIDARG);
}

TEST_F(Components, FailAsTheirRegistrationDoes) {
    const std::pair<std::u16string, HRESULT> cases[] = {
        {u"", REGDB_E_CLASSNOTREG},
        {u"/no/such/module.so", CO_E_DLLNOTFOUND},
        {u"no such module.dll", CO_E_DLLNOTFOUND},
        {u"/" + std::u16string(10'000, u'x'), CO_E_DLLNOTFOUND},
        {std::u16string(100'000, u'x'), REGDB_E_CLASSNOTREG},
        {pathText(testModules), CO_E_DLLNOTFOUND},
        {pathText(testModules / "no_classes.so"), CO_E_ERRORINDLL},
        {pathText(first), CLASS_E_CLASSNOTAVAILABLE},
    };
    const GUID id{0xBAD, 0, 0, {}};
    int unset;
    void* object;
    const auto create = [&](const GUID& clsid, const GUID& iid = iidOf<IUnknown>,
                            DWORD context = CLSCTX_ALL) {
        object = &unset;
        const HRESULT result = CoCreateInstance(clsid, nullptr, context, iid, &object);
        EXPECT_EQ(object, nullptr);
        return result;
    };
    EXPECT_EQ(create(id), REGDB_E_CLASSNOTREG);
    const RegistryKey key =
        createKey(HKEY_CLASSES_ROOT, u"CLSID\\" + idText(id) + u"\\InprocServer32");
    EXPECT_EQ(create(id), REGDB_E_CLASSNOTREG) << "a key without a module";
    for (const auto& [server, expected] : cases) {
        setText(key.get(), nullptr, server);
        EXPECT_EQ(create(id), expected) << utf8Text(server.substr(0, 80));
    }
    setBytes(key.get(), nullptr, {1, 2, 3, 4}, REG_DWORD);
    EXPECT_EQ(create(id), REGDB_E_CLASSNOTREG);
    setBytes(key.get(), nullptr, {u'/'}, REG_SZ);
    EXPECT_EQ(create(id), REGDB_E_CLASSNOTREG) << "half a unit";

    EXPECT_EQ(create(CLSID_Thing, iidOf<IUnknown>, 4), REGDB_E_CLASSNOTREG) << "of its own process";
    EXPECT_EQ(create(CLSID_Thing, iidOf<IClassFactory>), E_NOINTERFACE);
    EXPECT_EQ(create(CLSID_Starved), E_OUTOFMEMORY);
    EXPECT_EQ(CoCreateInstance(CLSID_Thing, nullptr, CLSCTX_ALL, iidOf<IUnknown>, nullptr),
              E_POINTER);
}

TEST_F(Components, HaveOneIdentityBehindAllInterfaces) {
    ComPtr<INamed> named;
    ASSERT_EQ(named.create(CLSID_Thing), S_OK);
    const ComPtr<ICounted> counted = as<ICounted>(named.get());
    EXPECT_EQ(as<IUnknown>(named.get()).get(), as<IUnknown>(counted.get()).get());
    EXPECT_EQ(counted->AddRef(), 3u);
    EXPECT_EQ(named->Release(), 2u);
    int unset;
    void* none = &unset;
    EXPECT_EQ(counted->QueryInterface(iidOf<IClassFactory>, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(counted->QueryInterface(iidOf<IUnknown>, nullptr), E_POINTER);
    named.reset();
    LONG living = 0;
    EXPECT_EQ(counted->get_Living(&living), S_OK);
    EXPECT_EQ(living, 1);
}

TEST_F(Components, AreMadeByFactoriesThatHoldTheirModuleOnlyByLocks) {
    const LoadedModule module(first);
    ComPtr<IClassFactory> factory;
    void** const made = reinterpret_cast<void**>(factory.out());
    const auto getFactory = [&](const GUID& clsid, const GUID& iid, void** object) {
        return module.call<const GUID&, const GUID&, void**>("DllGetClassObject", clsid, iid,
                                                             object);
    };
    int unset;
    for (const auto& [clsid, iid, error] :
         {std::tuple(GUID{0xBAD, 0, 0, {}}, iidOf<IClassFactory>, CLASS_E_CLASSNOTAVAILABLE),
          std::tuple(CLSID_Thing, iidOf<INamed>, E_NOINTERFACE)}) {
        void* none = &unset;
        EXPECT_EQ(getFactory(clsid, iid, &none), error);
        EXPECT_EQ(none, nullptr);
        EXPECT_EQ(getFactory(clsid, iid, nullptr), E_POINTER);
    }
    ASSERT_EQ(getFactory(CLSID_Thing, iidOf<IClassFactory>, made), S_OK);
    EXPECT_EQ(factory->CreateInstance(nullptr, iidOf<INamed>, nullptr), E_POINTER);
    for (const bool lock : {true, false}) {
        EXPECT_EQ(factory->LockServer(lock), S_OK);
        EXPECT_EQ(module.call("DllCanUnloadNow"), lock ? S_FALSE : S_OK);
    }
}

/// A whole that is made of one part, and only counts.
struct Whole final : IUnknown {
    HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
        if (!(iid == iidOf<IUnknown>)) return part->QueryInterface(iid, object);
        *object = this;
        ++count;
        return S_OK;
    }
    ULONG AddRef() noexcept override { return ++count; }
    ULONG Release() noexcept override { return --count; }

    ULONG count = 1;
    ComPtr<IUnknown> part;
};

TEST_F(Components, BecomePartsOfAnotherObject) {
    Whole whole;
    const auto makePart = [&](const GUID& clsid, const GUID& iid = iidOf<IUnknown>) {
        return CoCreateInstance(clsid, &whole, CLSCTX_ALL, iid,
                                reinterpret_cast<void**>(whole.part.out()));
    };
    EXPECT_EQ(makePart(CLSID_Thing, iidOf<ICounted>), CLASS_E_NOAGGREGATION);
    EXPECT_FALSE(whole.part);
    EXPECT_EQ(makePart(CLSID_Starved), E_OUTOFMEMORY);
    ASSERT_EQ(makePart(CLSID_Thing), S_OK);
    EXPECT_EQ(whole.count, 1u) << "the part holds no reference to its owner";

    ComPtr<ICounted> counted = as<ICounted>(&whole);
    EXPECT_EQ(whole.count, 2u) << "a reference to the part is one to the whole";
    EXPECT_EQ(as<IUnknown>(counted.get()).get(), &whole);
    EXPECT_EQ(as<IUnknown>(whole.part.get()).get(), whole.part.get()) << "its owner alone sees it";
    EXPECT_EQ(whole.count, 2u);
    CoFreeUnusedLibraries();
    EXPECT_TRUE(isLoaded(first)) << "a part is a lock of its module";
    counted.reset();
    EXPECT_EQ(whole.count, 1u);
    whole.part.reset();
    CoFreeUnusedLibraries();
    EXPECT_FALSE(isLoaded(first));
}

TEST_F(Components, MayMakeOthersInTheirConstructor) {
    EXPECT_EQ(newName(CLSID_Maker), "first");
    // Also where the second class of the module is loaded from within the first one's making, and
    // where that fails.
    LoadedModule(first).call("DllUnregisterServer");
    CoFreeUnusedLibraries();
    registerModule(first);
    RegDeleteTreeW(HKEY_CLASSES_ROOT, (u"CLSID\\" + idText(CLSID_Thing)).c_str());
    EXPECT_EQ(newName(CLSID_Maker), std::to_string(E_FAIL));
}

TEST_F(Components, MayBeMadeByAllThreadsWhileOneUnloads) {
    std::atomic<int> running{3};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&, i] {
            for (int n = 0; n < 300; ++n)
                if (newName(i ? CLSID_Maker : CLSID_Thing) != "first") ++failures;
            --running;
        });
    while (running) CoFreeUnusedLibraries();
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
}

TEST_F(Components, MayBeMadeByAChildForkedWhileAnotherThreadUnloads) {
    ComPtr<INamed> kept;
    ASSERT_EQ(kept.create(CLSID_Thing), S_OK);
    std::atomic<bool> stop = false;
    std::thread unloader([&] {
        while (!stop) CoFreeUnusedLibraries();
    });
    int status = 0;
    for (int round = 0; round < 100 && status == 0; ++round)
        status = forked([] { return newName(CLSID_Thing) != "first"; });
    EXPECT_EQ(status, 0);
    stop = true;
    unloader.join();
}

DWORD ticks = 0xFFFFFF00;  // soon to wrap around

TEST_F(Components, OfOtherThreadsStayForTenSecondsOfIdleness) {
    setTestClock({[] { return ticks; }, nullptr});
    const auto useElsewhere = [] { std::thread([] { newName(CLSID_Thing); }).join(); };
    const auto goneAfter = [](DWORD milliseconds) {
        ticks += milliseconds;
        CoFreeUnusedLibraries();
        return !isLoaded(first);
    };
    useElsewhere();
    EXPECT_FALSE(goneAfter(20'000)) << "found idle for the first time";
    EXPECT_FALSE(goneAfter(9'999));
    useElsewhere();
    EXPECT_FALSE(goneAfter(1)) << "idle all the while, but used";
    EXPECT_FALSE(goneAfter(9'999));
    ComPtr<INamed> object;
    object.create(CLSID_Thing);
    EXPECT_FALSE(goneAfter(1));
    EXPECT_FALSE(goneAfter(10'000));
    object.reset();
    EXPECT_FALSE(goneAfter(10'000)) << "found idle for the first time again";
    EXPECT_TRUE(goneAfter(10'000));
    setTestClock({});
}

ZLK_CHILD(saysWhoseThingItIs) {
    child.say(newName(CLSID_Thing));
    return 0;
}

TEST_F(Components, AreFoundAnewByNewProcessesOnceRegisteredElsewhere) {
    EXPECT_EQ(newName(CLSID_Thing), "first");
    ASSERT_EQ(registerModule(second), S_OK);
    EXPECT_EQ(ChildProcess("saysWhoseThingItIs").hear(), "second");
    EXPECT_EQ(newName(CLSID_Thing), "first") << "this process keeps what it has loaded";
    CoFreeUnusedLibraries();
    EXPECT_FALSE(isLoaded(first)) << "the kept factory is no lock";
    EXPECT_EQ(newName(CLSID_Thing), "second") << "until it lets go of it";
}

TEST_F(Components, RegisterUnderAPathWithAnythingInIt) {
    const fs::path folder = newFolder() / "it's 100% {a} \"test\"";
    fs::create_directory(folder);
    fs::copy_file(second, folder / "second.so");
    ASSERT_EQ(registerModule(folder / "second.so"), S_OK);
    const RegistryKey key =
        openKey(HKEY_CLASSES_ROOT, u"CLSID\\" + idText(CLSID_Thing) + u"\\InprocServer32");
    EXPECT_EQ(text(key.get(), nullptr), folder / "second.so");
    EXPECT_EQ(newName(CLSID_Thing), "second");
}

}  // namespace
}  // namespace zlk::test
