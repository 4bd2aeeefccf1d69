// The virtual camera against bytes laid out by hand: the pipes of the device's end of the bus, and
// the program as a plugged device.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <ranges>

#include "platform/files.h"
#include "platform/named_objects.h"
#include "tests/support/TestMachine.h"
#include "tests/support/VirtualCamera.h"
#include "tools/zlkcamsim/ControlCommands.h"
#include "tools/zlkcamsim/NumberText.h"
#include "tools/zlkcamsim/SimulatedDevice.h"
#include "tools/zlkcamsim/VirtualCamera.h"
#include "usbscan/Protocol.h"

namespace zlk::camsim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Hexadecimal digits; blanks only part them for the reader.
Bytes hex(std::string text) {
    std::erase(text, ' ');
    return parseHex(text);
}

class CameraTest : public testing::Test {
  protected:
    void setUp(std::uint16_t packetSize = 64, const Traits& traits = {}) {
        camera = std::make_unique<VirtualCamera>(loop, Identity{}, packetSize, traits);
        camera->store().addStorage(card);
        camera->busReset();
    }
    void SetUp() override { setUp(); }
    /// A session with a camera of this model.
    void setUpModel(const std::string& name) {
        for (const Model& model : models())
            if (model.name == name) setUp(64, model.traits);
        openSession();
    }

    PipeAnswer send(const std::string& container) { return camera->out(hex(container), true); }
    /// The next transfer to the host; `...` behind one that doesn't end.
    std::string receive() {
        std::string text;
        for (;;) {
            const PipeBytes piece = camera->in(1 << 17);
            if (piece.answer == PipeAnswer::Stalled) return text + "stalled";
            if (piece.answer != PipeAnswer::Accepted) return text + "...";
            text += hexOf(piece.bytes);
            if (piece.endsTransfer) return text;
        }
    }
    std::string ask(const std::string& command) {
        EXPECT_EQ(send(command), PipeAnswer::Accepted);
        return receive();
    }
    void openSession() {
        ASSERT_EQ(ask("10000000 0100 0210 00000000 01000000"), "0c0000000300012000000000");
    }
    std::string control(std::uint8_t type, std::uint8_t request, const std::string& out = {}) {
        const auto answer = camera->control({type, request, 0, 0, 64}, hex(out));
        return answer.stalled ? "stalled" : hexOf(answer.bytes);
    }
    std::string tell(const std::string& line) {
        return ControlCommands(*camera, {}, [] {}).answer(line);
    }
    /// An object of `size` bytes of 'x'; its handle as a parameter.
    std::string addFile(std::size_t size) {
        const auto path = test::newFolder() / "FILE.BIN";
        test::writeFile(path, std::string(size, 'x'));
        const std::string answer = tell("add file=" + path.string());
        Bytes handle;
        appendNumber(handle, parseNumber(answer.substr(3), 0xFFFF), 4);
        return hexOf(handle);
    }
    const auto& violations() { return camera->judge().violations(); }

    usbscan::EventLoop loop;
    const std::filesystem::path card = test::newFolder();
    std::unique_ptr<VirtualCamera> camera;
};

TEST_F(CameraTest, CountsInASessionThatOutlivesWhoOpenedIt) {
    EXPECT_EQ(ask("0c000000 0100 0410 00000000"), "0c0000000300032000000000");  // without one
    EXPECT_THAT(violations(), ElementsAre(HasSubstr("without a session")));
    camera->judge().clear();

    openSession();
    EXPECT_EQ(ask("0c000000 0100 0410 01000000"),
              hexOf(hex("14000000 0200 0410 01000000 01000000 01000100")));
    EXPECT_EQ(receive(), "0c0000000300012001000000");
    EXPECT_EQ(ask("10000000 0100 0210 00000000 07000000"),
              hexOf(hex("10000000 0300 1e20 01000000 01000000")));
    EXPECT_EQ(ask("0c000000 0100 0097 02000000"), hexOf(hex("14000000 0300 0120 02000000"
                                                            "00000000 00000000")));
    EXPECT_EQ(ask("0c000000 0100 0310 03000000"), "0c0000000300012003000000");
    EXPECT_EQ(ask("0c000000 0100 0097 63000000").substr(0, 16), "1400000003000120");
    EXPECT_THAT(violations(), IsEmpty());
}

