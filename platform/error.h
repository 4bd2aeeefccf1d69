#pragma once
// The numbers by which calls of the platform fail: last errors, which each thread keeps, and
// HRESULTs, which component methods return; and the texts of both.

#include "platform/types.h"

// The last errors. Their values are fixed: they travel inside HRESULTs to scripts and to programs
// in other languages, which compare them as plain numbers.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_DRIVE = 15;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_NOT_READY = 21;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_SEM_TIMEOUT = 121;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_BUSY = 170;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_OPERATION_ABORTED = 995;
inline constexpr DWORD ERROR_BADDB = 1009;
inline constexpr DWORD ERROR_BADKEY = 1010;
inline constexpr DWORD ERROR_KEY_DELETED = 1018;
inline constexpr DWORD ERROR_IO_DEVICE = 1117;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr DWORD ERROR_DEVICE_NOT_CONNECTED = 1167;
inline constexpr DWORD ERROR_RESOURCE_NOT_FOUND = 1812;

// The HRESULTs. DISP_E_ stands for automation, TYPE_E_ for type libraries, and CO_E_, CLASS_E_ and
// REGDB_E_ for classes and the making of objects.
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;  ///< a success, with "no" for an answer
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT DISP_E_UNKNOWNINTERFACE = static_cast<HRESULT>(0x80020001);
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = static_cast<HRESULT>(0x80020003);
inline constexpr HRESULT DISP_E_PARAMNOTFOUND = static_cast<HRESULT>(0x80020004);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005);
inline constexpr HRESULT DISP_E_UNKNOWNNAME = static_cast<HRESULT>(0x80020006);
inline constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008);
inline constexpr HRESULT DISP_E_EXCEPTION = static_cast<HRESULT>(0x80020009);
inline constexpr HRESULT DISP_E_OVERFLOW = static_cast<HRESULT>(0x8002000A);
inline constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000B);
inline constexpr HRESULT DISP_E_UNKNOWNLCID = static_cast<HRESULT>(0x8002000C);
inline constexpr HRESULT DISP_E_BADPARAMCOUNT = static_cast<HRESULT>(0x8002000E);
inline constexpr HRESULT DISP_E_PARAMNOTOPTIONAL = static_cast<HRESULT>(0x8002000F);
inline constexpr HRESULT TYPE_E_INVDATAREAD = static_cast<HRESULT>(0x80028018);
inline constexpr HRESULT TYPE_E_REGISTRYACCESS = static_cast<HRESULT>(0x8002801C);
inline constexpr HRESULT TYPE_E_LIBNOTREGISTERED = static_cast<HRESULT>(0x8002801D);
inline constexpr HRESULT TYPE_E_WRONGTYPEKIND = static_cast<HRESULT>(0x8002802A);
inline constexpr HRESULT TYPE_E_ELEMENTNOTFOUND = static_cast<HRESULT>(0x8002802B);
inline constexpr HRESULT TYPE_E_BADMODULEKIND = static_cast<HRESULT>(0x800288BD);
inline constexpr HRESULT TYPE_E_CANTLOADLIBRARY = static_cast<HRESULT>(0x80029C4A);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
inline constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3);
inline constexpr HRESULT CO_E_DLLNOTFOUND = static_cast<HRESULT>(0x800401F8);
inline constexpr HRESULT CO_E_ERRORINDLL = static_cast<HRESULT>(0x800401F9);

constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}
/// The HRESULT that stands for a last error; ERROR_SUCCESS gives S_OK. Only the number's low 16
/// bits are kept.
constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
    return error == 0 ? S_OK : static_cast<HRESULT>((error & 0xFFFF) | 0x80070000);
}

#pragma GCC visibility push(default)
extern "C" {

/// This thread's last error. A call that reports failures this way sets it when it fails, and may
/// change it when it succeeds.
DWORD GetLastError() noexcept;
void SetLastError(DWORD error) noexcept;

inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

/// Writes the English text of a last error or HRESULT to `buffer`, without a line end, cut to
/// `size` units including its terminator. `flags` must hold FORMAT_MESSAGE_FROM_SYSTEM; `source`,
/// `languageId` and `arguments` are ignored. Returns the units written without the terminator; 0
/// with ERROR_INVALID_PARAMETER if the flag is missing, `buffer` is null or `size` is 0. A number
/// without a text of its own gives "Error <number>", in hexadecimal if it is a failing HRESULT.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD messageId, DWORD languageId,
                     WCHAR* buffer, DWORD size, void* arguments = nullptr) noexcept;

}  // extern "C"
#pragma GCC visibility pop
