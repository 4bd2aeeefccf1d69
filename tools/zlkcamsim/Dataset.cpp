#include "tools/zlkcamsim/Dataset.h"

namespace zlk::camsim {

DatasetWriter& DatasetWriter::text(std::u16string_view value) {
    const std::u16string_view cut = value.substr(0, 254);
    if (cut.empty()) return u8(0);
    u8(static_cast<std::uint8_t>(cut.size() + 1));
    for (const char16_t unit : cut) u16(unit);
    return u16(0);
}

bool DatasetReader::have(std::size_t size) {
    if (rest_.size() >= size) return true;
    good_ = false;
    rest_ = {};
    return false;
}

std::uint64_t DatasetReader::number(std::size_t size) {
    if (!have(size)) return 0;
    const std::uint64_t value = loadNumber(rest_, size);
    rest_ = rest_.subspan(size);
    return value;
}

void DatasetReader::skip(std::size_t size) {
    if (have(size)) rest_ = rest_.subspan(size);
}

std::u16string DatasetReader::text() {
    const auto units = static_cast<std::size_t>(number(1));
    std::u16string value;
    if (!have(2 * units)) return value;
    for (std::size_t i = 0; i < units; ++i) value += static_cast<char16_t>(u16());
    // A text has to end with a zero, or the dataset is broken.
    if (units && value.back() != 0) good_ = false;
    if (units) value.pop_back();
    return value;
}

}  // namespace zlk::camsim