TEST_F(CameraTest, KeepsARecordOfWhatAHostMustNotDo) {
    const struct {
        const char* bytes;
        const char* violation;
    } cases[]{
        {"0c000000 0100 0110 05000000", "id 1 was to come"},
        {"0c000000 0100 0110 07000000", "id 6 was to come"},
        {"0d000000 0100 0110 08000000", "the container says 13 bytes, 12 came"},
        {"10000000 0100 0110 09000000 01000000", "too many parameters"},
        {"0e000000 0100 0510 0a000000 0100", "no whole numbers"},
        {"0c000000 0200 0c10 0b000000", "type 2 where a command belongs"},
        {"0c000000 0100", "no container"},
        {"", "no container"},
    };
    openSession();
    for (const auto& [bytes, violation] : cases) {
        camera->judge().clear();
        send(bytes);
        EXPECT_THAT(violations(), ElementsAre(HasSubstr(violation)));
        while (!receive().ends_with("...")) {
        }
    }
    camera->judge().clear();
    send("0c000000 0100 0410 0b000000");
    send("0c000000 0100 0410 0c000000");  // before anybody has read the answer
    EXPECT_THAT(violations(), ElementsAre(HasSubstr("while the transaction before it is open")));
}

TEST_F(CameraTest, EndsTransfersAsTheBusDoes) {
    for (const std::uint16_t packetSize : {64, 512, 1024}) {
        for (const int more : {-1, 0, 1}) {
            setUp(packetSize);
            openSession();
            const auto size = static_cast<std::size_t>(3 * 131072 + packetSize - 12 + more);
            ASSERT_EQ(send("10000000 0100 0910 01000000" + addFile(size)), PipeAnswer::Accepted);
            std::size_t came = 0;
            PipeBytes piece;
            do {
                piece = camera->in(131072);
                ASSERT_EQ(piece.answer, PipeAnswer::Accepted);
                came += piece.bytes.size();
                ASSERT_TRUE(piece.endsTransfer || piece.bytes.size() == 131072);
            } while (!piece.endsTransfer);
            EXPECT_EQ(came, size + 12);
            EXPECT_EQ(receive(), "0c0000000300012001000000");
        }
    }
}

TEST_F(CameraTest, HandsOutAFileWhereItLies) {
    openSession();
    const std::string handle = addFile(1 << 20);
    send("10000000 0100 0910 01000000" + handle);
    camera->in(131072);
    const PipeBytes second = camera->in(131072), third = camera->in(131072);
    EXPECT_EQ(second.bytes.data() + 131072, third.bytes.data());
    camera.reset();
    EXPECT_EQ(second.bytes[5], std::byte{'x'});  // its keeper outlives the camera
}

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

