#pragma once
// The card reader component: questions to a reader by number.

#include "platform/component.h"

struct ICardReader : IUnknown {
    virtual HRESULT put_ContextID(BSTR contextId) noexcept = 0;
    /// Answers cardStateOid; any other number is E_INVALIDARG. Fails with ERROR_INVALID_DRIVE's
    /// HRESULT where the device is on no drive now.
    virtual HRESULT get_oidInteger(LONG oid, LONG* value) noexcept = 0;

  protected:
    ~ICardReader() = default;
};
template <>
inline constexpr GUID iidOf<ICardReader>{
    0xA1B0C052, 0x7E11, 0x4A52, {0x9C, 0x52, 0, 0, 0, 0, 0, 0xF2}};
inline constexpr GUID CLSID_CardReader{
    0xA1B0C053, 0x7E11, 0x4A53, {0x9C, 0x53, 0, 0, 0, 0, 0, 0xF3}};
inline constexpr WCHAR cardReaderProgId[] = u"ZLCUE.AiODeviceIO";
inline constexpr LONG cardStateOid = 193;
inline constexpr LONG cardMissing = 1;   ///< the values of cardStateOid: a reader without a card,
inline constexpr LONG cardInserted = 2;  ///< and with one
