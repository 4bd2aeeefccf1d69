// Calls by name, as a script makes them that knows nothing but a ProgID.

#include <gmock/gmock.h>

#include <cstring>

#include "ZlkCamTr.h"
#include "platform/component_object.h"
#include "platform/text.h"
#include "platform/type_library.h"
#include "tests/platform/CardFolder.h"
#include "tests/platform/Variants.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

using testing::HasSubstr;

/// What a call gave.
struct Answer {
    HRESULT result;
    Variant value;
    HRESULT failure = S_OK;  ///< of the member itself
    UINT argument = 99;      ///< the one that is to blame

    std::u16string text() const {
        return value->vt == VT_BSTR ? std::u16string(value->bstrVal, SysStringLen(value->bstrVal))
                                    : u"no text";
    }
};

/// A machine on which the module is registered, and the calls of a script on it.
class Script : public testing::Test {
  protected:
    Script() { registerModules(); }

    static ComPtr<IDispatch> create(const WCHAR* progId) {
        ComPtr<IDispatch> object;
        EXPECT_EQ(object.create(progId), S_OK);
        return object;
    }

    static DISPID idOf(const ComPtr<IDispatch>& object, const WCHAR* name) {
        DISPID id = 0;
        std::u16string spelled = name;
        WCHAR* names[] = {spelled.data()};
        EXPECT_EQ(object->GetIDsOfNames(GUID{}, names, 1, 0x409, &id), S_OK) << utf8Text(name);
        return id;
    }

    /// The arguments stand in the order of a call, and stay the caller's.
    static Answer call(const ComPtr<IDispatch>& object, const WCHAR* name,
                       std::vector<VARIANT> arguments = {},
                       WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET) {
        std::reverse(arguments.begin(), arguments.end());
        DISPID put = DISPID_PROPERTYPUT;
        const bool isPut = flags == DISPATCH_PROPERTYPUT;
        DISPPARAMS parameters{arguments.data(), isPut ? &put : nullptr,
                              static_cast<UINT>(arguments.size()), isPut ? 1u : 0u};
        Answer answer{.result = S_OK, .value = {}};
        EXCEPINFO exception;
        answer.result = object->Invoke(idOf(object, name), GUID{}, 0x409, flags, &parameters,
                                       answer.value.get(), &exception, &answer.argument);
        if (answer.result == DISP_E_EXCEPTION) {
            answer.failure = exception.scode;
            SysFreeString(exception.bstrSource);
            SysFreeString(exception.bstrDescription);
        }
        return answer;
    }

    // The classes that were used keep their module loaded, and with it the table of cameras, which
    // is made for the life of the process.
    LoadedModule module_{moduleFolder() / "ZlkCamTr.so"};
};

VARIANT text(const Bstr& value) {
    return pointer(VT_BSTR, value.get());
}

const VARIANT null = pointer(VT_NULL, nullptr), missing = number(VT_ERROR, DISP_E_PARAMNOTFOUND);

TEST_F(Script, ReadsAndWritesPropertiesAndCallsMethods) {
    const auto list = create(u"ZlkCamTr.DeviceList");
    const Answer devices = call(list, u"unloaddevices");
    EXPECT_EQ(devices.result, S_OK);
    EXPECT_THAT(utf8Text(devices.text()), HasSubstr("devices"));

    const auto camera = create(u"ZlkCamTr.UnloadableCamera");
    EXPECT_EQ(call(camera, u"ErrorCode").value->lVal, 0);
    const Answer refused = call(camera, u"UnlockDevice");
    EXPECT_EQ(refused.result, DISP_E_EXCEPTION);
    EXPECT_EQ(refused.failure, E_FAIL);
    EXPECT_EQ(refused.value->vt, VT_EMPTY);
    EXPECT_EQ(call(camera, u"ErrorCode").value->lVal, 3) << "no device is held";

    const Bstr date(u"<time>01/02/2026 03:04:05</time>");
    const Answer put = call(camera, u"DeviceDate", {text(date)}, DISPATCH_PROPERTYPUT);
    EXPECT_EQ(put.failure, E_FAIL);
    EXPECT_EQ(call(camera, u"SupportedDialogs").value->vt, VT_UI4);
    const auto share = create(u"ZlkCamTr.SPostDevice");
    EXPECT_EQ(call(share, u"HasPassword").failure, E_NOTIMPL);
}

