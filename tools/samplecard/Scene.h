#pragma once
// A landscape that nobody has seen: sky, sun and hills, drawn by numbers.

#include <cstdint>
#include <random>
#include <vector>

struct Raster {
    Raster(int rasterWidth, int rasterHeight)
        : width(rasterWidth),
          height(rasterHeight),
          rgb(static_cast<std::size_t>(rasterWidth) * rasterHeight * 3) {}
    int width, height;
    std::vector<std::uint8_t> rgb;

    std::uint8_t* pixel(int x, int y) {
        return &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
    }
};

class Scene {
  public:
    explicit Scene(std::mt19937& random);

    /// The scene at any size, with some grain as a sensor has it.
    Raster draw(int width, int height) const;

  private:
    struct Colour {
        float red, green, blue;
    };
    struct Hills {
        float base, height, frequency, phase;
        Colour colour;
    };
    static float unit(std::mt19937& random);
    static Colour mix(Colour a, Colour b, float part);
    /// `x` in shorter sides, `y` in heights, each of which is `tallness` shorter sides.
    Colour colourAt(float x, float y, float tallness, const std::vector<float>& crests) const;

    Colour skyTop_, skyBottom_, sun_;
    float sunX_, sunY_, sunRadius_;
    std::vector<Hills> hills_;
    std::uint32_t grain_;
};
