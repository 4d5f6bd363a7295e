#pragma once

#include "FullScreenPass.h"
#include "OpenglShader.h"

namespace Brindel::GaussianBlur {

/// The last pass of every frame: takes the working form (premultiplied red, green, blue, alpha,
/// scaled by the frame's multiplier) back to the host's straight alpha, red, green, blue. A pixel
/// with alpha 0 comes out all zero.
///
/// Construction makes no GL call; the program and the quad are made at the first `draw`.
class ScreenRender {
public:
    ScreenRender();
    /// Needs a context of the share group current.
    ~ScreenRender();

    ScreenRender(const ScreenRender&) = delete;
    ScreenRender& operator=(const ScreenRender&) = delete;

    /// One full-screen pass from `texture` (sampled on unit 0) into the current target. No clear,
    /// blend or viewport change. `multiplier` must not be 0.
    void draw(unsigned int texture, float multiplier);
    /// Deletes the quad's buffer, made again at the next draw.
    void releaseBuffer() { mQuad.releaseBuffer(); }

private:
    OpenglShader mShader;
    FullScreenPass mQuad;
};

} // namespace Brindel::GaussianBlur
