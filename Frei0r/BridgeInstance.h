#pragma once

#include <atomic>
#include <cstddef>

#include "World.h"

namespace Brindel::Frei0r {

// One frei0r instance: its frame size, its own "Blur Scale" and the world the
// effect reads its input from, made once and reused for every frame.
class BridgeInstance {
public:
    // frei0r's doubles run from 0 to 1; the effect's slider from 0 to this many
    // pixels of the frame. The mapping is linear.
    static constexpr double kBlurScaleMax = 60.0;

    // Throws std::invalid_argument for a size the effect's worlds cannot
    // describe, std::bad_alloc when memory runs out.
    BridgeInstance(unsigned width, unsigned height);

    A_long width() const { return mInput.width(); }
    A_long height() const { return mInput.height(); }
    size_t pixelCount() const {
        return static_cast<size_t>(mInput.width()) * static_cast<size_t>(mInput.height());
    }

    // The frei0r value, 0 to 1. A value outside is clamped, and one that is
    // not a number leaves the value as it was.
    double blurScale() const { return mBlurScale.load(); }
    void setBlurScale(double value);
    // The effect's value in pixels.
    double blurPixels() const { return blurScale() * kBlurScaleMax; }

    // The input, in the effect's channel order, without row padding.
    Host::World& input() { return mInput; }

private:
    static A_long checkedWidth(unsigned width, unsigned height);

    Host::World mInput;
    std::atomic<double> mBlurScale{0.0};
};

} // namespace Brindel::Frei0r
