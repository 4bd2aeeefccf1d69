#include "siblings/thumbnails/AreaScaler.h"

#include <algorithm>
#include <cstdint>

namespace zlk {

AreaScaler::AreaScaler(Size from, Size to)
    : from_(from),
      to_(to),
      line_(static_cast<std::size_t>(to.width) * 3),
      sums_(line_.size() * to.height) {
    columns_.reserve(from.width);
    for (int x = 0; x < from.width; ++x) columns_.push_back(share(x, from.width, to.width));
}

AreaScaler::Share AreaScaler::share(int position, int from, int to) {
    const std::int64_t start = static_cast<std::int64_t>(position) * to;
    // How much of row or column `start / from` of the result is still free, in units of 1/from.
    const std::int64_t room = from - start % from;
    return {static_cast<int>(start / from),
            room >= to ? 1.0F : static_cast<float>(room) / static_cast<float>(to)};
}

void AreaScaler::addRow(const BYTE* rgb) {
    std::fill(line_.begin(), line_.end(), 0.0F);
    for (const Share& column : columns_) {
        float* const target = &line_[static_cast<std::size_t>(column.index) * 3];
        for (int c = 0; c < 3; ++c) {
            const float value = *rgb++;
            target[c] += value * column.part;
            if (column.part < 1.0F) target[c + 3] += value * (1.0F - column.part);
        }
    }
    // A source row that lies across two rows of the result is divided between them.
    const Share row = share(row_++, from_.height, to_.height);
    addLineTo(row.index, row.part);
    if (row.part < 1.0F) addLineTo(row.index + 1, 1.0F - row.part);
}

void AreaScaler::addLineTo(int row, float part) {
    float* const target = &sums_[line_.size() * row];
    for (std::size_t i = 0; i < line_.size(); ++i) target[i] += line_[i] * part;
}

Picture AreaScaler::picture() const {
    Picture result(to_);
    // Multiplying by this share divides a sum by the number of source pixels that a pixel of the
    // result covers.
    const float share = static_cast<float>(to_.width) / static_cast<float>(from_.width) *
                        static_cast<float>(to_.height) / static_cast<float>(from_.height);
    std::transform(sums_.begin(), sums_.end(), result.rgb.begin(), [share](float sum) {
        return static_cast<BYTE>(std::clamp(sum * share + 0.5F, 0.0F, 255.0F));
    });
    return result;
}

}  // namespace zlk
