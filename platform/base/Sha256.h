#pragma once
// SHA-256 (FIPS 180-4), by which names that are too long for a file are shortened.

#include <array>
#include <cstdint>
#include <string_view>

namespace zlk::platform {

std::array<std::uint8_t, 32> sha256(std::string_view bytes) noexcept;

}  // namespace zlk::platform
