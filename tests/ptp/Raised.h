#pragma once
#include <cstdint>

#include "ptp/PTPCommErrors.h"

namespace zlk::test {

/// What a call of the PTP stack raises; 0 for nothing.
template <class Call>
std::uint32_t raisedBy(Call call) {
    try {
        call();
    } catch (PTPCommErrors error) {
        return error;
    }
    return 0;
}

}  // namespace zlk::test
