#pragma once
// Scales a picture down while its rows arrive: each pixel of the result is the mean of the area
// that it covers. The source isn't kept in memory.

#include <vector>

#include "siblings/thumbnails/Picture.h"

namespace zlk {

class AreaScaler {
  public:
    /// `to` must not be larger than `from` in either direction, and neither may be empty.
    AreaScaler(Size from, Size to);

    /// Adds the next row of the source, `from.width` pixels of three bytes each.
    void addRow(const BYTE* rgb);

    /// The result, once all rows have been added.
    Picture picture() const;

  private:
    /// How a row or column of the source is divided: `part` of it belongs to row or column `index`
    /// of the result, and the rest (1 - `part`) to the next one.
    struct Share {
        int index;
        float part;
    };
    static Share share(int position, int from, int to);
    /// Adds a part of the current line to a row of the result.
    void addLineTo(int row, float part);

    Size from_;
    Size to_;
    int row_ = 0;                 // the row of the source that comes next
    std::vector<Share> columns_;  // one for each column of the source
    std::vector<float> line_;     // the current row, scaled in width
    std::vector<float> sums_;     // the rows of the result
};

}  // namespace zlk
