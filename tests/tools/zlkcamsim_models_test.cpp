// What the virtual camera's objects are, and the habits of the models that it plays.

#include <ranges>

#include "tests/support/ChildProcess.h"
#include "tests/tools/CameraTest.h"

namespace zlk::camsim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(CameraTest, WritesWhatIsSentInsideOfItsFolder) {
    openSession();
    // An ObjectInfo of five bytes named `../x`.
    const std::string info = "00000000 0030 0000 05000000" + std::string(2 * 40, '0') +
                             "05 2e002e002f0078000000 00 00 00";
    send("14000000 0100 0c10 01000000 00000000 00000000");
    send("4e000000 0200 0c10 01000000" + info);
    EXPECT_EQ(receive(), hexOf(hex("18000000 0300 0120 01000000 01000100 ffffffff 01000000")));
    send("0c000000 0100 0d10 02000000");
    EXPECT_EQ(camera->out(hex("11000000 0200 0d10 0200"), false), PipeAnswer::Accepted);
    EXPECT_EQ(camera->out(hex("0000 68656c6c6f"), true), PipeAnswer::Accepted);
    EXPECT_EQ(receive(), "0c0000000300012002000000");
    EXPECT_EQ(test::readFile(card / "_._x"), "hello");
    EXPECT_THAT(violations(), IsEmpty());

    // Data with another code, another id, and less than announced.
    send("0c000000 0100 0d10 03000000");
    send("11000000 0200 0c10 04000000 6865");
    EXPECT_EQ(receive(), "0c0000000300152003000000");
    EXPECT_THAT(violations(), ElementsAre(HasSubstr("code 0x100C"), HasSubstr("id 4"),
                                          HasSubstr("17 bytes, 14 came")));
}

TEST_F(CameraTest, ShowsTheThumbnailThatAPictureCarries) {
    const auto pictures = test::newFolder();
    const auto made =
        test::runProgram({test::programFolder() / "zlk-samplecard", pictures, "--pictures", "1"});
    ASSERT_EQ(made.status, 0) << made.error;
    openSession();
    tell("add file=" + (pictures / "DCIM/100CAM/PICT0001.JPG").string());
    const Bytes info = hex(ask("10000000 0100 0810 01000000 01000000"));
    receive();
    const std::uint64_t thumbSize = loadNumber(ByteView(info).subspan(12 + 14), 4);
    EXPECT_EQ(loadNumber(ByteView(info).subspan(12 + 18), 4), 160u);
    EXPECT_EQ(loadNumber(ByteView(info).subspan(12 + 22), 4), 120u);
    EXPECT_EQ(loadNumber(ByteView(info).subspan(12 + 26), 4), 2048u);
    const Bytes thumbnail = hex(ask("10000000 0100 0a10 02000000 01000000"));
    EXPECT_EQ(thumbnail.size(), 12 + thumbSize);
    EXPECT_EQ(hexOf(ByteView(thumbnail).subspan(12, 2)), "ffd8");
    EXPECT_EQ(hexOf(ByteView(thumbnail).last(2)), "ffd9");
    receive();
    EXPECT_EQ(ask("10000000 0100 0a10 03000000" + addFile(100)), "0c0000000300102003000000");
}

// A picture's file may become shorter after its thumbnail was found.
TEST(Payload, GivesNoMoreThanItHas) {
    EXPECT_EQ(Payload::of(Bytes(4)).part(2, 9).bytes.size(), 2u);
    EXPECT_EQ(Payload::of(Bytes(4)).part(9, 1).bytes.size(), 0u);
}

TEST_F(CameraTest, BelievesATesterWhateverHeMakes) {
    openSession();
    EXPECT_EQ(tell("add random=3 name=%2F..%u0001%uD800 size=0xffffffff parent=self"), "ok 1");
    const Bytes info = hex(ask("10000000 0100 0810 01000000 01000000"));
    receive();
    EXPECT_EQ(loadNumber(ByteView(info).subspan(12 + 8), 4), 0xFFFFFFFF);
    EXPECT_EQ(loadNumber(ByteView(info).subspan(12 + 38), 4), 1u);
    EXPECT_EQ(hexOf(ByteView(info).subspan(12 + 52, 13)),
              hexOf(hex("06 2f00 2e00 2e00 0100 00d8 0000")));
    EXPECT_EQ(ask("10000000 0100 0910 02000000 01000000").size(), 2 * (12u + 3));
    receive();
    tell("add random=1 format=0x3001 parent=3");
    tell("add random=1 format=0x3001 parent=2");
    EXPECT_EQ(ask("10000000 0100 0b10 03000000 02000000"), "0c0000000300012003000000");
    EXPECT_EQ(camera->store().objects().size(), 1u);
    EXPECT_THAT(tell("add random=x"), HasSubstr("error"));

    tell("add random=3 name=A date=20480000T000000");
    tell("add random=3 name=B date=");
    const std::string dated = ask("10000000 0100 0810 04000000 04000000");
    receive();
    const std::string text =
        hexOf(hex("10 3200300034003800300030003000300054003000300030003000300030000000"));
    EXPECT_TRUE(dated.ends_with(text + text + "00")) << dated;
    EXPECT_TRUE(ask("10000000 0100 0810 05000000 05000000").ends_with("0242000000000000"));
}

