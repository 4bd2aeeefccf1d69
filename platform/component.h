#pragma once
// The component model: objects that are reached through interfaces, and made by class id or ProgID.
// The functions may be called on any thread, and have C linkage, since other languages call them by
// name. An object is used on the thread that made it, unless its header says otherwise.
//
// An interface or text that a call hands out belongs to the caller; one that is handed in is
// borrowed, except by SysFreeString. `BSTR` is a counted UTF-16 text that may hold zeros; null is
// the empty text.

#include <string_view>

#include "platform/error.h"
#include "platform/types.h"

/// Points to the first unit. The four bytes before it hold the byte count, and after the last unit
/// follows a terminator that isn't counted.
using BSTR = WCHAR*;

/// The interface id of an interface type, as in `iidOf<IUnknown>`; each interface header
/// specialises it.
template <class Interface>
extern const GUID iidOf;

/// The base of all interfaces: access to an object's other interfaces, and its reference count.
struct IUnknown {
    /// Gives the object as another interface, with a reference of its own. E_NOINTERFACE, with
    /// *object null, if the object has no such interface; E_POINTER for a null `object`.
    virtual HRESULT QueryInterface(const GUID& iid, void** object) noexcept = 0;
    /// Add and drop a reference; the object ends with its last one. The results are for tests only.
    virtual ULONG AddRef() noexcept = 0;
    virtual ULONG Release() noexcept = 0;

  protected:
    ~IUnknown() = default;
};
template <>
inline constexpr GUID iidOf<IUnknown>{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// Makes the objects of one class.
struct IClassFactory : IUnknown {
    /// Makes an object, whose reference belongs to the caller. With an `outer` object, the new one
    /// becomes a part of it: `iid` must then be IUnknown's (CLASS_E_NOAGGREGATION otherwise), and
    /// the outer object owns the part by that IUnknown.
    virtual HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) noexcept = 0;
    /// With `lock`, keeps the class's module loaded. A call without `lock` takes back one with it.
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

/// Makes a new text, which the caller frees; null if it can't be made, or for a null `text`.
BSTR SysAllocString(const WCHAR* text) noexcept;
/// Makes a new text of `length` units, which are zeros if `text` is null; null if it can't be made.
BSTR SysAllocStringLen(const WCHAR* text, UINT length) noexcept;
/// Frees a text; null is allowed.
void SysFreeString(BSTR text) noexcept;
/// The length in units, without the terminator; 0 for null.
UINT SysStringLen(BSTR text) noexcept;

/// Reads a class id in the form {8-4-4-4-12} of hexadecimal digits. CO_E_CLASSSTRING for any other
/// text; *clsid is then all zeros. E_INVALIDARG for a null `clsid`.
HRESULT CLSIDFromString(const WCHAR* text, GUID* clsid) noexcept;
/// Writes an id in the form that CLSIDFromString reads, with a terminator. `room` is in units.
/// Returns the units written, which are 39, or 0 if there is less room or `buffer` is null.
int StringFromGUID2(const GUID& id, WCHAR* buffer, int room) noexcept;

/// Finds the class that a ProgID stands for. The id is read from HKEY_CLASSES_ROOT\<ProgID>\CLSID.
/// If there is no valid id, it is read from the key CLSID of the ProgID that <ProgID>\CurVer names.
/// CO_E_CLASSSTRING if no id is found, E_INVALIDARG for a null `clsid`, E_OUTOFMEMORY, or the
/// HRESULT of a registry that can't be read.
HRESULT CLSIDFromProgID(const WCHAR* progId, GUID* clsid) noexcept;

/// Makes an object of a registered class in this process; the caller owns the reference in *object,
/// which is null on failure. The class's module stays loaded and the class's factory is kept: if
/// the class is registered anew, the old module still makes its objects until CoFreeUnusedLibraries
/// has unloaded that module. Results: REGDB_E_CLASSNOTREG (no such class, one without a module, or
/// a `context` without CLSCTX_INPROC_SERVER), CO_E_DLLNOTFOUND (the module doesn't load or isn't
/// trusted), CO_E_ERRORINDLL (the module has no DllGetClassObject, or gives no factory), E_POINTER
/// (`object` is null), E_OUTOFMEMORY, the HRESULT of ERROR_TOO_MANY_OPEN_FILES or of a registry
/// that can't be read, and whatever the module itself returns.
HRESULT CoCreateInstance(const GUID& clsid, IUnknown* outer, DWORD context, const GUID& iid,
                         void** object) noexcept;

/// Unloads each component module whose DllCanUnloadNow says that it has no objects. If threads
/// other than the caller's have made objects of a module, it is unloaded only when calls of this
/// function have found it idle for ten seconds and no object was made meanwhile: another thread may
/// have dropped its last reference and still be on its way out of the module's code.
void CoFreeUnusedLibraries() noexcept;

}  // extern "C"
#pragma GCC visibility pop

namespace zlk {

/// Owns one reference to an object. Copying adds a reference.
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
    /// For calls that hand out a reference; drops the one held before.
    Interface** out() noexcept {
        reset();
        return &pointer_;
    }
    /// Gives up ownership: the caller releases the reference that is returned.
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

/// Owns a BSTR and frees it in its destructor.
class Bstr {
  public:
    Bstr() = default;
    /// Copies `text`. If there is no memory, the Bstr holds null, which counts as the empty text.
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
    /// For calls that hand out a text; frees the one held before.
    BSTR* out() noexcept {
        SysFreeString(detach());
        return &text_;
    }
    /// Gives up ownership: the caller frees the text that is returned.
    BSTR detach() noexcept {
        BSTR text = text_;
        text_ = nullptr;
        return text;
    }

  private:
    BSTR text_ = nullptr;
};

}  // namespace zlk
