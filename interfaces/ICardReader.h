#pragma once
// The card reader component: it answers whether a device has a card in it. An object is for one
// thread, and is made by the ProgID or the class id below.

#include "platform/component.h"

struct ICardReader : IUnknown {
    /// Chooses the device; any text is accepted and copied.
    virtual HRESULT put_ContextID(BSTR contextId) noexcept = 0;
    /// Gives the state that has the number `oid`. Only cardStateOid is known; any other number is
    /// E_INVALIDARG. If the device is on no drive or network path now, the result is the HRESULT of
    /// ERROR_INVALID_DRIVE.
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
// The one number that get_oidInteger knows: whether a card is in the reader.
inline constexpr LONG cardStateOid = 193;
inline constexpr LONG cardMissing = 1;   ///< a value of cardStateOid: no card is in the reader
inline constexpr LONG cardInserted = 2;  ///< a value of cardStateOid: a card is in the reader
