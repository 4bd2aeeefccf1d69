#pragma once
// The event component: writes each event as one line into the system's log, and into a file if the
// settings name one.

#include "interfaces/IStatusEvent.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// The file is named by the text value `EventLog` of the key `Software\Zephyr-Lanthorn\Platform`
/// below HKEY_LOCAL_MACHINE. It is opened for each event, so that it can be moved away at any time.
/// Report() fails if this file can't be written. If the system's log is missing or full, the line
/// is lost there, without a failure.
class StatusEvent : public DispatchImpl<IStatusEvent> {
  public:
    using Interfaces = InterfaceList<IStatusEvent, IDispatch>;

    HRESULT Report(LONG eventId, LONG level, BSTR text) noexcept override;

  protected:
    ~StatusEvent() = default;
};

}  // namespace zlk
