#pragma once
// Opens and maps the named sections in which processes share the tables of ports.

#include <memory>

#include "platform/named_objects.h"
#include "ptp/PTPCommErrors.h"

namespace zlk {

/// A named section that is mapped as a whole. Not thread-safe.
class SharedSection {
  public:
    /// Opens and maps the section, unless this object has one mapped already. False if the section
    /// can't be opened. Throws PTP_GENERAL_ERROR if it can't be mapped.
    bool open(const char* name) {
        return view_ || map(OpenFileMappingA(FILE_MAP_ALL_ACCESS, 0, name));
    }
    /// Opens the section, or makes it with `size` bytes of zeros; true if it was made here. Throws
    /// PTP_GENERAL_ERROR.
    bool make(const char* name, DWORD size) {
        const HANDLE made =
            CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name);
        const bool isNew = GetLastError() == ERROR_SUCCESS;
        if (!map(made)) throw PTP_GENERAL_ERROR;
        return isNew;
    }
    void close() noexcept {
        view_.reset();
        mapping_.reset();
    }
    /// Leaves the section mapped until the process ends. This object is closed afterwards.
    void keep() noexcept {
        (void)view_.release();
        (void)mapping_.release();
    }
    void* view() const noexcept { return view_.get(); }
    /// Bytes that are mapped. A section that another process has made may be shorter than expected.
    std::size_t size() const noexcept { return size_; }

  private:
    struct Unmap {
        void operator()(void* view) const noexcept { UnmapViewOfFile(view); }
    };

    /// Takes ownership of the mapping, and maps it as a whole. False if `mapping` is null. Throws
    /// PTP_GENERAL_ERROR.
    bool map(HANDLE mapping) {
        mapping_ = UniqueHandle(mapping);
        if (!mapping_) return false;
        view_.reset(MapViewOfFile(mapping_.get(), FILE_MAP_WRITE, 0, 0, 0));
        if (!view_) throw PTP_GENERAL_ERROR;
        size_ = viewSize(view_.get());
        return true;
    }

    UniqueHandle mapping_;
    std::unique_ptr<void, Unmap> view_;
    std::size_t size_ = 0;
};

}  // namespace zlk
