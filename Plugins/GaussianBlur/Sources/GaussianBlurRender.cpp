#include "GaussianBlurRender.h"

#include <glbinding/gl/gl.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <sstream>
#include <vector>

#include "AEOpenglMainFrameBuffer.h"
#include "OpenglShader.h"

using namespace gl;

namespace Brindel::GaussianBlur {

namespace {

// Two pi as the kernel has always used it; the digits are part of the
// generated text's numbers.
constexpr double kTwoPi = 6.2831853;
// The weight (1/256) below which a tap no longer counts.
constexpr double kSmallestWeight = 0.00390625;
// Pairs whose coordinates the vertex stage computes; the varying array then
// has at most 2 * 7 + 1 entries.
constexpr int32_t kMaxVertexPairs = 7;

struct Kernel {
    std::vector<float> weights; // distances 0 to the sample radius
    std::vector<float> pairWeights;
    std::vector<float> pairOffsets;
    int32_t pairCount = 0;
    int32_t vertexPairCount = 0;
};

// Normalised weights of texel distances 0..radius; every side tap stands for
// two texels, so it counts twice in the sum.
std::vector<float> MakeWeights(int64_t radius, double sigma) {
    if (radius < 1) {
        return {};
    }
    std::vector<float> weights(static_cast<size_t>(radius) + 1);
    const double q = sigma * sigma;
    const double norm = 1.0 / std::sqrt(kTwoPi * q);
    const double den = q + q;

    float sum = 0.0f;
    for (int64_t i = 0; i <= radius; ++i) {
        const double d = static_cast<double>(i);
        const double e = std::exp(-(d * d) / den);
        const float w = static_cast<float>(e * norm);
        weights[i] = w;
        sum = i == 0 ? sum + w : sum + (w + w);
    }
    for (float& w : weights) {
        w = w / sum;
    }
    return weights;
}

// The kernel with adjacent texels paired into one linearly filtered tap each.
Kernel MakeKernel(int64_t radius, double sigma) {
    Kernel k;
    k.weights = MakeWeights(radius, sigma);
    k.pairCount = static_cast<int32_t>(radius / 2 + radius % 2);
    k.vertexPairCount = k.pairCount < kMaxVertexPairs + 1 ? k.pairCount : kMaxVertexPairs;
    k.pairWeights.resize(k.pairCount);
    k.pairOffsets.resize(k.pairCount);
    for (int32_t i = 0; i < k.pairCount; ++i) {
        const float a = k.weights[2 * i + 1];
        const float b = k.weights[2 * i + 2];
        k.pairWeights[i] = a + b;
        k.pairOffsets[i] =
            (static_cast<float>(2 * i + 1) * a + static_cast<float>(2 * i + 2) * b) / (a + b);
    }
    return k;
}

// Numbers go into the text as a default-formatted stream writes them: six
// significant digits in the C locale, whatever locale the host has set.
class GlslText {
public:
    GlslText() { mOut.imbue(std::locale::classic()); }

    template <typename T> GlslText& operator<<(const T& value) {
        mOut << value;
        return *this;
    }
    GlslText& operator<<(float value) {
        mOut << static_cast<double>(value);
        return *this;
    }

