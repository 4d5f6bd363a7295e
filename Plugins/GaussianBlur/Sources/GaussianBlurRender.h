#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Brindel::GaussianBlur {

class OpenglShader;

// Turns the blur value into a separable Gaussian kernel, writes the kernel as
// literal numbers into a GLSL program pair, and runs the two blur passes.
// The direction of a pass is a uniform, so one program pair serves both.
class GaussianBlurRender {
public:
    GaussianBlurRender() = default;
    GaussianBlurRender(const GaussianBlurRender&) = delete;
    GaussianBlurRender& operator=(const GaussianBlurRender&) = delete;

    // Takes this frame's pixel radius. Only a change of the rounded value
    // makes new programs.
    void setBlurScale(double scale);

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

private:
    OpenglShader* mShader = nullptr;
    uint32_t mVertexArray = 0;
    uint32_t mVertexBuffer = 0;
    int64_t mSampleRadius = 4;
    double mSigma = 2.0;
    double mPixelRadius = 2.0;
    bool mShaderDirty = true;
};

} // namespace Brindel::GaussianBlur
