#pragma once
// Reports events to the component that records them.

#include <cstdint>
#include <string>

namespace zlk {

/// Hands one numbered event to the event component (interfaces/IStatusEvent.h). Does nothing if
/// that component can't be created. Level 1 is informative.
void reportStatusEvent(std::int32_t eventId, const std::u16string& text, std::int32_t level);

}  // namespace zlk
