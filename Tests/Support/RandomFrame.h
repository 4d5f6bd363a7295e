#pragma once

#include <random>
#include <string>

namespace Brindel::Testing {

/// Bytes of a frame of `width` by `height` 4-byte pixels: random colour over every kind of
/// alpha (clear, opaque, partial), alpha being byte `alphaByte` of each pixel (0 for ARGB, 3 for
/// RGBA).
inline std::string RandomFrame(int width, int height, unsigned seed, int alphaByte = 0) {
    std::mt19937 random(seed);
    std::string bytes(static_cast<size_t>(width) * height * 4, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) {
        const unsigned kind = random() % 4; // of alpha: 0 clear, 1 opaque, else partial
        const bool alpha = static_cast<int>(i % 4) == alphaByte;
        bytes[i] = static_cast<char>(alpha && kind < 2 ? 255 * kind : random() & 0xFF);
    }
    return bytes;
}

} // namespace Brindel::Testing
