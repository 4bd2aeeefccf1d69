// The whole road of a real camera: engine, client, a host that is started for it, libusb, the bus.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/files.h"
#include "platform/named_objects.h"
#include "tests/usbscan/Camera.h"
#include "usbscan/program/LibusbDevice.h"
#include "usbscan/usbscan.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

ZLK_CHILD(emulatedCamera) {
    std::string program = programFolder() / "zlk-emulated-usb", storage = newFolder();
    char* const arguments[] = {program.data(), storage.data(), nullptr};
    return ::execv(program.c_str(), arguments);
}

/// A virtual camera on an emulated bus that this process, its children and hosts see.
struct EmulatedCamera : VirtualCamera {
    EmulatedCamera() : VirtualCamera("emulatedCamera", {}) {
        const std::string root = program_.hear();
        ::setenv("UMOCKDEV_DIR", root.c_str(), 1);
        // A host's environment is made anew, so what joins it to the bus stands in a script.
        const fs::path script = newFolder() / "host";
        std::ofstream(script) << "#!/bin/sh\nexec env UMOCKDEV_DIR=" << root
                              << " LD_PRELOAD=libumockdev-preload.so.0"
                                 " ASAN_OPTIONS=verify_asan_link_order=0 "
                              << moduleFolder() / "zlk-usbscan"
                              << " \"$@\"\n";
        fs::permissions(script, fs::perms::owner_all);
        setPlatform(u"DeviceHost", pathText(script));
    }
};

/// The running host of this test's bus; 0 if there is none.
pid_t hostProcess() {
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
        std::ifstream name(entry.path() / "comm"), environment(entry.path() / "environ");
        std::string comm, all;
        if (!std::getline(name, comm) || comm != "zlk-usbscan") continue;
        std::getline(environment, all, '\n');
        if (all.find(::getenv("UMOCKDEV_DIR")) != all.npos)
            return std::stoi(entry.path().filename().string());
    }
    return 0;
}

ZLK_CHILD(readsOverUsb) {
    JoinedCamera camera;
    std::vector<std::uint8_t> bytes(500'000);
    for (child.say("reads");;) camera.getObject(1, bytes.data(), 500'000, nullptr);
}

TEST(Road, carriesWholeOperationsByteForByte) {
    EmulatedCamera bus;
    ZlPTPdrv camera{wString(firstPort)};
    camera.openSession();
    for (const std::uint32_t size : {500u, 131060u, 2'000'000u}) {
        const std::uint32_t handle = bus.add("random=" + std::to_string(size));
        EXPECT_EQ(objectOf(camera, handle, size), randomBytes(size)) << size;
        EXPECT_EQ(camera.getEvent().code, 0x4002);
    }
    const auto sent = randomBytes(512 * 2000 - 12, 3);  // fills its last packet
    sendObject(camera, sent);
    const std::uint32_t newest = camera.getObjectHandles(0xFFFFFFFF, 0, 0).back();
    EXPECT_EQ(objectOf(camera, newest, 512 * 2000 - 12), sent);
    bus.expectNoViolations();
}

TEST(Road, startsANewHostWhereTheLastOneWasKilled) {
    EmulatedCamera bus;
    bus.add("random=100000");
    JoinedCamera camera;
    bus.tell("fault silence op=0x1009 phase=data at=50%");
    std::thread killer([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        ::kill(hostProcess(), SIGKILL);
    });
    EXPECT_EQ(raisedBy([&] { objectOf(camera, 1, 100'000); }), PTP_TRANSPORT_ERROR);
    killer.join();
    // It finds a camera in the middle of a transaction, and brings it back.
    JoinedCamera again;
    EXPECT_EQ(objectOf(again, 1, 100'000), randomBytes(100'000));
    bus.expectNoViolations();
}

TEST(Road, getsOverClientsThatAreKilled) {
    EmulatedCamera bus;
    bus.add("random=500000");
    JoinedCamera survivor;
    for (int i = 0; i < 15; ++i) {
        ChildProcess victim("readsOverUsb");
        ASSERT_EQ(victim.hear(), "reads");
        std::this_thread::sleep_for(std::chrono::milliseconds(i * 3));
        victim.kill();
        EXPECT_EQ(survivor.getStorageIDs().size(), 1u);
    }
    bus.expectNoViolations();
}

TEST(Road, leadsAStockInitiatorToTheVirtualCameraToo) {
    if (runProgram({"which", "gphoto2"}).status != 0) GTEST_SKIP() << "gphoto2 isn't installed";
    EmulatedCamera bus;
    bus.tell("add random=1000000 name=PICT0001.JPG");
    const fs::path copy = newFolder() / "copy";
    // Without a port, gphoto2 may choose a card that another test has mounted meanwhile.
    const ProgramResult got =
        runProgram({"umockdev-wrapper", "gphoto2", "--port=usb:", "--get-file=1",
                    "--filename=" + copy.string()});
    EXPECT_EQ(got.status, 0) << got.output << got.error;
    std::ifstream file(copy, std::ios::binary);
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(bytes, randomBytes(1'000'000));
    bus.expectNoViolations();
}

TEST(Road, saysWhoHasTheCamera) {
    EmulatedCamera bus;
    // Whoever emulates it has the node open, and is found as another program would be.
    ASSERT_EQ(attachedCameras().size(), 1u);
    EXPECT_NE(attachedCameras()[0].holderProcess, 0u);
    EXPECT_NE(attachedCameras()[0].holderProgram, u"");
    usbscan::EventLoop loop;
    auto claim = std::make_unique<usbscan::LibusbDevice>(
        loop, *usbscan::UsbAddress::ofNode("/dev/bus/usb/001/002"), [] {});
    const auto open = [] {
        return UniqueHandle(CreateFileA("\\\\.\\Usbscan1000", GENERIC_READ | GENERIC_WRITE, 0,
                                        nullptr, OPEN_EXISTING, 0, nullptr));
    };
    EXPECT_FALSE(open());
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    claim.reset();
    EXPECT_TRUE(open()) << GetLastError();
    bus.tell("unplug");
    EXPECT_FALSE(open());
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(attachedCameras().size(), 0u);
    // The bus can't send its news while a host that it tells them is just ending.
    while (hostProcess()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    bus.tell("plug");
    EXPECT_EQ(attachedCameras().size(), 1u);
    EXPECT_TRUE(open()) << GetLastError();
}

}  // namespace
}  // namespace zlk::test
