// What of a camera's transfers comes into a recording, and what a bad disk makes of it.

#include <fcntl.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/error.h"
#include "usbscan/recording/ContainerText.h"
#include "usbscan/recording/RecordingFile.h"
#include "usbscan/recording/RecordingFilter.h"

namespace zlk::usbscan {
namespace {

using namespace std::chrono_literals;
using Direction = RecordingFilter::Direction;
using Bytes = std::vector<std::byte>;

constexpr std::uint16_t command = 1, data = 2, response = 3;

void append(Bytes& to, std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i) to.push_back(static_cast<std::byte>(value >> (8 * i)));
}

Bytes container(std::uint16_t type, std::uint16_t code, const Bytes& payload = {}) {
    Bytes bytes;
    append(bytes, 12 + payload.size(), 4);
    append(bytes, type, 2);
    append(bytes, code, 2);
    append(bytes, 7, 4);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// A string of a dataset: its count, its units and a zero.
Bytes text(std::u16string_view units) {
    Bytes bytes;
    append(bytes, units.empty() ? 0 : units.size() + 1, 1);
    for (const char16_t unit : units) append(bytes, unit, 2);
    if (!units.empty()) append(bytes, 0, 2);
    return bytes;
}

/// What a filter keeps of an answer to this operation, where a length stays a length.
Bytes kept(RecordingFilter filter, std::uint16_t operation, const Bytes& answer,
           std::size_t pieceSize, std::uint32_t parameter = 0x1A) {
    Bytes parameters;
    append(parameters, parameter, 4);
    filter.split(Direction::ToDevice, container(command, operation, parameters), true, false);
    Bytes all;
    std::size_t length = 0;
    for (std::span<const std::byte> rest(answer); !rest.empty();) {
        const auto piece = rest.first(std::min(pieceSize, rest.size()));
        rest = rest.subspan(piece.size());
        for (const auto& part : filter.split(Direction::ToHost, piece, rest.empty(), false)) {
            all = all + part.kept;
            length += part.length;
        }
    }
    EXPECT_EQ(length, answer.size());
    return all;
}

const std::size_t pieceSizes[]{1, 5, 12, 13, 64, 512, 1 << 20};

TEST(RecordingFilter, LeavesOutContentsAndNothingElse) {
    const Bytes ok = container(response, 0x2001);
    for (const std::size_t size : pieceSizes)
        for (const std::uint16_t operation : {0x1009, 0x100A, 0x101B, 0x9801}) {
            const Bytes content = container(data, operation, Bytes(3000, std::byte{0x5A}));
            const Bytes head(content.begin(), content.begin() + 12);
            EXPECT_EQ(kept(RecordingFilter({}), operation, content + ok, size), head + ok);
            EXPECT_EQ(kept(RecordingFilter({.payloads = true}), operation, content + ok, size),
                      content + ok);
            // What a device calls its data doesn't count.
            const Bytes liar = container(data, 0x1008, Bytes(3000, std::byte{0x5A}));
            EXPECT_EQ(kept(RecordingFilter({}), operation, liar + ok, size).size(), 24u);
        }
    const Bytes handles = container(data, 0x1007, Bytes(3000, std::byte{0x5A}));
    EXPECT_EQ(kept(RecordingFilter({}), 0x1007, handles + ok, 64), handles + ok);
}

TEST(RecordingFilter, BlacksOutWhatIsTheOwnersInPiecesOfAnySize) {
    const auto array = [](std::initializer_list<unsigned> codes) {
        Bytes bytes;
        append(bytes, codes.size(), 4);
        for (const unsigned code : codes) append(bytes, code, 2);
        return bytes;
    };
    const auto deviceInfo = [&](std::u16string_view serial) {
        Bytes bytes(8);
        bytes = bytes + text(u"vendor") + Bytes(2);
        bytes = bytes + array({0x1001, 0x1002}) + array({}) + array({0x5011}) + array({}) +
                array({0x3801});
        return bytes + text(u"Maker") + text(u"Model") + text(u"1.0") + text(serial);
    };
    const auto objectInfo = [&](std::u16string_view name, std::u16string_view keywords) {
        return Bytes(52) + text(name) + text(u"20260715T103000") + text(u"") + text(keywords);
    };
    const auto storageInfo = [&](std::u16string_view label) {
        return Bytes(26) + text(u"SD card") + text(label);
    };
    struct {
        std::uint16_t operation;
        Bytes said, recorded;
    } const cases[]{
        {0x1001, deviceInfo(u"SN-12345"), deviceInfo(u"xxxxxxxx")},
        {0x1008, objectInfo(u"ANNA_0042.JPG", u"Anna"), objectInfo(u"a1000000x.JPG", u"xxxx")},
        {0x1008, objectInfo(u"Zürich.März.tiff", u""), objectInfo(u"a1000000xxx.tiff", u"")},
        {0x1008, objectInfo(u"Wedding", u""), objectInfo(u"a100000", u"")},
        {0x1005, storageInfo(u"ANNAS CARD"), storageInfo(u"a1000000xx")},
        {0x1015, text(u"Anna"), {}},
    };
    for (const std::size_t size : pieceSizes)
        for (const auto& [operation, said, recorded] : cases) {
            const Bytes whole = container(data, operation, said);
            const Bytes head(whole.begin(), whole.begin() + 12);
            EXPECT_EQ(kept(RecordingFilter({.anonymous = true}), operation, whole, size),
                      head + recorded)
                << operation << " in pieces of " << size;
            EXPECT_EQ(kept(RecordingFilter({}), operation, whole, size), whole);
        }
    EXPECT_EQ(kept(RecordingFilter({.anonymous = true}), 0x1015,
                   container(data, 0x1015, text(u"2")), 64, 0x5011)
                  .size(),
              17u);
}

TEST(RecordingFilter, BeginsAnewWithTheCommandAfterAnAnswerThatWasBrokenOff) {
    RecordingFilter filter({});
    const Bytes get = container(command, 0x1009), ok = container(response, 0x2001);
    Bytes torso = container(data, 0x1009, Bytes(100'000));
    torso.resize(512);
    filter.split(Direction::ToDevice, get, true, false);
    EXPECT_EQ(filter.split(Direction::ToHost, torso, true, false).front().kept.size(), 12u);
    filter.split(Direction::ToDevice, container(command, 0x1003), true, false);
    EXPECT_EQ(filter.split(Direction::ToHost, ok, true, false).front().kept, ok);

    Bytes sent = container(data, 0x100D, Bytes(100'000));
    sent.resize(512);
    filter.split(Direction::ToDevice, container(command, 0x100D), true, false);
    filter.split(Direction::ToDevice, sent, false, false);
    filter.breakOff();
    EXPECT_EQ(filter.split(Direction::ToDevice, get, true, false).front().kept, get);
}

TEST(RecordingFile, SaysWhenADiskIsFullOrTooSlowAndNeverWaitsForIt) {
    RecordingFile full(Descriptor(::open("/dev/full", O_WRONLY | O_CLOEXEC)));
    EXPECT_TRUE(full.append("bytes"));
    full.finish();
    EXPECT_TRUE(full.waitUntilOver(60s));
    EXPECT_EQ(full.error(), ERROR_DISK_FULL);
    EXPECT_FALSE(full.append("more"));

    int pipe[2];
    ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
    const Descriptor reading(pipe[0]);
    std::size_t taken = 0;
    {
        RecordingFile slow{Descriptor(pipe[1])};
        while (taken < 1000 && slow.append(std::string(1 << 20, 'x'))) ++taken;
        EXPECT_TRUE(slow.isBehind());
        EXPECT_EQ(slow.error(), ERROR_SEM_TIMEOUT);
    }
    EXPECT_LE(taken, 40u);
}

TEST(ContainerText, TellsWhatIsThereOfAContainer) {
    Bytes parameters;
    append(parameters, 0x1A, 4);
    append(parameters, 2, 4);
    EXPECT_EQ(containerText(container(command, 0x1007, parameters)),
              "GetObjectHandles (0x1007), transaction 7: 0x0000001a, 0x00000002");
    EXPECT_EQ(containerText(container(data, 0x9801, parameters)),
              "Data of 0x9801, transaction 7, 20 bytes");
    EXPECT_EQ(containerText(container(response, 0x2019)), "DeviceBusy (0x2019), transaction 7");
    EXPECT_EQ(containerText(Bytes(3)), "3 bytes");
    Bytes lies = container(response, 0x2001);
    lies[0] = std::byte{32};
    EXPECT_EQ(containerText(lies), "OK (0x2001), transaction 7");
}

}  // namespace
}  // namespace zlk::usbscan
