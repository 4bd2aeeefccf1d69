#pragma once
// Draws an invented landscape, sky, sun and hills, for the pictures of the sample card.

#include <cstdint>
#include <random>
#include <vector>

/// A picture as rows of pixels with three bytes each: red, green and blue.
struct Raster {
    Raster(int rasterWidth, int rasterHeight)
        : width(rasterWidth),
          height(rasterHeight),
          rgb(static_cast<std::size_t>(rasterWidth) * rasterHeight * 3) {}
    int width, height;
    std::vector<std::uint8_t> rgb;

    /// The three bytes of a pixel; `x` and `y` count from the upper left corner.
    std::uint8_t* pixel(int x, int y) {
        return &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
    }
};

/// One picture; the same scene can be drawn in several sizes.
class Scene {
  public:
    /// Invents a scene from the next numbers of `random`.
    explicit Scene(std::mt19937& random);

    /// Draws the scene in a size in pixels, with some grain, as a sensor has it.
    Raster draw(int width, int height) const;

  private:
    struct Colour {
        float red, green, blue;
    };
    /// A range of hills as a wave, to which a smaller wave is added. `base` is the distance of the
    /// range's middle from the picture's top, and `height` the larger wave's amplitude, both as
    /// parts of the picture's height.
    struct Hills {
        float base, height, frequency, phase;
        Colour colour;
    };
    /// The next number of `random`, from 0 to just below 1.
    static float unit(std::mt19937& random);
    /// A colour between two, where `part` goes from 0 for the first to 1 for the second.
    static Colour mix(Colour a, Colour b, float part);
    /// The colour at a point. `x` is in units of the picture's shorter side, and `y` in units of
    /// its height, which is `tallness` times the shorter side. `crests` has the upper edges of the
    /// hills in this column.
    Colour colourAt(float x, float y, float tallness, const std::vector<float>& crests) const;

    Colour skyTop_, skyBottom_, sun_;
    float sunX_, sunY_, sunRadius_;
    std::vector<Hills> hills_;
    std::uint32_t grain_;
};
