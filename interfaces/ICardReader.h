#pragma once
// The card reader component: questions to a reader by number.

#include "platform/component.h"

struct ICardReader : IUnknown {
    virtual HRESULT put_ContextID(BSTR contextId) noexcept = 0;
    /// Answers cardStateOid; any other number fails.
    virtual HRESULT get_oidInteger(LONG oid, LONG* value) noexcept = 0;

  protected:
    ~ICardReader() = default;
};
template <>
inline constexpr GUID iidOf<ICardReader>{
    0xA1B0C052, 0x7E11, 0x4A52, {0x9C, 0x52, 0, 0, 0, 0, 0, 0xF2}};
inline constexpr WCHAR cardReaderProgId[] = u"ZLCUE.AiODeviceIO";
inline constexpr LONG cardStateOid = 193;
inline constexpr LONG cardInserted = 2;  ///< the value of cardStateOid with a card in the reader
