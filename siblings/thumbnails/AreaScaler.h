#pragma once
// Makes a picture smaller while its rows go by: each pixel of the result is the mean of the area
// that it covers. Only the result is kept, however large the source is.

#include <vector>

#include "siblings/thumbnails/Picture.h"

namespace zlk {

class AreaScaler {
  public:
    /// `to` must not be larger than `from` in either direction.
    AreaScaler(Size from, Size to);

    /// The next row of the source, `from.width` pixels of three bytes.
    void addRow(const BYTE* rgb);

    /// After the last row.
    Picture picture() const;

  private:
    /// What one row or column of the source gives to the result: this part to line `index`, and
    /// the rest to the next one.
    struct Share {
        int index;
        float part;
    };
    static Share share(int position, int from, int to);
    void addLineTo(int row, float part);

    Size from_;
    Size to_;
    int row_ = 0;
    std::vector<Share> columns_;
    std::vector<float> line_;
    std::vector<float> sums_;
};

}  // namespace zlk
