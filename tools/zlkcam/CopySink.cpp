#include "tools/zlkcam/CopySink.h"

#include "platform/files.h"

namespace zlk {

bool CopySink::take(std::span<const std::byte> bytes) {
    DWORD written = 0;
    // What comes after bytes that are missing is of no use.
    if (error_ == ERROR_SUCCESS && copy_ &&
        !WriteFile(copy_->handle(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                   nullptr))
        error_ = GetLastError();
    if (error_ != ERROR_SUCCESS) return false;
    summer_.add(bytes);
    return true;
}

}  // namespace zlk
