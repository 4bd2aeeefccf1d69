#include "platform/error.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

std::u16string messageOf(DWORD number, DWORD room = 260) {
    std::u16string text(room, u'#');
    text.resize(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                               number, 0, text.data(), room));
    return text;
}

TEST(Error, BelongsToItsThreadAndHasAnEnglishText) {
    SetLastError(ERROR_BUSY);
    std::thread([] { SetLastError(ERROR_DISK_FULL); }).join();
    EXPECT_EQ(GetLastError(), ERROR_BUSY);

    EXPECT_EQ(messageOf(ERROR_DISK_FULL), u"The disk is full.");
    EXPECT_EQ(messageOf(static_cast<DWORD>(E_ACCESSDENIED)), messageOf(ERROR_ACCESS_DENIED));
    EXPECT_EQ(messageOf(54321), u"Error 54321");
    EXPECT_EQ(messageOf(0x8BADF00D), u"Error 0x8BADF00D");
    EXPECT_EQ(messageOf(ERROR_DISK_FULL, 9), u"The disk");
    EXPECT_EQ(messageOf(ERROR_DISK_FULL, 1), u"");
    EXPECT_EQ(messageOf(ERROR_DISK_FULL, 0), u"");
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, nullptr, 8), 0u);
}

}  // namespace
