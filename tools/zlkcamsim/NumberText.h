#pragma once
// Numbers and bytes as testers write and read them.

#include <string>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// `0x1009`
std::string hexText(std::uint32_t number, int digits = 4);
/// `0x1009` or `4105`. Throws std::invalid_argument for anything else, or above `most`.
std::uint64_t parseNumber(const std::string& text, std::uint64_t most);

/// Two digits for each byte.
std::string hexOf(ByteView bytes);
/// Throws std::invalid_argument for what is none.
Bytes parseHex(const std::string& text);

}  // namespace zlk::camsim
