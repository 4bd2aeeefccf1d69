#pragma once
// How the progress of listings and transfers is reported.

#include <cstdint>

namespace zlk {

/// Implemented by the object that starts a listing or transfer. Called while the listing or
/// transfer runs, on the thread that started it.
class ObjectProgressInterface {
  public:
    /// `percent` is from 0 to 100. Returning false asks the operation to stop.
    virtual bool reportProgress(std::int32_t percent) = 0;

  protected:
    ~ObjectProgressInterface() = default;
};

/// `part` in per cent of `whole`, rounded to the nearest. `whole` must not be 0.
constexpr std::int32_t percentOf(std::uint32_t part, std::uint32_t whole) {
    return static_cast<std::int32_t>((std::uint64_t{part} * 100 + whole / 2) / whole);
}

}  // namespace zlk
