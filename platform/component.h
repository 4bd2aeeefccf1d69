#pragma once
// The component model: objects behind interfaces, made by class id or ProgID.
//
// Reference rules are those of every component model of this shape: an out interface or text
// belongs to the caller; an in one is borrowed. `BSTR` is a counted UTF-16 text that may hold
// zeros; null is the empty text. The functions have C linkage, since other languages call them by
// name.

#include <string_view>

#include "platform/error.h"
#include "platform/types.h"

/// Points at the first unit; the byte count stands in the four bytes in front of it, a terminator
/// that isn't counted behind the last unit.
using BSTR = WCHAR*;

/// The interface id of an interface type, as in `iidOf<IUnknown>`; each interface header
/// specialises it.
template <class Interface>
extern const GUID iidOf;

struct IUnknown {
    /// Gives the object as another interface, counted. E_NOINTERFACE, with *object null, if it
    /// has none such; E_POINTER for a null `object`.
    virtual HRESULT QueryInterface(const GUID& iid, void** object) noexcept = 0;
    virtual ULONG AddRef() noexcept = 0;
    virtual ULONG Release() noexcept = 0;

  protected:
    ~IUnknown() = default;
};
template <>
inline constexpr GUID iidOf<IUnknown>{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

struct IClassFactory : IUnknown {
    /// Makes an object. With an `outer`, whose part it becomes, `iid` must be IUnknown's, or the
    /// result is CLASS_E_NOAGGREGATION; the outer object then owns the inner one's IUnknown.
    virtual HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) noexcept = 0;
    virtual HRESULT LockServer(BOOL lock) noexcept = 0;

  protected:
    ~IClassFactory() = default;
};
template <>
inline constexpr GUID iidOf<IClassFactory>{1, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;
inline constexpr DWORD CLSCTX_ALL = 7;  ///< what callers pass; only servers in the process exist

#pragma GCC visibility push(default)
extern "C" {

/// A new text; null where there is no memory, or for a null `text`.
BSTR SysAllocString(const WCHAR* text) noexcept;
/// `text` null: `length` units of zeros.
BSTR SysAllocStringLen(const WCHAR* text, UINT length) noexcept;
void SysFreeString(BSTR text) noexcept;
/// Units, without the terminator; 0 for null.
UINT SysStringLen(BSTR text) noexcept;

/// A class id in the form {8-4-4-4-12}. CO_E_CLASSSTRING otherwise; *clsid is then all zeros.
HRESULT CLSIDFromString(const WCHAR* text, GUID* clsid) noexcept;
/// The text of an id with its terminator; the units written, 39, or 0 with less room.
int StringFromGUID2(const GUID& id, WCHAR* buffer, int room) noexcept;

/// The class that a ProgID stands for (HKEY_CLASSES_ROOT\<ProgID>\CLSID, or by way of its CurVer).
/// CO_E_CLASSSTRING if there is none, or the HRESULT of a registry that can't be read.
HRESULT CLSIDFromProgID(const WCHAR* progId, GUID* clsid) noexcept;

/// Makes an object of a registered class in this process. The class's module is loaded once and
/// its factory kept: where the class is registered anew, a process that has loaded it goes on with
/// its module until CoFreeUnusedLibraries has let go of it. Results: REGDB_E_CLASSNOTREG (no such
/// class, or none whose module is named), CO_E_DLLNOTFOUND (the module doesn't load or isn't
/// trusted), CO_E_ERRORINDLL (it has no DllGetClassObject), E_OUTOFMEMORY, the HRESULT of
/// ERROR_TOO_MANY_OPEN_FILES or of a registry that can't be read, and what the class itself
/// answers.
HRESULT CoCreateInstance(const GUID& clsid, IUnknown* outer, DWORD context, const GUID& iid,
                         void** object) noexcept;

/// Unloads each component module that says it can go (DllCanUnloadNow). One that other threads
/// than the caller's have made objects of goes by the first call that comes ten seconds after
/// another one has found it idle, so that no thread is still on its way out of it.
void CoFreeUnusedLibraries() noexcept;

}  // extern "C"
#pragma GCC visibility pop

namespace zlk {

/// A counted reference with an owner.
template <class Interface>
class ComPtr {
  public:
    ComPtr() = default;
    ComPtr(const ComPtr& other) noexcept : pointer_(other.pointer_) {
        if (pointer_) pointer_->AddRef();
    }
    ComPtr(ComPtr&& other) noexcept : pointer_(other.detach()) {}
    ComPtr& operator=(ComPtr other) noexcept {
        Interface* old = pointer_;
        pointer_ = other.pointer_;
        other.pointer_ = old;
        return *this;
    }
    ~ComPtr() { reset(); }

    Interface* get() const noexcept { return pointer_; }
    Interface* operator->() const noexcept { return pointer_; }
    explicit operator bool() const noexcept { return pointer_ != nullptr; }
    /// For calls that hand out a counted reference; drops the one held before.
    Interface** out() noexcept {
        reset();
        return &pointer_;
    }
    Interface* detach() noexcept {
        Interface* pointer = pointer_;
        pointer_ = nullptr;
        return pointer;
    }
    void reset() noexcept {
        if (Interface* pointer = detach()) pointer->Release();
    }

    /// Makes an object of a class, by id or by ProgID; the reference is empty on failure.
    HRESULT create(const GUID& clsid) noexcept {
        return CoCreateInstance(clsid, nullptr, CLSCTX_ALL, iidOf<Interface>,
                                reinterpret_cast<void**>(out()));
    }
    HRESULT create(const WCHAR* progId) noexcept {
        GUID clsid;
        reset();
        const HRESULT found = CLSIDFromProgID(progId, &clsid);
        return FAILED(found) ? found : create(clsid);
    }

  private:
    Interface* pointer_ = nullptr;
};

/// A BSTR with an owner.
class Bstr {
  public:
    Bstr() = default;
    /// Null where there is no memory; calls then see the empty text.
    explicit Bstr(std::u16string_view text) noexcept
        : text_(
              SysAllocStringLen(text.data() ? text.data() : u"", static_cast<UINT>(text.size()))) {}
    Bstr(Bstr&& other) noexcept : text_(other.detach()) {}
    Bstr& operator=(Bstr&& other) noexcept {
        if (this != &other) {
            SysFreeString(text_);
            text_ = other.detach();
        }
        return *this;
    }
    ~Bstr() { SysFreeString(text_); }

    BSTR get() const noexcept { return text_; }
    std::u16string_view view() const noexcept { return {text_ ? text_ : u"", SysStringLen(text_)}; }
    BSTR* out() noexcept {
        SysFreeString(detach());
        return &text_;
    }
    BSTR detach() noexcept {
        BSTR text = text_;
        text_ = nullptr;
        return text;
    }

  private:
    BSTR text_ = nullptr;
};

}  // namespace zlk
