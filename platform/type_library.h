#pragma once
// Type libraries: descriptions of a module's interfaces for callers that don't have its header. The
// build makes one from the interface definition file (cmake/Idl.cmake) and puts it into the module
// as a resource of the type TYPELIB.
//
// Descriptions are reference-counted objects like any other, but may be used on any thread, and
// stay valid after the module that they were read from is unloaded. The structures have the layout
// that automation clients expect.

#include "platform/automation.h"

using MEMBERID = DISPID;
using HREFTYPE = DWORD;  ///< refers to another type, for GetRefTypeInfo

/// The type itself and no member of it; as an index of ITypeLib::GetDocumentation, the library
/// itself.
inline constexpr MEMBERID MEMBERID_NIL = -1;

enum TYPEKIND : std::int32_t {
    TKIND_INTERFACE = 3,  ///< a virtual table
    TKIND_DISPATCH = 4,   ///< members by dispatch id; with TYPEFLAG_FDUAL a virtual table too
    TKIND_COCLASS = 5,
};
enum FUNCKIND : std::int32_t { FUNC_PUREVIRTUAL = 1, FUNC_DISPATCH = 4 };
enum INVOKEKIND : std::int32_t { INVOKE_FUNC = 1, INVOKE_PROPERTYGET = 2, INVOKE_PROPERTYPUT = 4 };
enum CALLCONV : std::int32_t { CC_CDECL = 1 };  ///< the machine's own convention for C functions
enum SYSKIND : std::int32_t { SYS_WIN32 = 1, SYS_WIN64 = 3 };

// Types that only descriptions have, and no VARIANT.
inline constexpr VARTYPE VT_VOID = 24;
inline constexpr VARTYPE VT_HRESULT = 25;
inline constexpr VARTYPE VT_PTR = 26;

// Properties of a type, of a parameter, and of a class's interface.
inline constexpr WORD TYPEFLAG_FCANCREATE = 0x2;
inline constexpr WORD TYPEFLAG_FDUAL = 0x40;
inline constexpr WORD TYPEFLAG_FOLEAUTOMATION = 0x100;
inline constexpr WORD TYPEFLAG_FDISPATCHABLE = 0x1000;
inline constexpr WORD PARAMFLAG_FIN = 1, PARAMFLAG_FOUT = 2, PARAMFLAG_FRETVAL = 8;
inline constexpr LONG IMPLTYPEFLAG_FDEFAULT = 1;

/// The type of a parameter or result.
struct TYPEDESC {
    union {
        TYPEDESC* lptdesc;  ///< with VT_PTR: the type pointed to
        HREFTYPE hreftype;
    };
    VARTYPE vt;
};

struct PARAMDESC {
    void* pparamdescex;  ///< always null: no parameter has a default
    WORD wParamFlags;
};

/// A parameter, or the result of a member.
struct ELEMDESC {
    TYPEDESC tdesc;
    PARAMDESC paramdesc;
};

/// Describes one member. In a TKIND_DISPATCH a parameter marked retval is left out of the
/// parameters and described as the member's result.
struct FUNCDESC {
    MEMBERID memid;
    HRESULT* lprgscode;
    ELEMDESC* lprgelemdescParam;
    FUNCKIND funckind;
    INVOKEKIND invkind;
    CALLCONV callconv;
    SHORT cParams;
    SHORT cParamsOpt;
    SHORT oVft;  ///< the member's offset in the virtual table, in bytes
    SHORT cScodes;
    ELEMDESC elemdescFunc;
    WORD wFuncFlags;
};

