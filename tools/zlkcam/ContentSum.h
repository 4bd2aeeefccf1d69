#pragma once
// What tells the contents of two files apart without having both at hand: XXH128.

#include <array>
#include <cstddef>
#include <optional>
#include <string>

namespace zlk {

using ContentSum = std::array<std::byte, 16>;

/// Of a whole file; none with the last error where it can't be read.
std::optional<ContentSum> contentSum(const std::u16string& file);

}  // namespace zlk
