#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PerContextVertexArray.h"

namespace Brindel::GaussianBlur {

class OpenglShader;

// Turns the blur value into a separable Gaussian kernel, writes the kernel as
// literal numbers into a GLSL program pair, and runs the two blur passes.
// The direction of a pass is a uniform, so one program pair serves both.
class GaussianBlurRender {
public:
    GaussianBlurRender() = default;
    // Deletes the GL objects made by draw; a context of the share group must
    // be current.
    ~GaussianBlurRender();
    GaussianBlurRender(const GaussianBlurRender&) = delete;
    GaussianBlurRender& operator=(const GaussianBlurRender&) = delete;

    // Takes this frame's pixel radius. Only a change of the rounded value
    // makes new programs.
    void setBlurScale(double scale);

    // Blurs `texture` into the current level of the frame-buffer stack: a
    // vertical pass into a level of its own, then a horizontal pass back into
    // the current level. Without a kernel, one pass-through draw. `multiplier`
    // is the one the upload gave with the texture.
    void draw(unsigned int texture, float multiplier);
    // Deletes the quad's buffer, made again at the next draw: after a failed frame its storage
    // may never have been given. A context of the share group must be current.
    void releaseBuffer();

    // Sets the pixel radius, sigma and sample radius from a pixel radius.
    // Leaves the stale flag alone.
    void calculateSampleRadiusAndSigmaFromPixel(float pixels);

    std::string getVertexFunction();
    std::string getFragmentFunction();

    // The normalised weights of texel distances 0 to the sample radius, as the
    // programs' numbers are made from them; empty when there is no kernel.
    std::vector<float> kernelWeights() const;

    int64_t sampleRadius() const { return mSampleRadius; }
    double sigma() const { return mSigma; }
    double pixelRadius() const { return mPixelRadius; }
    bool shaderDirty() const { return mShaderDirty; }
    // Whether a draw has made GL objects, which the destructor deletes and
    // which need a context current for that.
    bool holdsGLObjects() const { return mShader != nullptr || mVertexBuffer != 0; }

private:
    // Binds the quad and the program's attributes for one pass.
    void bindQuad();
    void unbindQuad();

    OpenglShader* mShader = nullptr;
    // The vertex array of the context the last draw ran in; each render
    // context has its own, while the buffer is shared.
    uint32_t mVertexArray = 0;
    uint32_t mVertexBuffer = 0;
    PerContextVertexArray mVertexArrays;
    int64_t mSampleRadius = 4;
    double mSigma = 2.0;
    double mPixelRadius = 2.0;
    bool mShaderDirty = true;
};

} // namespace Brindel::GaussianBlur
