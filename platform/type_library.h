#pragma once
// Type libraries: what the interfaces of a module are, for those who don't have its header. The
// build makes one from the interface definition file (cmake/Idl.cmake), and it lies in the module
// as a resource of the type TYPELIB.
//
// Descriptions are counted objects like any other, but may be used on any thread, and outlive the
// module that they were read from. The structures are laid out as automation clients know them.

#include "platform/automation.h"

using MEMBERID = DISPID;
using HREFTYPE = DWORD;  ///< names one type for another one's GetRefTypeInfo

inline constexpr MEMBERID MEMBERID_NIL = -1;  ///< the type or library itself, in GetDocumentation

enum TYPEKIND : std::int32_t {
    TKIND_INTERFACE = 3,  ///< a virtual table
    TKIND_DISPATCH = 4,   ///< members by dispatch id; with TYPEFLAG_FDUAL a virtual table too
    TKIND_COCLASS = 5,
};
enum FUNCKIND : std::int32_t { FUNC_PUREVIRTUAL = 1, FUNC_DISPATCH = 4 };
enum INVOKEKIND : std::int32_t { INVOKE_FUNC = 1, INVOKE_PROPERTYGET = 2, INVOKE_PROPERTYPUT = 4 };
enum CALLCONV : std::int32_t { CC_CDECL = 1 };  ///< the machine's own convention for C functions
enum SYSKIND : std::int32_t { SYS_WIN32 = 1, SYS_WIN64 = 3 };

inline constexpr VARTYPE VT_VOID = 24;
inline constexpr VARTYPE VT_HRESULT = 25;
inline constexpr VARTYPE VT_PTR = 26;

inline constexpr WORD TYPEFLAG_FCANCREATE = 0x2;
inline constexpr WORD TYPEFLAG_FDUAL = 0x40;
inline constexpr WORD TYPEFLAG_FOLEAUTOMATION = 0x100;
inline constexpr WORD TYPEFLAG_FDISPATCHABLE = 0x1000;
inline constexpr WORD PARAMFLAG_FIN = 1, PARAMFLAG_FOUT = 2, PARAMFLAG_FRETVAL = 8;
inline constexpr LONG IMPLTYPEFLAG_FDEFAULT = 1;

struct TYPEDESC {
    union {
        TYPEDESC* lptdesc;  ///< of VT_PTR: to what
        HREFTYPE hreftype;
    };
    VARTYPE vt;
};

struct PARAMDESC {
    void* pparamdescex;  ///< null: no parameter has a default
    WORD wParamFlags;
};

struct ELEMDESC {
    TYPEDESC tdesc;
    PARAMDESC paramdesc;
};

/// One member. In a TKIND_DISPATCH what is marked retval stands as the type of the member itself
/// and not among its parameters.
struct FUNCDESC {
    MEMBERID memid;
    HRESULT* lprgscode;
    ELEMDESC* lprgelemdescParam;
    FUNCKIND funckind;
    INVOKEKIND invkind;
    CALLCONV callconv;
    SHORT cParams;
    SHORT cParamsOpt;
    SHORT oVft;  ///< where it stands in the virtual table, in bytes
    SHORT cScodes;
    ELEMDESC elemdescFunc;
    WORD wFuncFlags;
};

struct TYPEATTR {
    GUID guid;
    DWORD lcid;
    DWORD dwReserved;
    MEMBERID memidConstructor;
    MEMBERID memidDestructor;
    WCHAR* lpstrSchema;
    ULONG cbSizeInstance;
    TYPEKIND typekind;
    WORD cFuncs;  ///< its own, without those of the interface that it is based on
    WORD cVars;
    WORD cImplTypes;
    WORD cbSizeVft;
    WORD cbAlignment;
    WORD wTypeFlags;
    WORD wMajorVerNum;
    WORD wMinorVerNum;
    TYPEDESC tdescAlias;
    struct {
        std::uintptr_t dwReserved;
        WORD wIDLFlags;
    } idldescType;
};

