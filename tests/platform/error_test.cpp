#include "platform/error.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/text.h"

namespace {

std::u16string messageOf(DWORD number, DWORD room = 260) {
    std::u16string text(room, u'#');
    text.resize(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                               number, 0, text.data(), room));
    return text;
}

TEST(Error, BelongsToItsThread) {
    SetLastError(ERROR_BUSY);
    std::thread([] {
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
        SetLastError(ERROR_DISK_FULL);
    }).join();
    EXPECT_EQ(GetLastError(), ERROR_BUSY);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), E_ACCESSDENIED);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_SUCCESS), S_OK);
}

TEST(Error, HasAnEnglishText) {
    EXPECT_EQ(messageOf(ERROR_DISK_FULL), u"The disk is full.");
    EXPECT_EQ(messageOf(static_cast<DWORD>(E_ACCESSDENIED)), messageOf(ERROR_ACCESS_DENIED));
    EXPECT_EQ(messageOf(54321), u"Error 54321");
    EXPECT_EQ(messageOf(0x8BADF00D), u"Error 0x8BADF00D");
    EXPECT_EQ(messageOf(ERROR_DISK_FULL, 9), u"The disk");
    EXPECT_EQ(messageOf(ERROR_DISK_FULL, 1), u"");

    WCHAR buffer[8] = u"1234567";
    for (const DWORD result :
         {FormatMessageW(0, nullptr, 5, 0, buffer, 8),
          FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, nullptr, 8),
          FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, buffer, 0)})
        EXPECT_EQ(result, 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(std::u16string(buffer), u"1234567");
}

}  // namespace
