#pragma once

#include "FullScreenPass.h"
#include "OpenglShader.h"

namespace Brindel::GaussianBlur {

/// The input-side counterpart of ScreenRender: takes the host's alpha, red, green, blue (raw in
/// GL's r, g, b, a slots) to the working form, premultiplied red, green, blue, alpha scaled by the
/// multiplier.
///
/// Construction makes no GL call; the program and the quad are made at the first `draw`.
class BackgroundRender {
public:
    BackgroundRender();
    /// Needs a context of the share group current.
    ~BackgroundRender();

    BackgroundRender(const BackgroundRender&) = delete;
    BackgroundRender& operator=(const BackgroundRender&) = delete;

    /// One full-screen pass from `texture` (sampled on unit 0) into the current target. No clear,
    /// blend or viewport change.
    void draw(unsigned int texture, float multiplier);

private:
    OpenglShader mShader;
    FullScreenPass mQuad;
};

} // namespace Brindel::GaussianBlur
