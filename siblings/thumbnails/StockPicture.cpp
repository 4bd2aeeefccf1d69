#include "siblings/thumbnails/StockPicture.h"

#include <algorithm>
#include <array>

#include "platform/text.h"
#include "siblings/thumbnails/AreaScaler.h"

namespace zlk {
namespace {

/// Red, green and blue.
using Colour = std::array<BYTE, 3>;
constexpr Colour paper{236, 238, 241};
constexpr Colour frame{150, 157, 168};
constexpr Colour sheet{250, 251, 252};
constexpr Colour dark{88, 97, 112};
constexpr Colour light{196, 203, 213};
constexpr Colour accent{226, 165, 62};

// Pictures are drawn large and with hard edges. Scaling down makes the edges smooth.
constexpr Size canvasSize{640, 480};

/// A picture on which shapes are drawn; coordinates are in pixels from the top left.
class Canvas {
  public:
    Canvas() : picture_(canvasSize) {}

    void rectangle(int left, int top, int right, int bottom, Colour colour) {
        fill([=](int x, int y) { return x >= left && x < right && y >= top && y < bottom; },
             colour);
    }
    void disc(int centreX, int centreY, int radius, Colour colour) {
        fill(
            [=](int x, int y) {
                const int dx = x - centreX;
                const int dy = y - centreY;
                return dx * dx + dy * dy < radius * radius;
            },
            colour);
    }
    /// A triangle that stands on `bottom` and is twice as wide as high.
    void hill(int top, int bottom, int centreX, Colour colour) {
        fill(
            [=](int x, int y) { return y >= top && y < bottom && std::abs(x - centreX) < y - top; },
            colour);
    }
    /// A triangle that points to the right.
    void arrow(int left, int right, int centreY, Colour colour) {
        fill(
            [=](int x, int y) {
                return x >= left && x < right && 5 * std::abs(y - centreY) < 3 * (right - x);
            },
            colour);
    }

    AreaScaler scaledTo(Size size) const {
        AreaScaler scaler(canvasSize, size);
        for (int y = 0; y < canvasSize.height; ++y) scaler.addRow(picture_.pixel(0, y));
        return scaler;
    }

  private:
    template <class Inside>
    void fill(Inside inside, Colour colour) {
        for (int y = 0; y < canvasSize.height; ++y) {
            for (int x = 0; x < canvasSize.width; ++x) {
                if (inside(x, y)) std::copy_n(colour.begin(), 3, picture_.pixel(x, y));
            }
        }
    }

    Picture picture_;
};

void drawPicture(Canvas& canvas) {
    canvas.rectangle(120, 100, 520, 380, frame);
    canvas.rectangle(132, 112, 508, 368, sheet);
    canvas.disc(420, 180, 36, accent);
    canvas.hill(225, 350, 270, dark);
    canvas.hill(262, 350, 405, light);
}

void drawFilm(Canvas& canvas) {
    canvas.rectangle(120, 100, 520, 380, dark);
    for (int x = 138; x < 500; x += 48) {
        canvas.rectangle(x, 112, x + 28, 134, paper);
        canvas.rectangle(x, 346, x + 28, 368, paper);
    }
    canvas.rectangle(132, 148, 508, 332, light);
    canvas.arrow(270, 400, 240, sheet);
}

void drawSound(Canvas& canvas) {
    canvas.disc(280, 330, 46, dark);
    canvas.disc(420, 300, 46, dark);
    canvas.rectangle(306, 120, 326, 330, dark);
    canvas.rectangle(446, 90, 466, 300, dark);
    canvas.rectangle(306, 90, 466, 140, dark);
}

void drawFile(Canvas& canvas) {
    canvas.rectangle(210, 70, 430, 410, frame);
    canvas.rectangle(222, 82, 418, 398, sheet);
    for (int y = 130; y < 370; y += 48) canvas.rectangle(250, y, 390, y + 16, light);
}

/// Which drawing stands for files with an extension.
struct Kind {
    std::u16string_view extension;
    void (*draw)(Canvas&);
};
constexpr Kind kinds[] = {
    {u".JPG", drawPicture}, {u".JPEG", drawPicture}, {u".JPE", drawPicture},
    {u".TIF", drawPicture}, {u".TIFF", drawPicture}, {u".PNG", drawPicture},
    {u".GIF", drawPicture}, {u".BMP", drawPicture},  {u".RAW", drawPicture},
    {u".DNG", drawPicture}, {u".HEIC", drawPicture}, {u".MOV", drawFilm},
    {u".AVI", drawFilm},    {u".MPG", drawFilm},     {u".MPEG", drawFilm},
    {u".MP4", drawFilm},    {u".M4V", drawFilm},     {u".WMV", drawFilm},
    {u".3GP", drawFilm},    {u".MTS", drawFilm},     {u".WAV", drawSound},
    {u".MP3", drawSound},   {u".M4A", drawSound},    {u".WMA", drawSound},
    {u".AAC", drawSound},
};

}  // namespace

Picture stockPicture(std::u16string_view extension, Size box) {
    const auto kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const Kind& known) {
        return equalIgnoringCase(known.extension, extension);
    });
    Canvas canvas;
    canvas.rectangle(0, 0, canvasSize.width, canvasSize.height, paper);
    (kind == std::end(kinds) ? drawFile : kind->draw)(canvas);
    return canvas.scaledTo(fitInto(canvasSize, box)).picture();
}

}  // namespace zlk