/// Describes a type as a whole. Fields for what no type here has are 0 or null, and those of the
/// type MEMBERID are MEMBERID_NIL.
struct TYPEATTR {
    GUID guid;
    DWORD lcid;
    DWORD dwReserved;
    MEMBERID memidConstructor;
    MEMBERID memidDestructor;
    WCHAR* lpstrSchema;
    ULONG cbSizeInstance;
    TYPEKIND typekind;
    WORD cFuncs;  ///< the type's own members, without those of its base interface
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

/// What a library is registered under: its id, version and locale, and the kind of system that it
/// is for. Our libraries have no flags, so wLibFlags is 0.
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

/// Describes one type of a library. The caller owns what a call hands out: texts are freed by
/// SysFreeString, objects are released, and descriptions are freed by ReleaseTypeAttr,
/// ReleaseFuncDesc or ReleaseVarDesc. GetDocumentation takes null for texts that aren't wanted.
/// Unless a call says otherwise, it returns TYPE_E_ELEMENTNOTFOUND for an index or id that the type
/// doesn't have (Invoke: DISP_E_MEMBERNOTFOUND), and E_INVALIDARG for a null out argument
/// (CreateInstance: E_POINTER).
struct ITypeInfo : IUnknown {
    virtual HRESULT GetTypeAttr(TYPEATTR** attributes) noexcept = 0;
    virtual HRESULT GetTypeComp(ITypeComp** binder) noexcept = 0;  ///< E_NOTIMPL
    /// Describes the member at an index, in the order of the virtual table.
    virtual HRESULT GetFuncDesc(UINT index, FUNCDESC** member) noexcept = 0;
    virtual HRESULT GetVarDesc(UINT index, VARDESC** variable) noexcept = 0;  ///< no type has any
    /// Gives the name of a member and then those of its parameters. There is room for `room` names;
    /// `count` receives how many were given.
    virtual HRESULT GetNames(MEMBERID id, BSTR* names, UINT room, UINT* count) noexcept = 0;
    /// Index 0 gives the type that an interface is based on, or the default interface of a class. A
    /// dual interface has two descriptions: index -1 of its TKIND_DISPATCH leads to the same
    /// interface as a TKIND_INTERFACE, and index -1 of the TKIND_INTERFACE leads back.
    virtual HRESULT GetRefTypeOfImplType(UINT index, HREFTYPE* type) noexcept = 0;
    virtual HRESULT GetImplTypeFlags(UINT index, LONG* flags) noexcept = 0;
    /// As IDispatch::GetIDsOfNames.
    virtual HRESULT GetIDsOfNames(WCHAR** names, UINT count, MEMBERID* ids) noexcept = 0;
    /// As IDispatch::Invoke. `instance` must be a pointer to the interface described here, because
    /// its virtual table is called; a wrong pointer can't be noticed. For an [in] parameter of the
    /// type VARIANT* the function gets the argument itself, or the VARIANT that the argument refers
    /// to, unconverted. TYPE_E_WRONGTYPEKIND for a class.
    virtual HRESULT Invoke(void* instance, MEMBERID id, WORD flags, DISPPARAMS* parameters,
                           VARIANT* result, EXCEPINFO* exception, UINT* argumentError) noexcept = 0;
    /// Name and help text of a member, or with MEMBERID_NIL of the type; no type has a help file.
    virtual HRESULT GetDocumentation(MEMBERID id, BSTR* name, BSTR* help, DWORD* helpContext,
                                     BSTR* helpFile) noexcept = 0;
    /// Always TYPE_E_BADMODULEKIND, because no type here is a module of functions.
    virtual HRESULT GetDllEntry(MEMBERID id, INVOKEKIND kind, BSTR* module, BSTR* name,
                                WORD* ordinal) noexcept = 0;
    /// The type that an HREFTYPE of this description refers to.
    virtual HRESULT GetRefTypeInfo(HREFTYPE type, ITypeInfo** info) noexcept = 0;
    /// Always TYPE_E_BADMODULEKIND, as for GetDllEntry.
    virtual HRESULT AddressOfMember(MEMBERID id, INVOKEKIND kind, void** address) noexcept = 0;
    /// Makes an object of a class, as CoCreateInstance does. TYPE_E_WRONGTYPEKIND for an interface.
    virtual HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) noexcept = 0;
    virtual HRESULT GetMops(MEMBERID id, BSTR* text) noexcept = 0;  ///< always the empty text
    /// The library and, if `index` isn't null, this type's place in it.
    virtual HRESULT GetContainingTypeLib(ITypeLib** library, UINT* index) noexcept = 0;
    virtual void ReleaseTypeAttr(TYPEATTR* attributes) noexcept = 0;
    virtual void ReleaseFuncDesc(FUNCDESC* member) noexcept = 0;
    virtual void ReleaseVarDesc(VARDESC* variable) noexcept = 0;

