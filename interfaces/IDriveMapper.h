#pragma once
// The drive mapper: from a context id to the drive on which its device is mounted.

#include "platform/component.h"

struct IDriveMapper : IUnknown {
    /// Chooses the device; any text is taken.
    virtual HRESULT put_ContextId(BSTR contextId) noexcept = 0;
    /// `E:\`, a network path, or the empty text where the device is on no drive now.
    virtual HRESULT get_DrivePrefix(BSTR* prefix) noexcept = 0;

  protected:
    ~IDriveMapper() = default;
};
template <>
inline constexpr GUID iidOf<IDriveMapper>{
    0xA1B0C040, 0x7E11, 0x4A40, {0x9C, 0x40, 0, 0, 0, 0, 0, 0xE0}};
inline constexpr GUID CLSID_DriveMapper{
    0xA1B0C041, 0x7E11, 0x4A41, {0x9C, 0x41, 0, 0, 0, 0, 0, 0xE1}};
inline constexpr WCHAR driveMapperProgId[] = u"ZLCUE.DriveMapper";
