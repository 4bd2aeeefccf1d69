#include "platform/error.h"

#include <algorithm>
#include <iterator>

#include "platform/text.h"

namespace {

constinit thread_local DWORD lastError = ERROR_SUCCESS;

struct ErrorText {
    DWORD number;
    const char16_t* text;
};

// HRESULTs that stand for a last error have no entries of their own: textOf looks up the last
// error. The number 14 is here for E_OUTOFMEMORY alone.
constexpr ErrorText errorTexts[] = {
    {ERROR_SUCCESS, u"The operation succeeded."},
    {S_FALSE, u"The operation succeeded, with nothing to do."},
    {ERROR_FILE_NOT_FOUND, u"The file or the object was not found."},
    {ERROR_PATH_NOT_FOUND, u"The folder was not found."},
    {ERROR_TOO_MANY_OPEN_FILES, u"Too many files are open."},
    {ERROR_ACCESS_DENIED, u"Access is denied."},
    {ERROR_INVALID_HANDLE, u"The handle is invalid."},
    {ERROR_NOT_ENOUGH_MEMORY, u"There is not enough memory."},
    {0x8007000E & 0xFFFF, u"There is not enough memory."},
    {ERROR_INVALID_DRIVE, u"There is no such drive."},
    {ERROR_NO_MORE_FILES, u"There are no more files."},
    {ERROR_WRITE_PROTECT, u"The medium is write-protected."},
    {ERROR_NOT_READY, u"The device is not ready."},
    {ERROR_GEN_FAILURE, u"The device does not work."},
    {ERROR_SHARING_VIOLATION, u"The file is in use by another program."},
    {ERROR_NOT_SUPPORTED, u"The request is not supported."},
    {ERROR_FILE_EXISTS, u"The file exists."},
    {ERROR_INVALID_PARAMETER, u"A parameter is not valid."},
    {ERROR_DISK_FULL, u"The disk is full."},
    {ERROR_SEM_TIMEOUT, u"The device did not answer in time."},
    {ERROR_INSUFFICIENT_BUFFER, u"The buffer is too small."},
    {ERROR_INVALID_NAME, u"The name is not valid."},
    {ERROR_MOD_NOT_FOUND, u"The module was not found."},
    {ERROR_PROC_NOT_FOUND, u"The module has no such function."},
    {ERROR_DIR_NOT_EMPTY, u"The folder is not empty."},
    {ERROR_BAD_PATHNAME, u"The path is not valid."},
    {ERROR_BUSY, u"The resource is in use."},
    {ERROR_ALREADY_EXISTS, u"The object exists already."},
    {ERROR_FILENAME_EXCED_RANGE, u"The name is too long."},
    {ERROR_FILE_TOO_LARGE, u"The file is too large."},
    {ERROR_MORE_DATA, u"There is more data."},
    {ERROR_NO_MORE_ITEMS, u"There are no more items."},
    {ERROR_NOT_OWNER, u"The mutex belongs to another thread."},
    {ERROR_DIRECTORY, u"The name is not one of a folder."},
    {ERROR_OPERATION_ABORTED, u"The operation was ended before it was complete."},
    {ERROR_BADDB, u"The settings store is corrupt."},
    {ERROR_BADKEY, u"The settings key is not valid."},
    {ERROR_KEY_DELETED, u"The settings key has been deleted."},
    {ERROR_IO_DEVICE, u"The device reported an input or output error."},
    {ERROR_NO_UNICODE_TRANSLATION, u"The text holds characters that can't be converted."},
    {ERROR_DEVICE_NOT_CONNECTED, u"The device is not connected."},
    {ERROR_RESOURCE_NOT_FOUND, u"The module has no such resource."},
    {static_cast<DWORD>(E_NOTIMPL), u"The operation is not implemented."},
    {static_cast<DWORD>(E_NOINTERFACE), u"The interface is not supported."},
    {static_cast<DWORD>(E_POINTER), u"A pointer is not valid."},
    {static_cast<DWORD>(E_FAIL), u"The operation failed."},
    {static_cast<DWORD>(E_UNEXPECTED), u"The operation failed unexpectedly."},
    {static_cast<DWORD>(CLASS_E_NOAGGREGATION), u"The class can't be aggregated."},
    {static_cast<DWORD>(CLASS_E_CLASSNOTAVAILABLE), u"The module does not serve this class."},
    {static_cast<DWORD>(REGDB_E_CLASSNOTREG), u"The class is not registered."},
    {static_cast<DWORD>(CO_E_CLASSSTRING), u"The class name is not valid."},
    {static_cast<DWORD>(CO_E_DLLNOTFOUND), u"The module of the class was not found."},
    {static_cast<DWORD>(CO_E_ERRORINDLL), u"The module of the class can't be used."},
    {static_cast<DWORD>(DISP_E_UNKNOWNINTERFACE), u"The interface is not known."},
    {static_cast<DWORD>(DISP_E_MEMBERNOTFOUND), u"The object has no such member."},
    {static_cast<DWORD>(DISP_E_PARAMNOTFOUND), u"The member has no such parameter."},
    {static_cast<DWORD>(DISP_E_TYPEMISMATCH), u"An argument has the wrong type."},
    {static_cast<DWORD>(DISP_E_UNKNOWNNAME), u"The object has no member of this name."},
    {static_cast<DWORD>(DISP_E_BADVARTYPE), u"The type of a value is not known."},
    {static_cast<DWORD>(DISP_E_EXCEPTION), u"The member failed."},
    {static_cast<DWORD>(DISP_E_OVERFLOW), u"A number is out of the range of its type."},
    {static_cast<DWORD>(DISP_E_BADINDEX), u"The index is not valid."},
    {static_cast<DWORD>(DISP_E_UNKNOWNLCID), u"The locale is not known."},
    {static_cast<DWORD>(DISP_E_BADPARAMCOUNT), u"The number of arguments is wrong."},
    {static_cast<DWORD>(DISP_E_PARAMNOTOPTIONAL), u"An argument is missing."},
    {static_cast<DWORD>(TYPE_E_INVDATAREAD), u"The type library is damaged."},
    {static_cast<DWORD>(TYPE_E_REGISTRYACCESS), u"The settings of the type library can't be used."},
    {static_cast<DWORD>(TYPE_E_LIBNOTREGISTERED), u"The type library is not registered."},
    {static_cast<DWORD>(TYPE_E_WRONGTYPEKIND), u"The type is of another kind."},
    {static_cast<DWORD>(TYPE_E_ELEMENTNOTFOUND), u"The type library has no such element."},
    {static_cast<DWORD>(TYPE_E_BADMODULEKIND), u"The type is no module of functions."},
    {static_cast<DWORD>(TYPE_E_CANTLOADLIBRARY), u"The type library was not found."},
};

const char16_t* textOf(DWORD number) noexcept {
    // 0x8007xxxx is an HRESULT made of a last error.
    const DWORD wanted = (number & 0xFFFF0000) == 0x80070000 ? number & 0xFFFF : number;
    const auto* row = std::find_if(std::begin(errorTexts), std::end(errorTexts),
                                   [&](const ErrorText& text) { return text.number == wanted; });
    return row == std::end(errorTexts) ? nullptr : row->text;
}

}  // namespace

DWORD GetLastError() noexcept {
    return lastError;
}

void SetLastError(DWORD error) noexcept {
    lastError = error;
}

DWORD FormatMessageW(DWORD flags, const void*, DWORD messageId, DWORD, WCHAR* buffer, DWORD size,
                     void*) noexcept {
    if (!(flags & FORMAT_MESSAGE_FROM_SYSTEM) || !buffer || size == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const char16_t* text = textOf(messageId);
    const FormatArgument number(messageId);
    const std::size_t whole =
        text ? formatWide(buffer, size, u"%s", std::array{FormatArgument(text)})
        : FAILED(static_cast<HRESULT>(messageId))
            ? formatWide(buffer, size, u"Error 0x%08X", std::array{number})
            : formatWide(buffer, size, u"Error %u", std::array{number});
    return static_cast<DWORD>(std::min<std::size_t>(whole, size - 1));
}
