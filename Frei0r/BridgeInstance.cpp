#include "BridgeInstance.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace Brindel::Frei0r {

BridgeInstance::BridgeInstance(unsigned width, unsigned height)
    : mInput(checkedWidth(width, height), static_cast<A_long>(height), PF_PixelFormat_ARGB32) {}

A_long BridgeInstance::checkedWidth(unsigned width, unsigned height) {
    // A row's bytes must fit the world's rowbytes, a signed 32-bit field.
    constexpr unsigned kMaxWidth = std::numeric_limits<A_long>::max() / 4;
    if (width == 0 || height == 0 || width > kMaxWidth ||
        height > static_cast<unsigned>(std::numeric_limits<A_long>::max())) {
        throw std::invalid_argument("frame size out of range");
    }
    return static_cast<A_long>(width);
}

void BridgeInstance::setBlurScale(double value) {
    if (!std::isnan(value)) {
        mBlurScale = std::clamp(value, 0.0, 1.0);
    }
}

} // namespace Brindel::Frei0r
