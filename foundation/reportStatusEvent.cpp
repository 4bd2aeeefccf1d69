#include "foundation/reportStatusEvent.h"

#include "interfaces/IStatusEvent.h"

namespace zlk {

void reportStatusEvent(std::int32_t eventId, const std::u16string& text, std::int32_t level) {
    ComPtr<IStatusEvent> events;
    events.create(CLSID_StatusEvent);
    if (events) events->Report(eventId, level, Bstr(text).get());
}

}  // namespace zlk
