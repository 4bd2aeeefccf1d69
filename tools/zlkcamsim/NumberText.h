#pragma once
// Numbers and bytes in the form in which testers write and read them.

#include <string>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// The number as in `0x1009`, with at least `digits` digits.
std::string hexText(std::uint32_t number, int digits = 4);
/// Parses `0x1009` or `4105`. Throws std::invalid_argument for other texts and for numbers above
/// `most`.
std::uint64_t parseNumber(const std::string& text, std::uint64_t most);

/// Two digits in lower case for each byte.
std::string hexOf(ByteView bytes);
/// Parses pairs of hexadecimal digits. Throws std::invalid_argument for another text.
Bytes parseHex(const std::string& text);

}  // namespace zlk::camsim
