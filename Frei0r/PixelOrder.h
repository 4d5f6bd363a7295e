#pragma once

#include <cstddef>
#include <cstdint>

namespace Brindel::Frei0r {

// frei0r's RGBA8888 frames hold red, green, blue and alpha in memory order;
// the effect's 8-bit worlds hold alpha, red, green and blue. Both carry
// straight alpha, so a conversion only moves bytes and loses nothing.
// Source and destination may be the same buffer.
void RgbaToArgb(const uint8_t* rgba, uint8_t* argb, size_t pixels);
void ArgbToRgba(const uint8_t* argb, uint8_t* rgba, size_t pixels);

} // namespace Brindel::Frei0r
