#include "tools/zlkcamsim/PtpDate.h"

#include <algorithm>
#include <array>

#include "platform/text.h"

namespace zlk::camsim {

std::u16string ptpDate(std::time_t time) {
    std::tm local{};
    ::localtime_r(&time, &local);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%S", &local);
    return wideText({text.data(), length});
}

std::optional<std::time_t> timeOfPtpDate(const std::u16string& date) {
    const std::string text = utf8Text(date);
    if (text.size() < 15 || text[8] != 'T') return std::nullopt;
    for (std::size_t i = 0; i < 15; ++i)
        if (i != 8 && (text[i] < '0' || text[i] > '9')) return std::nullopt;
    const auto number = [&text](std::size_t at, std::size_t digits) {
        return std::stoi(text.substr(at, digits));
    };
    std::tm local{};
    local.tm_year = number(0, 4) - 1900;
    local.tm_mon = number(4, 2) - 1;
    local.tm_mday = number(6, 2);
    local.tm_hour = number(9, 2);
    local.tm_min = number(11, 2);
    local.tm_sec = number(13, 2);
    // The date says nothing about summer time, so the system has to find out.
    local.tm_isdst = -1;
    // mktime would accept absurd fields and carry them over.
    if (local.tm_mon > 11 || local.tm_mon < 0 || local.tm_mday < 1 || local.tm_mday > 31 ||
        local.tm_hour > 23 || local.tm_min > 59 || local.tm_sec > 59)
        return std::nullopt;
    return std::mktime(&local);
}

}  // namespace zlk::camsim
