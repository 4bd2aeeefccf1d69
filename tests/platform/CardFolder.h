#pragma once
// A folder mounted as a card, and files by the platform's calls, for tests of both.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/card_mounts.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {

inline constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

/// A folder mounted as a card for the length of a test.
struct Card {
    explicit Card(const std::filesystem::path& top = newFolder()) : folder(top) {
        mount.folder = pathText(folder);
        EXPECT_TRUE(mountCard(mount)) << GetLastError();
    }
    ~Card() { unmountCard(mount.letter); }
    Card(const Card&) = delete;
    Card& operator=(const Card&) = delete;
    std::u16string path(const std::u16string& below) const {
        return std::u16string{mount.letter, u':', u'\\'} + below;
    }
    std::filesystem::path folder;
    CardMount mount;
};

inline UniqueHandle open(const std::u16string& path, DWORD access = GENERIC_READ,
                         DWORD share = shareAll, DWORD disposition = OPEN_EXISTING) {
    return UniqueHandle(CreateFileW(path.c_str(), access, share, nullptr, disposition, 0, nullptr));
}

/// What opening gives: ERROR_SUCCESS, or the last error.
inline DWORD openError(const std::u16string& path, DWORD access = GENERIC_READ,
                       DWORD share = shareAll, DWORD disposition = OPEN_EXISTING) {
    return errorOf(open(path, access, share, disposition));
}

inline DWORD moveError(const std::u16string& from, const std::u16string& to) {
    return errorOf(MoveFileW(from.c_str(), to.c_str()));
}

inline std::string contentOf(const std::u16string& path) {
    const UniqueHandle file = open(path);
    if (!file) return "error " + std::to_string(GetLastError());
    char buffer[300];
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr));
    return {buffer, read};
}

/// ERROR_SUCCESS, or what keeps a walk from beginning.
inline DWORD walkError(const std::u16string& pattern) {
    WIN32_FIND_DATAW entry;
    const HANDLE find = FindFirstFileW(pattern.c_str(), &entry);
    return errorOf(find != INVALID_HANDLE_VALUE && FindClose(find));
}

/// The entries of a folder but `.` and `..`, which come first.
inline std::vector<WIN32_FIND_DATAW> walk(const std::u16string& folder) {
    std::vector<WIN32_FIND_DATAW> entries;
    WIN32_FIND_DATAW entry;
    const HANDLE find = FindFirstFileW((folder + u"\\*.*").c_str(), &entry);
    do {
        entries.push_back(entry);
    } while (FindNextFileW(find, &entry));
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_TRUE(FindClose(find));
    EXPECT_EQ(std::u16string(entries[0].cFileName), u".");
    EXPECT_EQ(std::u16string(entries[1].cFileName), u"..");
    entries.erase(entries.begin(), entries.begin() + 2);
    return entries;
}

inline std::vector<std::u16string> namesOf(const std::vector<WIN32_FIND_DATAW>& entries) {
    std::vector<std::u16string> names;
    for (const WIN32_FIND_DATAW& entry : entries) names.push_back(entry.cFileName);
    return names;
}

}  // namespace zlk::test
