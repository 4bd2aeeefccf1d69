#include "platform/components/ModuleFile.h"

#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>

#include "platform/base/Diagnose.h"
#include "platform/base/FileName.h"
#include "platform/base/ModulesFolder.h"
#include "platform/base/PosixError.h"
#include "platform/error.h"
#include "platform/files/PathTarget.h"
#include "platform/modules.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

/// The POSIX path of the regular file to which the path `name` leads. Anything but a regular file
/// is refused, because the loader could wait at a pipe for a writer. Empty with the last error.
std::string regularFile(const std::u16string& name) {
    std::optional<PathTarget> target = PathTarget::find(name.c_str());
    const Descriptor file = target ? target->open(O_PATH | O_CLOEXEC) : Descriptor();
    if (!file) return {};
    SetLastError(ERROR_FILE_NOT_FOUND);
    struct stat status;
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    const Descriptor start = target->takeRoot().open(".", O_PATH | O_DIRECTORY);
    if (!start) setLastErrorFromErrno();
    std::error_code error;
    const std::filesystem::path folder =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(start.get()), error);
    if (error) return {};
    return folder / target->way();
}

/// Any failure means that the module wasn't found, except a want of descriptors, which says nothing
/// about the file.
void setModuleNotFound() noexcept {
    if (GetLastError() != ERROR_TOO_MANY_OPEN_FILES) SetLastError(ERROR_MOD_NOT_FOUND);
}

// ASCII is enough: this is for names of modules of ours.
std::u16string lowerCase(std::u16string_view name) {
    std::u16string lower(name);
    for (char16_t& unit : lower)
        if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit + (u'a' - u'A'));
    return lower;
}

}  // namespace

std::string findModuleFile(std::u16string_view name) {
    // The extension that callers use, where files here have `.so`.
    constexpr std::u16string_view foreign = u".dll";
    std::u16string wanted(name);
    if (name.find_first_of(u"/\\:") == std::u16string_view::npos)
        wanted.insert(0, nameText(modulesFolder() + '/'));
    const std::size_t stem = wanted.size() - std::min(wanted.size(), foreign.size());
    const bool translated = equalIgnoringCase(std::u16string_view(wanted).substr(stem), foreign);
    if (translated) wanted.replace(stem, foreign.size(), u".so");

    std::string path = regularFile(wanted);
    if (path.empty() && translated) {
        const std::size_t start = wanted.find_last_of(u"/\\") + 1;  // 0 where there is none
        path = regularFile(wanted.substr(0, start) + lowerCase(wanted.substr(start)));
    }
    if (path.empty()) setModuleNotFound();
    return path;
}

bool isWholeModule(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    SetLastError(file ? ERROR_SUCCESS : errorFromErrno(errno));
    setModuleNotFound();
    struct stat status;
    ElfW(Ehdr) header;
    // More segments than any module has; a larger table is refused.
    std::array<ElfW(Phdr), 64> segments;
    if (::fstat(file.get(), &status) != 0 ||
        ::pread(file.get(), &header, sizeof header, 0) != sizeof header ||
        std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_phentsize != sizeof segments[0] || header.e_phnum > segments.size())
        return false;
    // The program headers say which parts of the file are mapped.
    const std::size_t bytes = header.e_phnum * sizeof segments[0];
    if (::pread(file.get(), segments.data(), bytes, static_cast<off_t>(header.e_phoff)) !=
        static_cast<ssize_t>(bytes))
        return false;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    const bool whole = std::all_of(
        segments.data(), segments.data() + header.e_phnum, [&](const ElfW(Phdr) & segment) {
            return segment.p_filesz <= size && segment.p_offset <= size - segment.p_filesz;
        });
    if (!whole) diagnose("Modules", u"%s is cut short", path);
    return whole;
}

HRESULT readModulePath(HMODULE module, std::u16string& path) {
    constexpr DWORD room = 32768;  // longer than any path of this machine, in units
    path.resize(room);
    const DWORD length = GetModuleFileNameW(module, path.data(), room);
    if (length == 0 || length == room) return HRESULT_FROM_WIN32(GetLastError());
    path.resize(length);
    return S_OK;
}

}  // namespace zlk::platform
