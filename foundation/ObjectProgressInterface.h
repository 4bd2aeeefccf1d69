#pragma once
#include <cstdint>

namespace zlk {

/// What a listing or a transfer talks to.
class ObjectProgressInterface {
  public:
    /// `percent` is 0 to 100. False asks the operation to stop.
    virtual bool reportProgress(std::int32_t percent) = 0;

  protected:
    ~ObjectProgressInterface() = default;
};

/// The share of the whole, which isn't 0, in per cent: rounded as MulDiv rounds, but in 64 bits,
/// since sizes go beyond 2 GiB.
constexpr std::int32_t percentOf(std::uint32_t part, std::uint32_t whole) {
    return static_cast<std::int32_t>((std::uint64_t{part} * 100 + whole / 2) / whole);
}

}  // namespace zlk
