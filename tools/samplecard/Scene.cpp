#include "tools/samplecard/Scene.h"

#include <algorithm>
#include <cmath>

// The same seed has to make the same card everywhere. The distributions of the standard library
// differ between implementations, but its engine doesn't, so numbers are made from it directly.
float Scene::unit(std::mt19937& random) {
    return static_cast<float>(random() >> 8) / static_cast<float>(1 << 24);
}

Scene::Colour Scene::mix(Colour a, Colour b, float part) {
    const auto blend = [part](float x, float y) { return x + (y - x) * part; };
    return {blend(a.red, b.red), blend(a.green, b.green), blend(a.blue, b.blue)};
}

/// Everything that is random is decided here, so that draw() gives the same scene in any size.
Scene::Scene(std::mt19937& random) {
    const float evening = unit(random);
    skyTop_ = mix({60, 120, 200}, {50, 50, 110}, evening);
    skyBottom_ = mix({190, 215, 235}, {240, 160, 100}, evening);
    sun_ = mix({255, 250, 225}, {255, 205, 120}, evening);
    sunX_ = 0.1F + unit(random) * 0.8F;
    sunY_ = 0.1F + unit(random) * 0.35F;
    sunRadius_ = 0.04F + unit(random) * 0.04F;
    const int ranges = 3 + static_cast<int>(random() % 3);
    const Colour near = mix({40, 80, 35}, {60, 50, 45}, unit(random));
    // From the farthest range of hills to the nearest. The farther a range is, the more it takes
    // the colour of the sky.
    for (int i = 0; i < ranges; ++i) {
        const float nearness = static_cast<float>(i + 1) / static_cast<float>(ranges);
        hills_.push_back({0.35F + 0.5F * nearness, 0.04F + unit(random) * 0.12F,
                          2.0F + unit(random) * 5.0F, unit(random) * 6.28F,
                          mix(skyBottom_, near, 0.3F + 0.7F * nearness)});
    }
    grain_ = static_cast<std::uint32_t>(random());
}

Scene::Colour Scene::colourAt(float x, float y, float tallness,
                              const std::vector<float>& crests) const {
    // The nearest range that reaches up to here hides all that is behind it.
    for (std::size_t i = hills_.size(); i-- > 0;) {
        if (y > crests[i]) return mix(hills_[i].colour, {20, 30, 20}, (y - crests[i]) * 0.7F);
    }
    // `tallness` keeps the sun round in a picture that isn't square.
    const float right = x - sunX_;
    const float down = (y - sunY_) * tallness;
    if (right * right + down * down < sunRadius_ * sunRadius_) return sun_;
    return mix(skyTop_, skyBottom_, std::min(y / 0.7F, 1.0F));
}

Raster Scene::draw(int width, int height) const {
    Raster raster(width, height);
    std::uint32_t noise = grain_;
    const auto shorter = static_cast<float>(std::min(width, height));
    std::vector<float> crests(hills_.size());
    // The crests depend on the column only, so they are computed once for each.
    for (int column = 0; column < width; ++column) {
        const float x = static_cast<float>(column) / shorter;
        for (std::size_t i = 0; i < hills_.size(); ++i) {
            const Hills& hills = hills_[i];
            const float wave = std::sin(x * hills.frequency + hills.phase) +
                               0.4F * std::sin(x * hills.frequency * 3.7F + hills.phase);
            crests[i] = hills.base - hills.height * wave;
        }
        for (int row = 0; row < height; ++row) {
            const float y = static_cast<float>(row) / static_cast<float>(height);
            const Colour colour = colourAt(x, y, static_cast<float>(height) / shorter, crests);
            // A simple generator is enough for grain, and is fast.
            noise = noise * 1664525 + 1013904223;
            const float grain = static_cast<float>(noise >> 24) / 16.0F - 8.0F;
            std::uint8_t* const pixel = raster.pixel(column, row);
            const float channels[] = {colour.red, colour.green, colour.blue};
            for (int c = 0; c < 3; ++c) {
                pixel[c] = static_cast<std::uint8_t>(std::clamp(channels[c] + grain, 0.0F, 255.0F));
            }
        }
    }
    return raster;
}