TEST_F(CameraTest, DeletesAFolderAndAllThatLiesInItAtOnce) {
    openSession();
    const std::string folder = tell("add random=0 name=D format=0x3001").substr(3);
    tell("add random=3 name=A parent=" + folder);
    EXPECT_EQ(ask("14000000 0100 0b10 01000000 ffffffff 00000000"), "0c0000000300012001000000");
    EXPECT_THAT(camera->store().objects(), IsEmpty());
}

TEST_F(CameraTest, OfModel476HasWhatItDeletesUntilItsEventIsFetched) {
    const std::string count = "18000000 0100 0610 ", everywhere = " ffffffff 00000000 00000000";
    const auto counted = [](const std::string& id, const std::string& objects) {
        return hexOf(hex("10000000 0300 0120 " + id + objects));
    };
    setUpModel("476");
    const std::string first = addFile(1), second = addFile(1);
    EXPECT_EQ(camera->interrupt(64).bytes.size(), 16u);
    EXPECT_EQ(camera->interrupt(64).bytes.size(), 16u);
    EXPECT_EQ(ask("10000000 0100 0b10 01000000" + first), "0c0000000300012001000000");
    EXPECT_EQ(ask(count + "02000000" + everywhere), counted("02000000", "02000000"));
    EXPECT_EQ(hexOf(camera->interrupt(64).bytes),
              hexOf(hex("10000000 0400 0340 01000000" + first)));
    EXPECT_EQ(ask(count + "03000000" + everywhere), counted("03000000", "01000000"));

    // Without events, or without anybody to fetch them, nothing stays for ever.
    ask("10000000 0100 0b10 04000000" + second);
    EXPECT_EQ(camera->store().objects().size(), 1u);
    camera->busReset();
    EXPECT_THAT(camera->store().objects(), IsEmpty());
    openSession();
    tell("events off");
    ask("10000000 0100 0b10 01000000" + addFile(1));
    EXPECT_THAT(camera->store().objects(), IsEmpty());
}

TEST_F(CameraTest, OfAModelRefusesWhatThatModelCannotDo) {
    setUpModel("368");
    EXPECT_EQ(ask("10000000 0100 1510 01000000 11500000"), "0c00000003000a2001000000");

    setUpModel("539");
    send("14000000 0100 0c10 01000000 00000000 00000000");
    send("0c000000 0200 0c10 01000000");
    EXPECT_EQ(receive(), "0c0000000300052001000000");
    EXPECT_EQ(ask("0c000000 0100 0097 02000000"), "0c0000000300052002000000");

    for (const char* model : {"948", "264"}) {
        setUpModel(model);
        tell("add random=1 name=AUTPRINT.MRK");
        tell("add random=1 name=PICT0001.JPG");
        EXPECT_EQ(ask("10000000 0100 0b10 01000000 01000000"), "0c00000003000d2001000000");
        EXPECT_EQ(ask("10000000 0100 0b10 02000000 02000000"), "0c0000000300012002000000");
    }
}