    std::string str() const { return mOut.str(); }

private:
    std::ostringstream mOut;
};

// Two triangles over the whole clip square: x, y, u, v. Texture (0, 0) lies
// at clip (-1, -1), so no pass flips the image.
constexpr float kQuad[24] = {
    1.0f,  -1.0f, 1.0f, 0.0f, //
    1.0f,  1.0f,  1.0f, 1.0f, //
    -1.0f, 1.0f,  0.0f, 1.0f, //
    -1.0f, 1.0f,  0.0f, 1.0f, //
    -1.0f, -1.0f, 0.0f, 0.0f, //
    1.0f,  -1.0f, 1.0f, 0.0f, //
};
constexpr GLsizei kQuadStride = 4 * sizeof(float);
// Attribute pointers are byte offsets into the bound buffer.
const float* const kUvOffset =
    reinterpret_cast<const float*>(2 * sizeof(float)); // NOLINT(performance-no-int-to-ptr)
const int kTexture2D = static_cast<int>(GL_TEXTURE_2D);

} // namespace

GaussianBlurRender::~GaussianBlurRender() {
    mVertexArrays.release();
    releaseBuffer();
    delete mShader;
}

void GaussianBlurRender::releaseBuffer() {
    if (mVertexBuffer != 0) {
        glDeleteBuffers(1, &mVertexBuffer);
        mVertexBuffer = 0;
    }
}

void GaussianBlurRender::bindQuad() {
    mShader->useProgram();
    glBindVertexArray(mVertexArray);
    glBindBuffer(GL_ARRAY_BUFFER, mVertexBuffer);
    mShader->setAttribute2fv(0, nullptr, kQuadStride);
    mShader->setAttribute2fv(1, kUvOffset, kQuadStride);
}

void GaussianBlurRender::unbindQuad() {
    mShader->disableVertexAttributeArray(0);
    mShader->disableVertexAttributeArray(1);
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

void GaussianBlurRender::draw(unsigned int texture, float multiplier) {
    mVertexArray = mVertexArrays.current();
    if (mVertexBuffer == 0) {
        glGenBuffers(1, &mVertexBuffer);
        glBindBuffer(GL_ARRAY_BUFFER, mVertexBuffer);
        glBufferData(GL_ARRAY_BUFFER, sizeof(kQuad), kQuad, GL_STATIC_DRAW);
    }

    if (mShaderDirty) {
        delete mShader;
        mShader = nullptr;
        const std::string vertex = getVertexFunction();
        const std::string fragment = getFragmentFunction();
        mShader = new OpenglShader(vertex, fragment);
        mShader->addAttributeBinding("position", 0);
        mShader->addAttributeBinding("input_uv", 1);
        mShaderDirty = false;
    }

    AEOpenglMainFrameBuffer* stack = AEOpenglMainFrameBuffer::mainFrameBuffer();
    if (mSampleRadius <= 0) {
        bindQuad();
        mShader->setUniformTexture("videoTexture", kTexture2D, static_cast<int>(texture), 0);
        mShader->setUniform1f("multiplier16bit", multiplier);
        glDrawArrays(GL_TRIANGLES, 0, 6);
        unbindQuad();
        return;
    }

    const float width = stack->width();
    const float height = stack->height();

    // Vertical pass into a level of its own, in the texture's channel order:
    // a multiplier of 0 or below leaves the sum unscaled.
    stack->pushRenderContext(false, false);
    bindQuad();
    mShader->setUniform2f("viewSize", width, height);
    mShader->setUniform2f("texelOffset", 0.0f, 1.0f);
    mShader->setUniform1f("multiplier16bit", -1.0f);
    mShader->setUniformTexture("videoTexture", kTexture2D, static_cast<int>(texture), 0);
    glDrawArrays(GL_TRIANGLES, 0, 6);
    unbindQuad();
    GLuint intermediate = stack->popRenderContext();

    // Horizontal pass into the level below, scaled, reordered and premultiplied.
    bindQuad();
    mShader->setUniform2f("viewSize", width, height);
    mShader->setUniform2f("texelOffset", 1.0f, 0.0f);
    mShader->setUniformTexture("videoTexture", kTexture2D, static_cast<int>(intermediate), 0);
    mShader->setUniform1f("multiplier16bit", multiplier);
    glDrawArrays(GL_TRIANGLES, 0, 6);
    unbindQuad();
    stack->recycleTexture(intermediate);
}

std::vector<float> GaussianBlurRender::kernelWeights() const {
    return MakeWeights(mSampleRadius, mSigma);
}

void GaussianBlurRender::setBlurScale(double scale) {
    // Not a number is as unchanged as any other radius: it must not rebuild
    // the programs on every frame.
    const double radius = std::round(scale);
    if (radius == mPixelRadius || (std::isnan(radius) && std::isnan(mPixelRadius))) {
        return;
    }
    calculateSampleRadiusAndSigmaFromPixel(static_cast<float>(scale));
    mShaderDirty = true;
}

void GaussianBlurRender::calculateSampleRadiusAndSigmaFromPixel(float pixels) {
    const float r = std::round(pixels);
    const double d = static_cast<double>(r);
    mPixelRadius = d;
    mSigma = d;
    if (!(r >= 1.0f)) {
        mSampleRadius = 0;
        return;
    }
    const double q = d * d;
    const double t = std::sqrt(q * kTwoPi) * kSmallestWeight;
    const double v = std::log(t) * (-2.0 * q);
    const double c = std::floor(std::sqrt(v));
    // Past a pixel radius of about 102 the density never falls to the smallest
    // weight and the root is not a number: the sample radius is then negative
    // and the pass-through programs are used, as for no blur.
    if (!(c >= std::numeric_limits<int32_t>::min() && c <= std::numeric_limits<int32_t>::max())) {
        mSampleRadius = std::numeric_limits<int32_t>::min();
        return;
    }
    const int32_t whole = static_cast<int32_t>(c);
    mSampleRadius = whole + whole % 2;
}

std::string GaussianBlurRender::getVertexFunction() {
    if (mSampleRadius < 1) {
        return "#version 330\nin vec2 position; in vec2 input_uv; out vec2 uv; void main() {uv = "
               "input_uv; gl_Position = vec4(position, 0.0, 1.0); }";
    }
    const Kernel k = MakeKernel(mSampleRadius, mSigma);
    GlslText text;
    text << "#version 330\n in vec2 position; in vec2 input_uv; out vec2 uv; "
         << "uniform vec2 texelOffset;\n"
         << "uniform vec2 viewSize;\n"
         << "out vec2 blurCoordinates[" << 2 * k.vertexPairCount + 1 << "];\n"
         << "void main(){\n"
         << "    vec2 singleStepOffset = vec2(texelOffset.x / viewSize.x, texelOffset.y / "
            "viewSize.y);\n"
         << "    blurCoordinates[0] = input_uv.xy;\n";
    for (int32_t i = 0; i < k.vertexPairCount; ++i) {
        text << "    blurCoordinates[" << 2 * i + 1 << "] = input_uv.xy + singleStepOffset * "
             << k.pairOffsets[i] << ";\n"
             << "    blurCoordinates[" << 2 * i + 2 << "] = input_uv.xy - singleStepOffset * "
             << k.pairOffsets[i] << ";\n";
    }
    text << "uv = input_uv; gl_Position = vec4(position, 0.0, 1.0); }";
    return text.str();
}

std::string GaussianBlurRender::getFragmentFunction() {
    if (mSampleRadius < 1) {
        return "#version 330\nin vec2 uv;uniform sampler2D videoTexture;uniform float "
               "multiplier16bit;out vec4 colourOut;\nvoid main() {colourOut = "
               "texture(videoTexture, uv);colourOut = colourOut * multiplier16bit; colourOut = "
               "vec4(colourOut.g, colourOut.b, colourOut.a, colourOut.r); colourOut = "
               "vec4(colourOut.a * colourOut.r, colourOut.a * colourOut.g, colourOut.a * "
               "colourOut.b, colourOut.a); }";
    }
    const Kernel k = MakeKernel(mSampleRadius, mSigma);
    GlslText text;
    text << "#version 330\n in vec2 uv; uniform sampler2D videoTexture; out vec4 colourOut;\n"
         << "uniform float multiplier16bit;"
         << "uniform vec2 texelOffset;\n"
         << "uniform vec2 viewSize;\n"
         << "in vec2 blurCoordinates[" << 2 * k.vertexPairCount + 1 << "];\n"
         << "void main() {\n    vec4 sum = vec4(0.0);\n"
         << "    sum += texture(videoTexture, blurCoordinates[0]) * " << k.weights[0] << ";\n";
    for (int32_t i = 0; i < k.vertexPairCount; ++i) {
        text << "    sum += texture(videoTexture, blurCoordinates[" << 2 * i + 1 << "]) * "
             << k.pairWeights[i] << ";\n"
             << "    sum += texture(videoTexture, blurCoordinates[" << 2 * i + 2 << "]) * "
             << k.pairWeights[i] << ";\n";
    }
    // Pairs beyond the varying array are offset from the centre here.
    if (k.pairCount > kMaxVertexPairs) {
        text << "    vec2 singlStepOffset = vec2(texelOffset.x / viewSize.x, texelOffset.y / "
                "viewSize.y);\n";
        for (int32_t i = kMaxVertexPairs; i < k.pairCount; ++i) {
            text << "    sum += texture(videoTexture, blurCoordinates[0] + singlStepOffset *"
                 << k.pairOffsets[i] << ") * " << k.pairWeights[i] << ";\n"
                 << "    sum += texture(videoTexture, blurCoordinates[0] - singlStepOffset *"
                 << k.pairOffsets[i] << ") * " << k.pairWeights[i] << ";\n";
        }
    }
    text << "    if(multiplier16bit <= 0){colourOut = sum;}else{"
         << "\t\tcolourOut = sum * multiplier16bit; \t\tcolourOut = vec4(colourOut.g, "
            "colourOut.b, colourOut.a, colourOut.r);\n \t\tcolourOut = vec4(colourOut.a * "
            "colourOut.r, colourOut.a * colourOut.g, colourOut.a * colourOut.b, colourOut.a);\n "
         << "    }}\n";
    return text.str();
}

} // namespace Brindel::GaussianBlur