  protected:
    ~ITypeInfo() = default;
};
template <>
inline constexpr GUID iidOf<ITypeInfo>{0x00020401, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// Describes a library. Its dual interfaces are given as TKIND_DISPATCH; ownership is as with
/// ITypeInfo.
struct ITypeLib : IUnknown {
    virtual UINT GetTypeInfoCount() noexcept = 0;
    /// The type at an index, its kind, or the type with an id; TYPE_E_ELEMENTNOTFOUND if there is
    /// none.
    virtual HRESULT GetTypeInfo(UINT index, ITypeInfo** info) noexcept = 0;
    virtual HRESULT GetTypeInfoType(UINT index, TYPEKIND* kind) noexcept = 0;
    virtual HRESULT GetTypeInfoOfGuid(const GUID& id, ITypeInfo** info) noexcept = 0;
    virtual HRESULT GetLibAttr(TLIBATTR** attributes) noexcept = 0;
    virtual HRESULT GetTypeComp(ITypeComp** binder) noexcept = 0;  ///< E_NOTIMPL
    /// Name and help text of the type at `index`, or of the library with -1.
    virtual HRESULT GetDocumentation(LONG index, BSTR* name, BSTR* help, DWORD* helpContext,
                                     BSTR* helpFile) noexcept = 0;
    /// Whether a type or member has this name, case ignored; `name` then gets the spelling that the
    /// library has. `hash` is ignored.
    virtual HRESULT IsName(WCHAR* name, ULONG hash, BOOL* found) noexcept = 0;
    /// Finds the types that have this name or a member with this name. `infos` receives the types,
    /// and `ids` for each the member's id, or MEMBERID_NIL if the type itself has the name. *count
    /// is the number wanted and receives the number given. `hash` is ignored.
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
/// its own; the caller releases it. A module that this call loads is unloaded again. A bare name is
/// looked up among the installed modules, as by LoadLibraryW, and the file must be as trustworthy
/// as a module. TYPE_E_CANTLOADLIBRARY (no such file or resource, or others may change the file),
/// TYPE_E_INVDATAREAD (cut off or damaged), E_INVALIDARG, E_OUTOFMEMORY, the HRESULT of
/// ERROR_TOO_MANY_OPEN_FILES.
HRESULT LoadTypeLib(const WCHAR* path, ITypeLib** library) noexcept;

/// Reads the library that is registered with this id and version for the locale or, if there is
/// none, for any other locale. TYPE_E_LIBNOTREGISTERED, the HRESULT of a registry that can't be
/// read, or the results of LoadTypeLib.
HRESULT LoadRegTypeLib(const GUID& id, WORD majorVersion, WORD minorVersion, DWORD localeId,
                       ITypeLib** library) noexcept;

/// Registers a library: writes into HKEY_CLASSES_ROOT where it is (`path`, as LoadTypeLib takes it)
/// and which dual interfaces it describes. `helpFolder` may be null. TYPE_E_REGISTRYACCESS,
/// E_INVALIDARG, E_OUTOFMEMORY, or a failure of `library` itself.
HRESULT RegisterTypeLib(ITypeLib* library, const WCHAR* path, const WCHAR* helpFolder) noexcept;

/// Takes away what RegisterTypeLib wrote: the path for one locale and kind of system, and what all
/// locales of this version share (help text and folder, flags, interfaces). It succeeds too if the
/// keys are missing, or only the installed modules have them. TYPE_E_REGISTRYACCESS, E_OUTOFMEMORY.
HRESULT UnRegisterTypeLib(const GUID& id, WORD majorVersion, WORD minorVersion, DWORD localeId,
                          SYSKIND kind) noexcept;

}  // extern "C"
#pragma GCC visibility pop
