#pragma once
// Classes that stand in for what the directory calls. Their module is registered by ProgID like
// any other; the test tells them through the settings store how to behave:
//
//   Software\Fakes\Drives    <context id> = the prefix that the drive mapper gives
//   Software\Fakes\Device    Held = "yes": LockDevice fails; UnlockFails = "yes"; a message = its
//                            answer (else Escape fails). It counts what it hears in Calls.
//
// The delegates answer every method with "delegate" or 8, and with S_FALSE.

#include "platform/component.h"

namespace zlk::test {

inline constexpr GUID clsidFakeMapper{0xF0000001, 1, 1, {}};
inline constexpr GUID clsidFakeDevice{0xF0000002, 1, 1, {}};
inline constexpr GUID clsidFakeList{0xF0000003, 1, 1, {}};
inline constexpr GUID clsidFakeUtils{0xF0000004, 1, 1, {}};

inline constexpr WCHAR fakeDrivesKey[] = u"Software\\Fakes\\Drives";
inline constexpr WCHAR fakeDeviceKey[] = u"Software\\Fakes\\Device";

}  // namespace zlk::test
