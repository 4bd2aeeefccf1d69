// The generator of the interfaces' header, as the build runs it. That its output compiles and
// means what it says is shown by all that includes ZlkCamTr.h.

#include <gmock/gmock.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

using ::testing::HasSubstr;

const std::string head = "[object, uuid(A1B0C008-7E11-4A08-9C08-0000000000A8)]\n";
const std::string dualHead = "[object, dual, uuid(A1B0C008-7E11-4A08-9C08-0000000000A8)]\n";
const std::string library = "[uuid(A1B0C000-7E11-4A00-9C00-0000000000A0)] library Lib { };\n";

struct Generated {
    ProgramResult run;
    std::string header;
};

Generated generate(const std::string& text) {
    const auto folder = newFolder();
    writeFile(folder / "Test.idl", text);
    Generated result{
        runProgram({programFolder() / "zlk-idl", folder / "Test.idl", folder / "Test.h"}), {}};
    if (exists(folder / "Test.h")) result.header = readFile(folder / "Test.h");
    return result;
}

TEST(InterfaceHeader, HasTheMethodsInOrderWithTheirComments) {
    const Generated result = generate(
        "/* a\n * licence */ // and a remark\n"
        "/// Says things.\n" +
        dualHead +
        "interface ISayer : IDispatch\n{\n"
        "    /// Reads it.\n    ///\n    /// Slowly.\n"
        "    [propget, id(1)] HRESULT Word([out, retval] BSTR* val);\n"
        "    [propput, id(1)] HRESULT Word([in] BSTR val);\n"
        "    [id(2), helpstring(\"a \\ text; [any]\")]\n"
        "    HRESULT Say([in] VARIANT* to, [in] long times, [out] short* done);\n};\n"
        "[uuid(A1B0C000-7E11-4A00-9C00-0000000000A0), version(1.2), lcid(0x409)]\n"
        "library Lib {\n    importlib(\"stdole2.tlb\");\n"
        "    [uuid(A1B0C001-7E11-4A01-9C01-0000000000A1)] coclass Sayer\n"
        "    { [default] interface ISayer; };\n};\n");
    ASSERT_EQ(result.run.status, 0) << result.run.error;
    EXPECT_THAT(result.header, HasSubstr(R"(/// Says things.
struct ISayer : IDispatch {
    /// Reads it.
    ///
    /// Slowly.
    virtual HRESULT get_Word(BSTR* val) noexcept = 0;
    virtual HRESULT put_Word(BSTR val) noexcept = 0;
    virtual HRESULT Say(VARIANT* to, LONG times, SHORT* done) noexcept = 0;

  protected:
    ~ISayer() = default;
};
template <>
inline constexpr GUID iidOf<ISayer>{0xA1B0C008, 0x7E11, 0x4A08, {0x9C, 0x08,)"));
    EXPECT_THAT(result.header, HasSubstr("GUID LIBID_Lib{0xA1B0C000,"));
    EXPECT_THAT(result.header, HasSubstr("GUID CLSID_Sayer{0xA1B0C001,"));
}

TEST(InterfaceHeader, IsRefusedWithLineAndReason) {
    struct Case {
        std::string text;
        const char* error;
    };
    const std::string custom = head + "interface I : IUnknown {\n", end = "\n};\n" + library;
    const std::string dual = dualHead + "interface I : IDispatch {\n";
    const Case cases[] = {
        {"", "1: a file without a library"},
        {"\n\ntypedef int x;", "3: [ expected"},
        {"/* no end", "1: a comment that doesn't end"},
        {"[helpstring(\"no end\n\")]", "1: a text that doesn't end on its line"},
        {"[uuid(A1B0C008-7E11-4A08-9C08-0000000000A)]", "1: an id has the form 8-4-4-4-12"},
        {"[uuid(A1B0C008-7E11-4A08-9C08-0000000000A80)]", "1: an id has the form 8-4-4-4-12"},
        {"[object]\ninterface I : IUnknown { };", "2: attribute uuid is missing"},
        {"[object, local]", "1: attribute local isn't known here"},
        {"[object, object]", "1: attribute object stands twice"},
        {head + "interface I : IDispatch { };", "2: IUnknown expected"},
        {head + "interface I : IUnknown { };" + library + library, "3: an id that stands twice"},
        {custom + "[propget] HRESULT P([in] BSTR v);" + end, "3: a property has one parameter"},
        {custom + "[id(1)] HRESULT M();" + end, "3: a method has an id in a dual interface"},
        {dual + "[helpstring(\"x\")] HRESULT M();" + end, "3: a method has an id"},
        {dual + "[id(1)] HRESULT M();\n[id(1)] HRESULT N();" + end, "4: N shares its name or id"},
        {dual + "[id(1)] HRESULT M();\n[id(2)] HRESULT M();" + end, "4: M shares its name or id"},
        {dual + "[id(4294967296)] HRESULT M();" + end, "3: not a number in range"},
        {dual + "[id(1)] HRESULT M([in] int v);" + end, "3: type int isn't known"},
        {dual + "[id(1)] HRESULT M([out] BSTR v);" + end, "3: a pointer is due"},
        {dual + "[id(1)] HRESULT M([in] long v, [in] long v);" + end, "3: name v stands twice"},
        {dual + "[id(1)] HRESULT M([out, retval] long* v, [in] long w);" + end, "3: the retval"},
        {dual + "[id(1)] HRESULT M([in, out] long* v);" + end, "3: a parameter is in or out"},
        {head + "interface I : IUnknown { };\n"
                "[uuid(A1B0C000-7E11-4A00-9C00-0000000000A0)] library L {\n"
                "[uuid(A1B0C001-7E11-4A01-9C01-0000000000A1)] coclass C {\n"
                "[default] interface J; }; };",
         "5: interface J isn't defined above"},
    };
    for (const Case& c : cases) {
        const Generated result = generate(c.text);
        EXPECT_EQ(result.run.status, 1) << c.text;
        EXPECT_THAT(result.run.error, HasSubstr(std::string("Test.idl:") + c.error)) << c.text;
        EXPECT_EQ(result.header, "") << c.text;
    }
    EXPECT_EQ(runProgram({programFolder() / "zlk-idl", "/no/such.idl", "/no/such.h"}).status, 1);
}

}  // namespace
}  // namespace zlk::test
