#include "PixelOrder.h"

namespace Brindel::Frei0r {

// Byte by byte rather than by rotating 32-bit words, so that the order holds
// on either endianness; the compiler turns the loops into byte shuffles.

void RgbaToArgb(const uint8_t* rgba, uint8_t* argb, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i, rgba += 4, argb += 4) {
        const uint8_t r = rgba[0], g = rgba[1], b = rgba[2], a = rgba[3];
        argb[0] = a;
        argb[1] = r;
        argb[2] = g;
        argb[3] = b;
    }
}

void ArgbToRgba(const uint8_t* argb, uint8_t* rgba, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i, argb += 4, rgba += 4) {
        const uint8_t a = argb[0], r = argb[1], g = argb[2], b = argb[3];
        rgba[0] = r;
        rgba[1] = g;
        rgba[2] = b;
        rgba[3] = a;
    }
}

} // namespace Brindel::Frei0r
