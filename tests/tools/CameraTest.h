#pragma once
// The virtual camera's end of the bus, as a host's pipes reach it.

#include <gmock/gmock.h>

#include "tests/support/TestMachine.h"
#include "tools/zlkcamsim/ControlCommands.h"
#include "tools/zlkcamsim/NumberText.h"
#include "tools/zlkcamsim/VirtualCamera.h"

namespace zlk::camsim {

/// Hexadecimal digits; blanks only part them for the reader.
inline Bytes hex(std::string text) {
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
    /// The next transfer to the host; `...` after one that doesn't end.
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

}  // namespace zlk::camsim
