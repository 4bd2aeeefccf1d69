#pragma once
#include <cstdint>
#include <string>

namespace zlk {

/// Hands one numbered event to the event component, if there is one. Level 1 is informative.
void reportStatusEvent(std::int32_t eventId, const std::u16string& text, std::int32_t level);

}  // namespace zlk