struct TLIBATTR {
    GUID guid;
    DWORD lcid;
    SYSKIND syskind;
    WORD wMajorVerNum;
    WORD wMinorVerNum;
    WORD wLibFlags;
};

static_assert(sizeof(void*) != 8 ||
              (sizeof(ELEMDESC) == 32 && sizeof(FUNCDESC) == 88 && sizeof(TYPEATTR) == 96));

struct ITypeLib;
struct ITypeComp;
struct VARDESC;

/// One type of a library. What a call hands out belongs to the caller: texts and objects as always,
/// descriptions until the Release call of their name. Null places for texts that aren't wanted are
/// allowed in GetDocumentation. TYPE_E_ELEMENTNOTFOUND for a place or id that isn't there.
struct ITypeInfo : IUnknown {
    virtual HRESULT GetTypeAttr(TYPEATTR** attributes) noexcept = 0;
    virtual HRESULT GetTypeComp(ITypeComp** binder) noexcept = 0;  ///< E_NOTIMPL
    virtual HRESULT GetFuncDesc(UINT index, FUNCDESC** member) noexcept = 0;
    virtual HRESULT GetVarDesc(UINT index, VARDESC** variable) noexcept = 0;  ///< there are none
    /// The name of a member, then those of its parameters; `count` is how many were given.
    virtual HRESULT GetNames(MEMBERID id, BSTR* names, UINT room, UINT* count) noexcept = 0;
    /// What the type is based on, or a class implements; index 0. For a dual TKIND_DISPATCH the
    /// index -1 gives the same interface as a TKIND_INTERFACE, and the other way round.
    virtual HRESULT GetRefTypeOfImplType(UINT index, HREFTYPE* type) noexcept = 0;
    virtual HRESULT GetImplTypeFlags(UINT index, LONG* flags) noexcept = 0;
    /// As IDispatch::GetIDsOfNames.
    virtual HRESULT GetIDsOfNames(WCHAR** names, UINT count, MEMBERID* ids) noexcept = 0;
    /// As IDispatch::Invoke, on `instance`, which must be the interface that this describes: its
    /// virtual table is called. A parameter that is a pointer to a VARIANT gets the argument
    /// itself, or what the argument refers to, unlooked at. TYPE_E_WRONGTYPEKIND for a class.
    virtual HRESULT Invoke(void* instance, MEMBERID id, WORD flags, DISPPARAMS* parameters,
                           VARIANT* result, EXCEPINFO* exception, UINT* argumentError) noexcept = 0;
    virtual HRESULT GetDocumentation(MEMBERID id, BSTR* name, BSTR* help, DWORD* helpContext,
                                     BSTR* helpFile) noexcept = 0;
    /// TYPE_E_BADMODULEKIND: no type here is a module of functions.
    virtual HRESULT GetDllEntry(MEMBERID id, INVOKEKIND kind, BSTR* module, BSTR* name,
                                WORD* ordinal) noexcept = 0;
    virtual HRESULT GetRefTypeInfo(HREFTYPE type, ITypeInfo** info) noexcept = 0;
    /// TYPE_E_BADMODULEKIND.
    virtual HRESULT AddressOfMember(MEMBERID id, INVOKEKIND kind, void** address) noexcept = 0;
    /// Makes an object of a class, as CoCreateInstance. TYPE_E_WRONGTYPEKIND for an interface.
    virtual HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) noexcept = 0;
    virtual HRESULT GetMops(MEMBERID id, BSTR* text) noexcept = 0;  ///< the empty text
    virtual HRESULT GetContainingTypeLib(ITypeLib** library, UINT* index) noexcept = 0;
    virtual void ReleaseTypeAttr(TYPEATTR* attributes) noexcept = 0;
    virtual void ReleaseFuncDesc(FUNCDESC* member) noexcept = 0;
    virtual void ReleaseVarDesc(VARDESC* variable) noexcept = 0;

  protected:
    ~ITypeInfo() = default;
};
template <>
inline constexpr GUID iidOf<ITypeInfo>{0x00020401, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// A library. Dual interfaces come as TKIND_DISPATCH.
struct ITypeLib : IUnknown {
    virtual UINT GetTypeInfoCount() noexcept = 0;
    /// TYPE_E_ELEMENTNOTFOUND, as of the next two.
    virtual HRESULT GetTypeInfo(UINT index, ITypeInfo** info) noexcept = 0;
    virtual HRESULT GetTypeInfoType(UINT index, TYPEKIND* kind) noexcept = 0;
    virtual HRESULT GetTypeInfoOfGuid(const GUID& id, ITypeInfo** info) noexcept = 0;
    virtual HRESULT GetLibAttr(TLIBATTR** attributes) noexcept = 0;
    virtual HRESULT GetTypeComp(ITypeComp** binder) noexcept = 0;  ///< E_NOTIMPL
    /// Of the library with index -1, else of a type.
    virtual HRESULT GetDocumentation(LONG index, BSTR* name, BSTR* help, DWORD* helpContext,
                                     BSTR* helpFile) noexcept = 0;
    /// Whether a type or member has this name, case ignored; `name` is then spelled as there.
    virtual HRESULT IsName(WCHAR* name, ULONG hash, BOOL* found) noexcept = 0;
    /// The types of this name or with a member of it: `count` says how many are wanted, and then
    /// how many were given.
    virtual HRESULT FindName(WCHAR* name, ULONG hash, ITypeInfo** infos, MEMBERID* ids,
                             WORD* count) noexcept = 0;
    virtual void ReleaseTLibAttr(TLIBATTR* attributes) noexcept = 0;

  protected:
    ~ITypeLib() = default;
};
template <>
inline constexpr GUID iidOf<ITypeLib>{0x00020402, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

#pragma GCC visibility push(default)
extern "C" {

/// Reads a library from a module's TYPELIB resource (number 1, or K of "path\K"), or from a file of
/// its own. The module is loaded for the while; a bare name is looked for beside the installed
/// modules, both as LoadLibraryW does. TYPE_E_CANTLOADLIBRARY (no such file or resource, or others
/// may change the module), TYPE_E_INVDATAREAD (cut off or damaged), E_INVALIDARG, E_OUTOFMEMORY,
/// the HRESULT of ERROR_TOO_MANY_OPEN_FILES.
HRESULT LoadTypeLib(const WCHAR* path, ITypeLib** library) noexcept;

/// Reads the library of that id and version that is registered for the locale or, for want of one,
/// whatever other one there is: only help texts differ. TYPE_E_LIBNOTREGISTERED, or the results of
/// LoadTypeLib.
HRESULT LoadRegTypeLib(const GUID& id, WORD majorVersion, WORD minorVersion, DWORD localeId,
                       ITypeLib** library) noexcept;

/// Writes into HKEY_CLASSES_ROOT where the library is (`path`, as LoadTypeLib takes it) and which
/// interfaces it describes for automation. `helpFolder` may be null. TYPE_E_REGISTRYACCESS,
/// E_INVALIDARG, E_OUTOFMEMORY.
HRESULT RegisterTypeLib(ITypeLib* library, const WCHAR* path, const WCHAR* helpFolder) noexcept;

/// Takes away what RegisterTypeLib wrote for one locale. What isn't there, or is only installed for
/// everybody, counts as taken away. TYPE_E_REGISTRYACCESS, E_OUTOFMEMORY.
HRESULT UnRegisterTypeLib(const GUID& id, WORD majorVersion, WORD minorVersion, DWORD localeId,
                          SYSKIND kind) noexcept;

}  // extern "C"
#pragma GCC visibility pop
