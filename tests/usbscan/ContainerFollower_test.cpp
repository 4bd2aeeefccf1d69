#include "usbscan/host/ContainerFollower.h"

#include <gtest/gtest.h>

#include <string>

namespace zlk::usbscan {
namespace {

using Bytes = std::vector<std::byte>;

Bytes container(std::uint32_t length, std::uint16_t type, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < 4 && i < size; ++i) bytes[i] = std::byte(length >> (8 * i));
    if (size > 4) bytes[4] = std::byte(type);
    return bytes;
}

Bytes operator+(Bytes front, const Bytes& back) {
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

/// What the pieces of transfers are cut into: sizes, `z` for a packet of no bytes, `!` where one
/// is due, `R` after the end of a response.
class Cuts {
  public:
    explicit Cuts(std::uint16_t packetSize = 64) : follower_(packetSize) {}
    Cuts& piece(const Bytes& bytes, bool ends) {
        std::vector<ContainerCut> cuts;
        follower_.follow(bytes, ends, cuts);
        for (const ContainerCut& cut : cuts) {
            text_ += text_.empty() ? "" : " ";
            text_ += cut.bytes.empty() ? "z" : std::to_string(cut.bytes.size());
            if (cut.zeroPacketDue) text_ += '!';
            if (cut.endsResponse) text_ += 'R';
        }
        return *this;
    }
    const std::string& text() const { return text_; }

  private:
    ContainerFollower follower_;
    std::string text_;
};

constexpr std::uint16_t data = 2, response = 3, strange = 9;

TEST(ContainerFollower, cutsWhereContainersAndTransfersEnd) {
    const Bytes ok = container(12, response, 12);
    EXPECT_EQ(Cuts().piece(container(20, data, 20), true).piece(ok, true).text(), "20 12R");
    // Glued together in one transfer.
    EXPECT_EQ(Cuts().piece(container(20, data, 20) + ok, true).text(), "20 12R");
    // The head alone, its payload in the next transfer, and in two pieces of one.
    EXPECT_EQ(Cuts().piece(container(100, data, 12), true).piece(Bytes(88), true).text(), "12 88");
    EXPECT_EQ(Cuts().piece(container(300, data, 128), false).piece(Bytes(172), true).text(),
              "128 172");
    // A head that is cut in the middle by the end of a piece, and one that is all of a transfer.
    EXPECT_EQ(Cuts(8).piece(container(12, response, 8), false).piece(Bytes(4), true).text(), "12R");
    const Bytes most = container(19, data, 19) + Bytes(ok.begin(), ok.begin() + 1);
    EXPECT_EQ(Cuts().piece(most, false).piece(Bytes(ok.begin() + 1, ok.end()), true).text(),
              "19 12R");
    EXPECT_EQ(Cuts(8).piece(Bytes(8), false).piece(Bytes(2), true).text(), "10");
}

TEST(ContainerFollower, tellsWhereAPacketOfNoBytesIsDueAndWhereItCame) {
    const Bytes full = container(128, data, 128), ok = container(12, response, 12);
    EXPECT_EQ(Cuts().piece(full, false).piece({}, true).text(), "128! z");
    EXPECT_EQ(Cuts().piece(full, true).text(), "128! z");
    // Left out: its reader looks for it all the same.
    EXPECT_EQ(Cuts().piece(full, false).piece(ok, true).text(), "128! 12R");
    EXPECT_EQ(Cuts().piece(full + ok, true).text(), "128! 12R");
    EXPECT_EQ(Cuts().piece(container(128, data, 12), true).piece(Bytes(116), true).text(),
              "12 116!");
    // In the middle of a container.
    EXPECT_EQ(Cuts().piece(container(256, data, 128), false).piece({}, true).text(), "128 z");
    // One extra byte in its place.
    EXPECT_EQ(Cuts().piece(full + Bytes(1), true).text(), "128! 1");
}

TEST(ContainerFollower, takesALengthThatCantBeToTheTransfersEnd) {
    for (const std::uint32_t length : {0u, 11u, 0xFFFFFFFFu}) {
        EXPECT_EQ(Cuts()
                      .piece(container(length, data, 128), false)
                      .piece(Bytes(30), true)
                      .piece(container(12, response, 12), true)
                      .text(),
                  "128 30 12R");
        EXPECT_EQ(Cuts().piece(container(length, response, 14), true).text(), "14R");
    }
    // Less than a head is forgotten with its transfer.
    EXPECT_EQ(Cuts().piece(Bytes(5), true).piece(container(12, response, 12), true).text(),
              "5 12R");
    EXPECT_EQ(Cuts().piece(container(12, strange, 12), true).text(), "12");
}

TEST(ContainerFollower, takesAnotherTransactionsResponseForNoAnswer) {
    Bytes stale = container(12, response, 12);
    stale[7] = std::byte(0x20), stale[6] = std::byte(0x01), stale[8] = std::byte(5);
    EXPECT_EQ(Cuts().piece(stale, true).text(), "12");
    stale[6] = std::byte(0x1E);  // the session is open, and has come to 5
    EXPECT_EQ(Cuts().piece(stale, true).text(), "12R");
}

}  // namespace
}  // namespace zlk::usbscan
