#pragma once
// SHA-256 (FIPS 180-4), for shortened names of files: nobody finds two texts with the same digest,
// and half a digest is still hard enough.

#include <array>
#include <cstdint>
#include <string_view>

namespace zlk::platform {

std::array<std::uint8_t, 32> sha256(std::string_view bytes) noexcept;

}  // namespace zlk::platform
