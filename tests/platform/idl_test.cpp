// The generator of the interfaces' header, as the build runs it. That its output compiles and
// means what it says is shown by all that includes ZlkCamTr.h.

#include <gmock/gmock.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

using ::testing::HasSubstr;

const std::string head = "[object, uuid(A1B0C008-7E11-4A08-9C08-0000000000A8)]\n";
const std::string library = "[uuid(A1B0C000-7E11-4A00-9C00-0000000000A0)] library Lib { };\n";

const std::string custom = head + "interface I : IUnknown {\n", end = "\n};\n" + library;
const std::string dual =
    "[dual, object, uuid(A1B0C008-7E11-4A08-9C08-0000000000A8)]\ninterface I : IDispatch {\n";

ProgramResult generate(const std::string& text, const std::filesystem::path& header) {
    const auto source = header.parent_path() / "Test.idl";
    writeFile(source, text);
    return runProgram({programFolder() / "zlk-idl", source, header, header.string() + ".tlb"});
}

TEST(InterfaceHeader, HasTheMethodsInOrderWithTheirComments) {
    const auto header = newFolder() / "Test.h";
    const ProgramResult run =
        generate("/* a\n * licence */ // and a remark\n/// Says things.\n" + dual + R"(
    /// Reads it.
    ///
    /// Slowly.
    [propget, id(1)] HRESULT Word([out, retval] BSTR* val);
    [propput, id(1)] HRESULT Word([in] BSTR val);
    [id(2), helpstring("a \ text; [any]")]
    HRESULT Say([in] VARIANT* to, [in] long times, [out] short* done);)" +
                     end,
                 header);
    ASSERT_EQ(run.status, 0) << run.error;
    EXPECT_THAT(readFile(header), HasSubstr(R"(/// Says things.
struct I : IDispatch {
    /// Reads it.
    ///
    /// Slowly.
    virtual HRESULT get_Word(BSTR* val) noexcept = 0;
    virtual HRESULT put_Word(BSTR val) noexcept = 0;
    virtual HRESULT Say(VARIANT* to, LONG times, SHORT* done) noexcept = 0;
)"));
}

TEST(InterfaceHeader, IsRefusedWithLineAndReason) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "1: a file without a library"},
        {"\n\ntypedef int x;", "3: [ expected"},
        {"/* no end", "1: a comment that doesn't end"},
        {"[helpstring(\"no end\n\")]", "1: a text that doesn't end on its line"},
        {"[uuid(A1B0C008-7E11-4A08-9C08-0000000000A)]", "1: an id has the form 8-4-4-4-12"},
        {"[object]\ninterface I : IUnknown { };", "2: attribute uuid is missing"},
        {"[object, local]", "1: attribute local isn't known here"},
        {head + "interface I : IUnknown { };" + library + library, "3: an id that stands twice"},
        {custom + "[propget] HRESULT P([in] BSTR v);" + end, "3: a property has one parameter"},
        {dual + "[id(1)] HRESULT M();\n[id(1)] HRESULT N();" + end, "4: N shares its name or id"},
        {dual + "[id(4294967296)] HRESULT M();" + end, "3: not a number in range"},
        {dual + "[id(1)] HRESULT M([in] int v);" + end, "3: type int isn't known"},
        {dual + "[id(1)] HRESULT M([out] BSTR v);" + end, "3: a pointer is due"},
        {dual + "[id(1)] HRESULT M([in] long v, [in] long v);" + end, "3: name v stands twice"},
        {dual + "[id(1)] HRESULT M([out, retval] long* v, [in] long w);" + end, "3: the retval"},
        {head + "interface I : IUnknown { };\n"
                "[uuid(A1B0C000-7E11-4A00-9C00-0000000000A0)] library L {\n"
                "[uuid(A1B0C001-7E11-4A01-9C01-0000000000A1)] coclass C {\n"
                "[default] interface J; }; };",
         "5: interface J isn't defined above"},
    };
    for (const auto& [text, error] : cases) {
        const auto header = newFolder() / "Test.h";
        const ProgramResult run = generate(text, header);
        EXPECT_EQ(run.status, 1) << text;
        EXPECT_THAT(run.error, HasSubstr(std::string("Test.idl:") + error)) << text;
        EXPECT_FALSE(exists(header)) << text;
    }
    EXPECT_EQ(
        runProgram({programFolder() / "zlk-idl", "/no/such.idl", "/no/such.h", "/no/such.tlb"})
            .status,
        1);
}

}  // namespace
}  // namespace zlk::test