TEST_F(CameraTest, TellsTheDateThatATesterGivesAnObject) {
    openSession();
    tell("add random=3 name=A date=20480000T000000");
    tell("add random=3 name=B date=");
    const std::string dated = ask("10000000 0100 0810 01000000 01000000");
    receive();
    const std::string text =
        hexOf(hex("10 3200300034003800300030003000300054003000300030003000300030000000"));
    EXPECT_TRUE(dated.ends_with(text + text + "00")) << dated;
    EXPECT_TRUE(ask("10000000 0100 0810 02000000 02000000")
                    .ends_with("0242000000"
                               "000000"));
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

TEST_F(CameraTest, ForgetsATransactionThatIsCancelledAndKeepsTheSession) {
    openSession();
    const std::string handle = addFile(1 << 20);
    send("10000000 0100 0910 01000000" + handle);
    camera->in(131072);
    EXPECT_EQ(control(0xA1, 0x67), "04001920");
    EXPECT_EQ(control(0x21, 0x64, "0140 01000000"), "");
    EXPECT_EQ(control(0xA1, 0x67), "04000120");
    EXPECT_EQ(receive(), "...");
    // Its id may come once more, whatever the host has counted; and then three times more, as from
    // hosts that were killed one after the other before they had counted.
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(ask("0c000000 0100 0097 01000000").substr(0, 16), "1400000003000120");
    EXPECT_THAT(violations(), IsEmpty());
    ask("0c000000 0100 0097 01000000");
    EXPECT_THAT(violations(), ElementsAre(HasSubstr("id 2 was to come")));

    tell("fault cancel-stall");
    tell("fault cancel-busy count=2");
    EXPECT_EQ(control(0x21, 0x64, "0140 01000000"), "stalled");
    EXPECT_EQ(control(0x21, 0x64, "0140 01000000"), "");
    EXPECT_EQ(control(0xA1, 0x67), "04001920");
    EXPECT_EQ(control(0xA1, 0x67), "04001920");
    EXPECT_EQ(control(0xA1, 0x67), "04000120");
    EXPECT_EQ(control(0x21, 0x66), "");
    EXPECT_EQ(ask("0c000000 0100 0410 02000000"), "0c0000000300032002000000");
}

TEST_F(CameraTest, BendsItsAnswersAsFaultsSay) {
    // GetDevicePropValue of the battery: a data container of 13 bytes. GetObject of 52 bytes: one
    // that fills a packet.
    const std::string battery = "10000000 0100 1510 01000000 01500000";
    const std::string data =
                          "0d0000000200151001000000"
                          "50",
                      ok = "0c0000000300012001000000";
    const std::string object = "10000000 0100 0910 01000000";
    const std::string full = "400000000200091001000000" + hexOf(Bytes(52, std::byte{'x'}));
    const struct {
        const char* fault;
        bool fillsPacket;
        std::vector<std::string> transfers;
    } cases[]{
        {"glue", false, {data + ok}},
        {"split-header", false, {data.substr(0, 24), "50", ok}},
        {"short at=0", false, {data.substr(0, 24), ok}},
        {"stall", false, {"stalled"}},
        {"stall phase=after", false, {data, ok, "stalled"}},
        {"silence phase=data", false, {"..."}},
        {"silence", false, {data, "..."}},
        {"length value=0xffffffff", false, {"ffffffff" + data.substr(8), ok}},
        {"code value=0x1234", false, {"0d000000020034120100000050", ok}},
        {"id value=9", false, {data, "0c0000000300012009000000"}},
        {"type", false, {data, "0c0000000400012001000000"}},
        {"zeros value=4", false, {data, "00000000" + ok}},
        {"stale value=3", false, {data, "0c0000000300012000000000", ok}},
        {"zero-packet-first", false, {data, "", ok}},
        {"answer value=0x2019", false, {"0c0000000300192001000000"}},
        {"truncate value=0", false, {"0c0000000200151001000000", ok}},
        {"grow value=2",
         false,
         {"0f000000020015100100000050"
          "5a5a",
          ok}},
        {"array-count",
         false,
         {"0d00000002001510010000"
          "00ff",
          ok}},
        {"extra-byte", true, {full + "00", ok}},
        {"no-zero-packet", true, {full + ok}},
        {"extra-zero-packet", true, {full, "", ok}},
        {"stall at=50%", true, {"stalled"}},
        {"stall at=100%", true, {full, "stalled"}},
    };
    for (const auto& [fault, fillsPacket, transfers] : cases) {
        setUp();
        openSession();
        const std::string command = fillsPacket ? object + addFile(52) : battery;
        ASSERT_EQ(tell("fault " + std::string(fault)), "ok");
        send(command);
        for (const std::string& transfer : transfers) EXPECT_EQ(receive(), transfer) << fault;
        EXPECT_THAT(camera->faults().armed(), IsEmpty()) << fault;
        EXPECT_THAT(violations(), IsEmpty()) << fault;
    }
}

TEST_F(CameraTest, SurvivesAHostThatSendsAnything) {
    std::mt19937 random(7);
    const auto upTo = [&random](unsigned most) {
        return static_cast<unsigned>(random() % (most + 1));
    };
    for (int round = 0; round < 20000; ++round) {
        Bytes bytes(upTo(90));
        for (std::byte& byte : bytes) byte = static_cast<std::byte>(random());
        if (bytes.size() >= 12 && upTo(9)) {
            // Something that is nearly a container.
            const Bytes header = ContainerHeader{static_cast<std::uint32_t>(bytes.size()),
                                                 static_cast<std::uint16_t>(1 + upTo(1)),
                                                 static_cast<Code>(0x1001 + upTo(0x1B)), upTo(3)}
                                     .encode();
            std::copy(header.begin(), header.end(), bytes.begin());
        }
        camera->out(bytes, upTo(3) > 0);
        if (upTo(1)) camera->in(64 * (1 + upTo(9)));
        if (upTo(40) == 0) camera->control({0x21, 0x64, 0, 0, 6}, bytes);
        if (upTo(200) == 0) camera->busReset();
    }
    camera->busReset();
    openSession();
    EXPECT_EQ(ask("0c000000 0100 0410 01000000").substr(8, 8), "02000410");
}

TEST_F(CameraTest, KeepsFourPiecesOutUntilTheyAreGivenBack) {
    setUp(512);
    openSession();
    send("10000000 0100 0910 01000000" + addFile(4 << 20));
    struct Listener final : usbscan::UsbDevice::Listener {
        void arrived(usbscan::UsbPiece piece) override {
            came += piece.bytes.size();
            pieces.push_back(std::move(piece));
        }
        void readingStopped(usbscan::UsbStatus) override { ADD_FAILURE(); }
        std::vector<usbscan::UsbPiece> pieces;
        std::size_t came = 0;
    } listener;
    SimulatedDevice device(loop, *camera);
    device.setListener(&listener);
    device.read(1u << 30, false);
    EXPECT_THAT(listener.pieces, IsEmpty());  // reports come from the loop
    // A turn of the loop for each task that posts the next one; the file has 16 pieces.
    int turns = 0;
    std::size_t held = 0;
    std::function<void()> turn = [&] {
        if (++turns == 100) held = listener.pieces.size();
        if (turns >= 100) listener.pieces.clear();
        if (turns == 300) return loop.stop();
        loop.post(turn);
    };
    loop.post(turn);
    loop.run();
    EXPECT_EQ(held, usbscan::areaSlots);
    EXPECT_EQ(listener.came, (4u << 20) + 12 + 12);
}

/// The program on this test's machine, driven through the driver's names.
TEST(PluggedCamera, AnswersThroughADeviceHandleUntilItIsPulled) {
    const std::string socket = test::newFolder() / "control";
    test::VirtualCamera camera(
        {"--vid", "0x1234", "--storage", test::newFolder(), "--control", socket});
    const HANDLE device = CreateFileA("\\\\.\\Usbscan1000", GENERIC_READ | GENERIC_WRITE, 0,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(device, INVALID_HANDLE_VALUE) << GetLastError();
    const auto ask = [device](const std::string& command) -> std::string {
        const Bytes bytes = hex(command);
        DWORD done = 0;
        EXPECT_TRUE(
            WriteFile(device, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr));
        Bytes answer(512);
        if (!ReadFile(device, answer.data(), 512, &done, nullptr)) return "failed";
        answer.resize(done);
        return hexOf(answer);
    };
    EXPECT_EQ(ask("10000000 0100 0210 00000000 01000000"), "0c0000000300012000000000");
    camera.tell("behind 0x0102 0x0304");
    EXPECT_EQ(ask("0c000000 0100 0097 01000000"),
              hexOf(hex("14000000 0300 0120 01000000 02010000 04030000")));
    camera.expectNoViolations();
    camera.tell("fault unplug phase=response");
    EXPECT_EQ(ask("0c000000 0100 0097 02000000"), "failed");
    EXPECT_THAT(camera.tell("state"), HasSubstr("\"plugged\":false"));
    CloseHandle(device);
    const std::string program = test::programFolder() / "zlkcamsim";
    EXPECT_EQ(test::runProgram({program, "tell", socket, "plug"}).output, "ok\n");
    EXPECT_EQ(test::runProgram({program, "tell", socket, "nonsense"}).status, 1);
    EXPECT_THAT(camera.tell("state"), HasSubstr("\"plugged\":true"));
    EXPECT_THAT(camera.tell("state"), HasSubstr("\"session\":0"));
}

}  // namespace
}  // namespace zlk::camsim
