#pragma once

#include "PerContextVertexArray.h"

namespace Brindel::GaussianBlur {

class OpenglShader;

/// The quad and draw of a full-screen pass: positions (x, y, z) at attribute 0 and texture
/// coordinates at attribute 1, over the whole clip square, unflipped. One draw reads a texture on
/// unit 0 through the sampler "videoTexture" with the uniform "multiplier16bit".
///
/// Construction makes no GL call; the buffer is made at the first draw and shared by the share
/// group, the vertex array per context.
class FullScreenPass {
public:
    FullScreenPass() = default;
    /// Needs a context of the share group current.
    ~FullScreenPass();

    FullScreenPass(const FullScreenPass&) = delete;
    FullScreenPass& operator=(const FullScreenPass&) = delete;

    /// Draws `texture` through `shader` into the current target. No clear, blend or viewport
    /// change; the shader's program stays in use.
    void draw(OpenglShader& shader, unsigned int texture, float multiplier);
    /// Deletes the quad's buffer, made again at the next draw: after a failed frame its storage
    /// may never have been given. Needs a context of the share group current.
    void releaseBuffer();

private:
    unsigned int mVertexArray = 0;
    unsigned int mVertexBuffer = 0;
    PerContextVertexArray mVertexArrays;
};

} // namespace Brindel::GaussianBlur
