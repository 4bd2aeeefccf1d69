#include "usbscan/recording/Pcapng.h"

namespace zlk::usbscan {
namespace {

constexpr std::uint32_t sectionBlock = 0x0A0D0D0A, interfaceBlock = 1, packetBlock = 6;
constexpr std::uint32_t byteOrderMagic = 0x1A2B3C4D;
constexpr std::uint16_t commentOption = 1, applicationOption = 4;

template <class Number>
void append(std::string& to, Number value) {
    to.append(reinterpret_cast<const char*>(&value), sizeof value);
}

/// What follows a text or a packet begins at a multiple of four bytes.
void appendPadded(std::string& to, std::string_view bytes) {
    to += bytes;
    to.append((4 - bytes.size() % 4) % 4, '\0');
}

void appendOption(std::string& to, std::uint16_t code, std::string_view text) {
    if (text.empty()) return;
    append(to, code);
    append(to, static_cast<std::uint16_t>(text.size()));
    appendPadded(to, text);
    append(to, std::uint32_t{0});  // the end of the options
}

/// A block has its length at the beginning and at the end, so that readers can go both ways.
std::string block(std::uint32_t type, std::string_view body) {
    const auto length = static_cast<std::uint32_t>(body.size() + 12);
    std::string bytes;
    bytes.reserve(length);
    append(bytes, type);
    append(bytes, length);
    bytes += body;
    append(bytes, length);
    return bytes;
}

}  // namespace

std::string pcapngHead(std::uint16_t linkType) {
    std::string section;
    append(section, byteOrderMagic);
    append(section, std::uint16_t{1});  // version 1.0
    append(section, std::uint16_t{0});
    append(section, std::int64_t{-1});  // the section's length is unknown
    appendOption(section, applicationOption, "zlk-usbscan");
    std::string interface;
    append(interface, linkType);
    append(interface, std::uint16_t{0});
    append(interface, std::uint32_t{0});  // no limit to the length of packets
    return block(sectionBlock, section) + block(interfaceBlock, interface);
}

std::string pcapngPacket(std::int64_t time, std::string_view packet, std::uint32_t length,
                         std::string_view comment) {
    std::string body;
    body.reserve(packet.size() + comment.size() + 40);
    append(body, std::uint32_t{0});  // number of the interface
    append(body, static_cast<std::uint32_t>(static_cast<std::uint64_t>(time) >> 32));
    append(body, static_cast<std::uint32_t>(time));
    append(body, static_cast<std::uint32_t>(packet.size()));
    append(body, length);
    appendPadded(body, packet);
    appendOption(body, commentOption, comment);
    return block(packetBlock, body);
}

}  // namespace zlk::usbscan
