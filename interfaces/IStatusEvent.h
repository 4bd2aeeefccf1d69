#pragma once
// The event component: it records numbered status events of the system, in the system's log and in
// a file that the settings may name. An object is for one thread.

#include "platform/automation.h"

struct IStatusEvent : IDispatch {
    /// Records one event. `level` 1 is informative, any other asks for attention; `text` is
    /// borrowed and may be empty. If the file can't be written, the call fails with the HRESULT of
    /// a last error; a missing system log is no failure.
    virtual HRESULT Report(LONG eventId, LONG level, BSTR text) noexcept = 0;

  protected:
    ~IStatusEvent() = default;
};
template <>
inline constexpr GUID iidOf<IStatusEvent>{
    0xA1B0C051, 0x7E11, 0x4A51, {0x9C, 0x51, 0, 0, 0, 0, 0, 0xF1}};
inline constexpr GUID CLSID_StatusEvent{
    0xA1B0C050, 0x7E11, 0x4A50, {0x9C, 0x50, 0, 0, 0, 0, 0, 0xF0}};
