#pragma once
// The event component: one line for each event in the system's log, and in a file where the
// settings name one.

#include "interfaces/IStatusEvent.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// The file is the text value `EventLog` of the key `Software\Zephyr-Lanthorn\Platform` below
/// HKEY_LOCAL_MACHINE. It is opened for each event, so that it can be moved away at any time.
/// Report fails where such a file can't be written; the system's log may be away or full at any
/// time, and then does without the line.
class StatusEvent : public DispatchImpl<IStatusEvent> {
  public:
    using Interfaces = InterfaceList<IStatusEvent, IDispatch>;

    HRESULT Report(LONG eventId, LONG level, BSTR text) noexcept override;

  protected:
    ~StatusEvent() = default;
};

}  // namespace zlk
