#include "platform/component_module.h"
#include "siblings/events/StatusEvent.h"

namespace {

constexpr zlk::ComponentClass classes[] = {
    {CLSID_StatusEvent, zlk::createObject<zlk::StatusEvent>, 1},
};

}  // namespace

ZLK_COMPONENT_MODULE(classes)
