#pragma once
// The drive mapper component: it finds the drive on which the device of a context id is mounted. An
// object is for one thread, and is made by the ProgID or the class id below.

#include "platform/component.h"

struct IDriveMapper : IUnknown {
    /// Chooses the device; any text is accepted and copied.
    virtual HRESULT put_ContextId(BSTR contextId) noexcept = 0;
    /// Gives the place where the device is now: the root of a drive such as `E:\`, or a network
    /// path; the empty text if it is at neither. The caller frees the text.
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
