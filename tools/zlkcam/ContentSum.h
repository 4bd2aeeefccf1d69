#pragma once
// Makes XXH128, the sum by which an unloading compares files without having both at hand. Digester
// makes sums of other kinds, too.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

struct XXH3_state_s;

namespace zlk {

/// The 16 bytes of XXH128, the highest first.
using ContentSum = std::array<std::byte, 16>;

/// Computes the sum piece by piece. The constructor throws std::bad_alloc if there is no memory for
/// it.
class ContentSummer {
  public:
    ContentSummer();

    void add(std::span<const std::byte> bytes);
    /// How many bytes were added so far.
    std::uint64_t size() const { return size_; }
    /// The sum of the bytes so far; more may be added afterwards.
    ContentSum sum() const;

  private:
    struct FreeState {
        void operator()(XXH3_state_s* state) const noexcept;
    };
    std::unique_ptr<XXH3_state_s, FreeState> state_;
    std::uint64_t size_ = 0;
};

/// Hexadecimal digits in lower case, two for each byte.
std::string hexText(std::span<const std::byte> bytes);

/// The digits as `xxhsum -H2` prints them.
std::string sumText(const ContentSum& sum);

}  // namespace zlk
