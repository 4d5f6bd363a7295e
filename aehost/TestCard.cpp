#include "TestCard.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Brindel::Host {

namespace {

A_u_char Level(double v) {
    return static_cast<A_u_char>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}

// A hue at full saturation, h in 0..1.
PF_Pixel8 Hue(double h) {
    auto channel = [h](double offset) {
        const double t = std::fmod(h + offset, 1.0) * 6.0;
        return std::clamp(std::fabs(t - 3.0) - 1.0, 0.0, 1.0);
    };
    return {255, Level(channel(0.0)), Level(channel(2.0 / 3.0)), Level(channel(1.0 / 3.0))};
}

// Letters of three by five pixels, a row a nibble, high bit on the left.
struct Glyph {
    char c;
    unsigned char rows[5];
};
constexpr Glyph kFont[] = {
    {'A', {0x2, 0x5, 0x7, 0x5, 0x5}}, {'B', {0x6, 0x5, 0x6, 0x5, 0x6}},
    {'E', {0x7, 0x4, 0x6, 0x4, 0x7}}, {'G', {0x3, 0x4, 0x5, 0x5, 0x3}},
    {'H', {0x5, 0x5, 0x7, 0x5, 0x5}}, {'I', {0x7, 0x2, 0x2, 0x2, 0x7}},
    {'L', {0x4, 0x4, 0x4, 0x4, 0x7}}, {'N', {0x5, 0x7, 0x7, 0x7, 0x5}},
    {'R', {0x6, 0x5, 0x6, 0x5, 0x5}}, {'S', {0x3, 0x4, 0x2, 0x1, 0x6}},
    {'T', {0x7, 0x2, 0x2, 0x2, 0x2}}, {'U', {0x5, 0x5, 0x5, 0x5, 0x7}},
    {'0', {0x7, 0x5, 0x5, 0x5, 0x7}}, {'1', {0x2, 0x6, 0x2, 0x2, 0x7}},
    {'.', {0x0, 0x0, 0x0, 0x0, 0x2}},
};

void Put(World& world, A_long x, A_long y, PF_Pixel8 pixel) {
    if (x >= 0 && y >= 0 && x < world.width() && y < world.height()) {
        world.pixels<PF_Pixel8>(y)[x] = pixel;
    }
}

void Text(World& world, A_long x, A_long y, const char* text, PF_Pixel8 ink) {
    for (; *text; ++text, x += 4) {
        for (const Glyph& g : kFont) {
            if (g.c != *text) {
                continue;
            }
            for (int row = 0; row < 5; ++row) {
                for (int col = 0; col < 3; ++col) {
                    if (g.rows[row] & (4 >> col)) {
                        Put(world, x + col, y + row, ink);
                    }
                }
            }
        }
    }
}

} // namespace

std::unique_ptr<World> TestCard::Draw(A_long width, A_long height) {
    auto world = std::make_unique<World>(width, height, PF_PixelFormat_ARGB32);
    const A_long half = height / 2;
    for (A_long y = 0; y < height; ++y) {
        PF_Pixel8* row = world->pixels<PF_Pixel8>(y);
        for (A_long x = 0; x < width; ++x) {
            const double u = (x + 0.5) / width;
            if (y < half) {
                // Hues left to right, fading to white upwards.
                PF_Pixel8 p = Hue(u);
                const double fade = 1.0 - static_cast<double>(y) / half;
                p.red = Level(p.red / 255.0 * (1 - fade) + fade);
                p.green = Level(p.green / 255.0 * (1 - fade) + fade);
                p.blue = Level(p.blue / 255.0 * (1 - fade) + fade);
                row[x] = p;
            } else {
                // A grey ramp.
                const A_u_char g = Level(u);
                row[x] = {255, g, g, g};
            }
        }
    }

    // One-pixel lines and checks in the lower left.
    const A_long top = half + height / 8;
    for (A_long y = top; y < top + height / 4; ++y) {
        for (A_long x = width / 16; x < width / 3; ++x) {
            const bool line = (x / 2) % 2 == 0;
            const bool check = ((x + y) % 2) == 0;
            const A_u_char v = (x < width / 5 ? line : check) ? 255 : 0;
            Put(*world, x, y, {255, v, v, v});
        }
    }

    // Lettering.
    Text(*world, width / 16, half + height / 16, "GAUSSIAN BLUR 1.0", {255, 0, 0, 0});
    Text(*world, width / 16, half - 8, "TEST", {255, 255, 255, 255});

    // Partly transparent discs and a fully transparent hole.
    const struct {
        double cx, cy, r;
        PF_Pixel8 colour;
    } discs[] = {
        {0.55, 0.68, 0.12, {128, 255, 40, 40}},
        {0.68, 0.68, 0.12, {64, 40, 255, 40}},
        {0.615, 0.82, 0.12, {192, 40, 40, 255}},
    };
    for (const auto& d : discs) {
        const double r = d.r * height;
        for (A_long y = 0; y < height; ++y) {
            for (A_long x = 0; x < width; ++x) {
                const double dx = x + 0.5 - d.cx * width;
                const double dy = y + 0.5 - d.cy * height;
                if (dx * dx + dy * dy <= r * r) {
                    Put(*world, x, y, d.colour);
                }
            }
        }
    }
    for (A_long y = half + height / 8; y < half + height / 3; ++y) {
        for (A_long x = width * 4 / 5; x < width * 9 / 10; ++x) {
            // Colour kept under zero alpha, as layers often carry it.
            Put(*world, x, y, {0, 255, 0, 255});
        }
    }
    return world;
}

} // namespace Brindel::Host
