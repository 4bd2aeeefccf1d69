// The virtual camera against bytes laid out by hand: the pipes of the device's end of the bus.

#include <random>

#include "tests/support/VirtualCamera.h"
#include "tests/tools/CameraTest.h"
#include "tools/zlkcamsim/SimulatedDevice.h"
#include "usbscan/Protocol.h"

namespace zlk::camsim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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
    EXPECT_NE(tell("fault cancel-busy count=0"), "ok") << "it would be counted down from nothing";
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
    // Those that a host gets over or can't tell from others, and the phases of those without one.
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
        {"silence", false, {data, "..."}},
        {"length value=0xffffffff", false, {"ffffffff" + data.substr(8), ok}},
        {"code value=0x1234", false, {"0d000000020034120100000050", ok}},
        {"id value=9", false, {data, "0c0000000300012009000000"}},
        {"type", false, {data, "0c0000000400012001000000"}},
        {"zeros value=4", false, {data, "00000000" + ok}},
        {"stale value=3", false, {data, "0c0000000300012000000000", ok}},
        {"zero-packet-first", false, {data, "", ok}},
        {"array-count", false, {data.substr(0, 24) + "ff", ok}},
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

TEST(PluggedCamera, IsToldThroughASocketWhatToDo) {
    const std::string socket = test::newFolder() / "control";
    test::VirtualCamera camera({"--storage", test::newFolder(), "--control", socket});
    const auto tell = [&socket](const std::string& command) {
        return test::runProgram({test::programFolder() / "zlkcamsim", "tell", socket, command});
    };
    EXPECT_EQ(tell("unplug").output, "ok\n");
    EXPECT_THAT(camera.tell("state"), HasSubstr("\"plugged\":false"));
    EXPECT_EQ(tell("plug").output, "ok\n");
    EXPECT_EQ(tell("nonsense").status, 1);
    EXPECT_THAT(tell("state").output, HasSubstr("\"plugged\":true"));
}

TEST(PluggedCamera, ReplacesNothingButASocket) {
    const std::string file = test::newFolder() / "A.JPG";
    test::writeFile(file, "a");
    const test::ProgramResult refused =
        test::runProgram({"timeout", "9", test::programFolder() / "zlkcamsim", "--storage",
                          test::newFolder(), "--control", file});
    EXPECT_THAT(refused.error, HasSubstr(file));
    EXPECT_EQ(test::readFile(file), "a");
}

}  // namespace
}  // namespace zlk::camsim
