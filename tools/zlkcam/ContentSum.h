#pragma once
// What tells the contents of two files apart without having both at hand: XXH128.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

struct XXH3_state_s;

namespace zlk {

using ContentSum = std::array<std::byte, 16>;

/// A sum in the making.
class ContentSummer {
  public:
    ContentSummer();

    void add(std::span<const std::byte> bytes);
    std::uint64_t size() const { return size_; }
    ContentSum sum() const;

  private:
    struct FreeState {
        void operator()(XXH3_state_s* state) const noexcept;
    };
    std::unique_ptr<XXH3_state_s, FreeState> state_;
    std::uint64_t size_ = 0;
};

/// Two lower case digits a byte.
std::string hexText(std::span<const std::byte> bytes);

/// As `xxhsum -H2` prints it.
std::string sumText(const ContentSum& sum);

}  // namespace zlk