TEST_F(CameraTest, OfAnotherMakerHasHabitsOfItsOwn) {
    const std::string count = "0610", list = "0710", everywhere = "ffffffff ", zero = "00000000 ";
    const std::string all = everywhere + zero + zero, folder = everywhere + zero + "03000000";
    const auto handles = [](std::initializer_list<const char*> listed) {
        std::string numbers;
        for (const char* const handle : listed) numbers += std::string("0") + handle + "000000";
        return "0" + std::to_string(listed.size()) + "000000" + numbers;
    };
    // In the root lie folder 1 and picture 5, in folder 1 picture 2 and folder 3, and in that
    // picture 4.
    const struct {
        const char* quirks;
        std::string operation, parameters, answer;  ///< a response's code, or a list
    } cases[]{
        {"", list, everywhere, handles({"1", "2", "3", "4", "5"})},
        {"", list, everywhere + "01380000", handles({"2", "4", "5"})},
        {"all-parameters", list, everywhere, "1d20"},
        {"all-parameters=0x2014", list, everywhere + zero, "1420"},
        {"all-parameters=0x2005", list, all, handles({"1", "2", "3", "4", "5"})},
        {"all-parameters=0x2006", count, everywhere, "0620"},
        {"no-count", count, all, "0520"},
        {"no-format-filter", list, all, handles({"1", "2", "3", "4", "5"})},
        {"no-format-filter", list, everywhere + everywhere, "1420"},
        {"root-only", list, everywhere, handles({"1", "5"})},
        {"root-only", list, everywhere + zero + everywhere, handles({"1", "5"})},
        {"root-only", list, folder, handles({"4"})},
        {"root-only,lists-itself", list, folder, handles({"4", "3"})},
        {"root-only,lists-itself,lists-parent", list, folder, handles({"4", "3", "1"})},
        {"lists-itself,lists-parent", list, everywhere, handles({"1", "2", "3", "4", "5"})},
        {"root-only,lists-twice", list, everywhere, handles({"1", "5", "5", "1"})},
    };
    for (const auto& [quirks, operation, parameters, answer] : cases) {
        std::vector<std::string> words;
        for (const auto word : std::views::split(std::string_view(quirks), ','))
            words.emplace_back(word.begin(), word.end());
        setUp(512, {.quirks = quirksOf(words)});
        tell("add format=0x3001 name=DCIM");
        tell("add random=1 name=A.JPG parent=1");
        tell("add format=0x3001 name=100CAM parent=1");
        tell("add random=1 name=B.JPG parent=3");
        tell("add random=1 name=C.JPG");
        openSession();
        const Bytes body = hex(parameters);
        Bytes command;
        appendNumber(command, ContainerHeader::size + body.size(), 4);
        const std::string came =
            ask(hexOf(command) + "0100" + operation + "01000000" + hexOf(body));
        const bool isList = came.substr(8, 4) == "0200";
        EXPECT_EQ(came.substr(isList ? 24 : 12, isList ? std::string::npos : 4), answer)
            << quirks << ": " << operation << ' ' << parameters;
        EXPECT_THAT(violations(), IsEmpty()) << parameters;
    }
    for (const char* none : {"", "no-color", "no-count=1", "all-parameters=x"})
        EXPECT_THROW(quirksOf({none}), std::invalid_argument) << none;

    // What it doesn't know isn't among the operations of its DeviceInfo.
    const auto deviceInfo = [this](const Quirks& quirks) {
        setUp(512, {.quirks = quirks});
        return ask("0c000000 0100 0110 00000000");
    };
    EXPECT_THAT(deviceInfo({}), HasSubstr("051006100710"));
    EXPECT_THAT(deviceInfo({.noCount = true}), HasSubstr("05100710"));
}

TEST_F(CameraTest, BehindADockIsToldAsThatDockDoes) {
    const auto answer = [this](const char* code, const std::string& id) {
        return ask(std::string("0c000000 0100 ") + code + id).substr(12);
    };
    const std::string none = "0000000000000000", there = "f15a0000357c0000";
    setUpModel("dock");
    EXPECT_EQ(answer("0097", "01000000"), "012001000000" + none);
    tell("behind 0x5AF1 0x7C35");
    EXPECT_EQ(answer("0097", "02000000"), "012002000000" + there);
    EXPECT_EQ(answer("0197", "03000000"), "052003000000");
    EXPECT_EQ(answer("0297", "04000000"), "052004000000");

    setUpModel("dock2");
    tell("behind 0x5AF1 0x7C35");
    EXPECT_EQ(answer("0297", "01000000"), "012001000000" + there);
    EXPECT_EQ(answer("0097", "02000000"), "012002000000" + none);
    EXPECT_EQ(answer("0197", "03000000"), "012003000000" + there);
    EXPECT_EQ(answer("0097", "04000000"), "012004000000" + there);
    tell("behind 0x5AF1 0x7C36");
    EXPECT_EQ(answer("0097", "05000000"), "012005000000" + none);
}

}  // namespace
}  // namespace zlk::camsim