TEST_F(Script, GivesOutParametersToReferences) {
    const auto utils = create(u"ZlkCamTr.DeviceUtils");
    const Bstr id(u"#Zephyr-Lanthorn#Cam539#0000");
    const auto ask = [&](const WCHAR* member, const VARIANT& target) {
        return call(utils, member, {text(id), target}).result;
    };
    BSTR name = SysAllocString(u"what stood there before");
    EXPECT_EQ(ask(u"MapContextId", reference(VT_BSTR, &name)), S_OK);
    EXPECT_EQ(std::u16string_view(name), id.view());
    SysFreeString(name);

    Variant any{Bstr(u"a script's variable")};
    EXPECT_EQ(ask(u"MapContextId", reference(VT_VARIANT, any.get())), S_OK);
    EXPECT_EQ(any->vt, VT_BSTR);
    LONG timeout = -1;
    EXPECT_EQ(ask(u"ContextIdToFileEnumTimeout", reference(VT_INT, &timeout)), S_OK);
    EXPECT_GE(timeout, 0);
    EXPECT_EQ(call(utils, u"AllowDeleteForContextId", {text(id)}).value->vt, VT_I2);

    // What can't take a text, and what isn't there.
    EXPECT_EQ(call(utils, u"MapContextId", {text(id), text(id)}).argument, 0u);
    EXPECT_EQ(ask(u"MapContextId", text(id)), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(ask(u"MapContextId", reference(VT_I4, &timeout)), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(ask(u"MapContextId", reference(VT_BSTR, nullptr)), E_POINTER);
}

TEST_F(Script, ConvertsArgumentsAndSaysWhichOneItCannot) {
    const auto camera = create(u"ZlkCamTr.UnloadableCamera");
    const Bstr seven(u" 7 "), word(u"seven");
    EXPECT_EQ(call(camera, u"ShowDialog", {text(seven)}).failure, E_FAIL) << "it is called";
    EXPECT_EQ(call(camera, u"ShowDialog", {text(word)}).result, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(call(camera, u"ShowDialog", {number(VT_I4, -1)}).result, DISP_E_OVERFLOW);
    EXPECT_EQ(call(camera, u"DeleteFileW", {number(VT_I4, 12)}).failure, E_FAIL)
        << "a number for a text";
    const Answer saved = call(camera, u"SaveThumbnail", {null, text(word)});
    EXPECT_EQ(saved.result, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(saved.argument, 1u) << "the last argument has the place 0";
    EXPECT_EQ(call(camera, u"DeleteFileW", {missing}).result, DISP_E_PARAMNOTOPTIONAL);
}

TEST_F(Script, TakesArgumentsByName) {
    const auto camera = create(u"ZlkCamTr.UnloadableCamera");
    std::u16string words[] = {u"savethumbnail", u"FILENAME", u"Id", u"size"};
    WCHAR* names[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data()};
    DISPID ids[4];
    EXPECT_EQ(camera->GetIDsOfNames(GUID{}, names, 4, 0, ids), DISP_E_UNKNOWNNAME);
    EXPECT_THAT(ids, testing::ElementsAre(15, 1, 0, DISPID_UNKNOWN));
    const Bstr value(u"a");
    VARIANT arguments[] = {text(value), null};
    DISPID places[] = {1, 0};
    UINT wrong = 99;
    const auto invoke = [&](DISPPARAMS parameters) {
        return camera->Invoke(15, GUID{}, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                              &wrong);
    };
    EXPECT_EQ(invoke({arguments, places, 2, 2}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(wrong, 1u) << "the one named id";
    places[1] = 1;
    EXPECT_EQ(invoke({arguments, places, 2, 2}), DISP_E_PARAMNOTFOUND) << "twice the same";
    for (const DISPID outside : {2, 7}) {
        places[1] = outside;
        EXPECT_EQ(invoke({arguments, places, 2, 2}), DISP_E_PARAMNOTFOUND) << outside;
    }
    EXPECT_EQ(invoke({arguments, places, 2, 3}), E_INVALIDARG);
    EXPECT_EQ(invoke({arguments, nullptr, 2, 1}), E_INVALIDARG);
    EXPECT_EQ(invoke({nullptr, nullptr, 2, 0}), E_INVALIDARG);
}

TEST_F(Script, IsToldWhatIsWrongWithACall) {
    const auto camera = create(u"ZlkCamTr.UnloadableCamera");
    WCHAR name[] = u"Explode";
    WCHAR* names[] = {name};
    DISPID id = 5;
    EXPECT_EQ(camera->GetIDsOfNames(GUID{}, names, 1, 0, &id), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(id, DISPID_UNKNOWN);
    EXPECT_EQ(camera->GetIDsOfNames(GUID{}, nullptr, 1, 0, &id), E_INVALIDARG);
    names[0] = nullptr;
    EXPECT_EQ(camera->GetIDsOfNames(GUID{}, names, 1, 0, &id), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(camera->GetIDsOfNames(iidOf<IUnknown>, names, 1, 0, &id), DISP_E_UNKNOWNINTERFACE);

    const VARIANT one = number(VT_I4, 1);
    EXPECT_EQ(call(camera, u"UnlockDevice", {one}).result, DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(call(camera, u"DeleteFileW").result, DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(call(camera, u"ErrorCode", {one}, DISPATCH_PROPERTYPUT).result, DISP_E_MEMBERNOTFOUND)
        << "it can only be read";
    DISPPARAMS none{};
    const auto invoke = [&](DISPID member, const GUID& reserved, DWORD locale, WORD flags,
                            DISPPARAMS* parameters) {
        return camera->Invoke(member, reserved, locale, flags, parameters, nullptr, nullptr,
                              nullptr);
    };
    EXPECT_EQ(invoke(11, GUID{}, 0x407, DISPATCH_PROPERTYGET, &none), S_OK)
        << "in any language, and nobody wants the result";
    EXPECT_EQ(invoke(11, GUID{}, 0xFFFFFFFF, DISPATCH_PROPERTYGET, &none), DISP_E_UNKNOWNLCID);
    EXPECT_EQ(invoke(11, iidOf<IUnknown>, 0, DISPATCH_PROPERTYGET, &none), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(invoke(11, GUID{}, 0, DISPATCH_PROPERTYGET, nullptr), E_INVALIDARG);
    EXPECT_EQ(invoke(3, GUID{}, 0, DISPATCH_METHOD, nullptr), E_INVALIDARG);
    EXPECT_EQ(invoke(99, GUID{}, 0, DISPATCH_METHOD, &none), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(invoke(11, GUID{}, 0, 0, &none), DISP_E_MEMBERNOTFOUND);

    // Whatever it is, the result is then a value that can be cleared, and there is no exception.
    VARIANT notProgress = number(VT_I4, 5);
    DISPPARAMS transfer{&notProgress, nullptr, 1, 0};
    for (const DWORD locale : {0u, 0xFFFFFFFFu}) {
        VARIANT result;
        EXCEPINFO exception;
        std::memset(&result, 0xA5, sizeof result);
        std::memset(&exception, 0xA5, sizeof exception);
        EXPECT_TRUE(FAILED(camera->Invoke(3, GUID{}, locale, DISPATCH_METHOD, &transfer, &result,
                                          &exception, nullptr)));
        EXPECT_EQ(result.vt, VT_EMPTY);
        EXPECT_EQ(exception.bstrDescription, nullptr);
    }

    ComPtr<ITypeInfo> info;
    EXPECT_EQ(camera->GetTypeInfo(1, 0, info.out()), DISP_E_BADINDEX);
    EXPECT_EQ(camera->GetTypeInfo(0, 0, nullptr), E_POINTER);
    EXPECT_EQ(camera->GetTypeInfoCount(nullptr), E_POINTER);
}

TEST_F(Script, MayKeepADescriptionLongerThanTheModule) {
    ComPtr<ITypeInfo> info;
    auto camera = create(u"ZlkCamTr.UnloadableCamera");
    ASSERT_EQ(camera->GetTypeInfo(0, 0, info.out()), S_OK);
    camera.reset();
    module_.release();
    CoFreeUnusedLibraries();
    ASSERT_FALSE(isLoaded(moduleFolder() / "ZlkCamTr.so"));
    Bstr name;
    EXPECT_EQ(info->GetDocumentation(3, name.out(), nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(name.view(), u"GetFileInfo");
}

/// An object with `UpdateProgress`, and what it is asked and answers.
class Watcher : public IProgressCallback {
  public:
    using Interfaces = InterfaceList<IProgressCallback>;
    HRESULT UpdateProgress(LONG percent) noexcept override {
        last = percent;
        ++calls;
        return answer;
    }
    static inline int calls = 0, living = 0;
    static inline LONG last = -1;
    static inline HRESULT answer = S_OK;

  protected:
    Watcher() { ++living; }
    ~Watcher() { --living; }
};

/// The same for a script's object, which has a name for it and no interface.
class NamedWatcher : public IDispatch {
  public:
    using Interfaces = InterfaceList<IDispatch>;
    HRESULT GetTypeInfoCount(UINT*) noexcept override { return E_NOTIMPL; }
    HRESULT GetTypeInfo(UINT, DWORD, ITypeInfo**) noexcept override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(const GUID&, WCHAR** names, UINT, DWORD, DISPID* ids) noexcept override {
        ids[0] = 77;
        return std::u16string_view(names[0]) == u"UpdateProgress" ? S_OK : DISP_E_UNKNOWNNAME;
    }
    HRESULT Invoke(DISPID id, const GUID&, DWORD, WORD, DISPPARAMS* parameters, VARIANT* result,
                   EXCEPINFO*, UINT*) noexcept override {
        EXPECT_EQ(id, 77);
        Watcher::last = parameters->rgvarg[0].lVal;
        ++Watcher::calls;
        if (result) *result = given;
        return Watcher::answer;
    }
    static inline VARIANT given{};

  protected:
    NamedWatcher() { ++Watcher::living; }
    ~NamedWatcher() { --Watcher::living; }
};

template <class Made>
ComPtr<IUnknown> make() {
    ComPtr<IUnknown> made;
    EXPECT_EQ(createObject<Made>(nullptr, iidOf<IUnknown>, reinterpret_cast<void**>(made.out())),
              S_OK);
    return made;
}

/// A card that is mounted and claimed, with one file that is large enough to be stopped.
class Transfer : public Script {
  protected:
    static constexpr std::size_t size = 12 << 20;

    Transfer() {
        std::filesystem::create_directory(card_.folder / "DCIM");
        writeFile(card_.folder / "DCIM/A.JPG", std::string(size, 'x'));
        claim();
    }

    /// With an object whose first report is still to come: that one is never held back.
    void claim() {
        camera_ = create(u"ZlkCamTr.UnloadableCamera");
        const Bstr id(std::u16string(u"#Zephyr-Lanthorn#RemovableDrive#") + card_.mount.letter);
        EXPECT_EQ(call(camera_, u"LockDevice", {text(id)}).result, S_OK);
    }

    Answer copy(const VARIANT& progress) {
        std::filesystem::remove(target_);
        const Bstr id(card_.path(u"DCIM\\A.JPG")), target(pathText(target_));
        return call(camera_, u"SaveFileData", {text(id), text(target), progress});
    }
    std::size_t copied() const { return std::filesystem::file_size(target_); }

    const Card card_;
    const std::filesystem::path target_ = newFolder() / "copy";
    ComPtr<IDispatch> camera_;
};

TEST_F(Transfer, ReportsToAnObjectHoweverItIsWrapped) {
    ComPtr<IUnknown> watcher = make<Watcher>(), named = make<NamedWatcher>();
    IUnknown* raw = watcher.get();
    VARIANT held = pointer(VT_UNKNOWN, raw), script = pointer(VT_DISPATCH, named.get());
    for (const VARIANT& progress : {held, script, reference(VT_UNKNOWN, &raw),
                                    reference(VT_VARIANT, &held), reference(VT_VARIANT, &script)}) {
        Watcher::calls = 0;
        EXPECT_EQ(copy(progress).result, S_OK) << progress.vt;
        EXPECT_GT(Watcher::calls, 0) << progress.vt;
        EXPECT_EQ(Watcher::last, 100) << progress.vt;
        EXPECT_EQ(copied(), size);
    }
    EXPECT_EQ(call(camera_, u"GetFileInfo", {held}).value->vt, VT_BSTR);
    watcher.reset();
    named.reset();
    EXPECT_EQ(Watcher::living, 0) << "nobody keeps them";
}

TEST_F(Transfer, NeedsNobodyToReportTo) {
    VARIANT empty{};
    for (const VARIANT& progress :
         {empty, null, pointer(VT_UNKNOWN, nullptr), pointer(VT_DISPATCH, nullptr), missing,
          reference(VT_VARIANT, &empty)}) {
        EXPECT_EQ(copy(progress).result, S_OK) << progress.vt;
        EXPECT_EQ(copied(), size);
    }
    // What isn't such an object is told, and nothing is emptied.
    ComPtr<IUnknown> list;
    ASSERT_EQ(list.create(u"ZlkCamTr.DeviceList"), S_OK);
    for (const VARIANT& progress : {number(VT_I4, 5), pointer(VT_UNKNOWN, list.get())}) {
        const Answer refused = copy(progress);
        EXPECT_EQ(refused.result, DISP_E_TYPEMISMATCH);
        EXPECT_EQ(refused.argument, 0u);
        EXPECT_FALSE(std::filesystem::exists(target_));
    }
}

TEST_F(Transfer, IsStoppedByAnObjectThatSaysNo) {
    ComPtr<IUnknown> named = make<NamedWatcher>();
    const VARIANT progress = pointer(VT_DISPATCH, named.get());
    const struct {
        VARIANT given;
        bool stops;
        HRESULT result = S_OK;
    } answers[] = {{{}, false},
                   {number(VT_BOOL, VARIANT_TRUE), false},
                   {number(VT_BOOL, VARIANT_FALSE), true},
                   {number(VT_I4, S_FALSE), true},
                   {real(1), true},  // the numbers of some scripts are all of this type
                   {real(0), false},
                   {{}, true, DISP_E_EXCEPTION}};
    for (const auto& [given, stops, result] : answers) {
        NamedWatcher::given = given;
        Watcher::answer = result;
        camera_.reset();
        claim();
        EXPECT_EQ(copy(progress).result, S_OK) << "a stop is no failure";
        EXPECT_EQ(copied() < size, stops) << given.vt << ", " << result;
    }
    named.reset();
    EXPECT_EQ(Watcher::living, 0);
}

}  // namespace
}  // namespace zlk::test
