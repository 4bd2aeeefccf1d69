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

}  // namespace zlk
