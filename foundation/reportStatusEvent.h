#pragma once
// Reports events to the component that records them.

#include <cstdint>
#include <string>

namespace zlk {

/// Hands one numbered event to the event component, and does nothing if there is none. Level 1 is
/// informative.
void reportStatusEvent(std::int32_t eventId, const std::u16string& text, std::int32_t level);

}  // namespace zlk
