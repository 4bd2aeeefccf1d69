#pragma once
// The classes of the test modules: TestClasses.cpp is built twice, as two modules that differ in
// what their things say.

#include "platform/component.h"

struct INamed : IUnknown {
    /// The name of the module that the object is from.
    virtual HRESULT get_Name(BSTR* name) noexcept = 0;

  protected:
    ~INamed() = default;
};
template <>
inline constexpr GUID iidOf<INamed>{0x7E570001, 0, 0, {1}};

struct ICounted : IUnknown {
    /// How many objects of its class there are in the module.
    virtual HRESULT get_Living(LONG* count) noexcept = 0;

  protected:
    ~ICounted() = default;
};
template <>
inline constexpr GUID iidOf<ICounted>{0x7E570002, 0, 0, {2}};

/// INamed, ICounted.
inline constexpr GUID CLSID_Thing{0x7E570010, 0, 0, {0x10}};
/// Makes a Thing in its constructor, through the component model, and gives its name.
inline constexpr GUID CLSID_Maker{0x7E570011, 0, 0, {0x11}};
/// Finds no memory in its constructor.
inline constexpr GUID CLSID_Starved{0x7E570012, 0, 0, {0x12}};
