#include "tools/zlkcamsim/NumberText.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <stdexcept>

namespace zlk::camsim {

std::string hexText(std::uint32_t number, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%0*X", digits, number);
    return text.data();
}

std::uint64_t parseNumber(const std::string& text, std::uint64_t most) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const start = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto [stopped, error] = std::from_chars(start, end, number, hexadecimal ? 16 : 10);
    // A number with something after it is no number.
    if (error != std::errc() || stopped != end || number > most)
        throw std::invalid_argument("no such number: " + text);
    return number;
}

Bytes parseHex(const std::string& text) {
    if (text.size() % 2 != 0) throw std::invalid_argument("digits in pairs: " + text);
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<std::byte>(parseNumber("0x" + text.substr(i, 2), 0xFF)));
    return bytes;
}

std::string hexOf(ByteView bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : bytes) {
        text += digits[std::to_integer<unsigned>(byte) >> 4];
        text += digits[std::to_integer<unsigned>(byte) & 15];
    }
    return text;
}

}  // namespace zlk::camsim
