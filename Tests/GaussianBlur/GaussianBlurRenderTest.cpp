#include "GaussianBlurRender.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

using Brindel::GaussianBlur::GaussianBlurRender;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

int CountOf(const std::string& text, const std::string& what) {
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}

const std::string kPassVertex = "#version 330\nin vec2 position; in vec2 input_uv; out vec2 "
                                "uv; void main() {uv = input_uv; gl_Position = "
                                "vec4(position, 0.0, 1.0); }";
const std::string kPassFragment =
    "#version 330\nin vec2 uv;uniform sampler2D videoTexture;uniform float "
    "multiplier16bit;out vec4 colourOut;\nvoid main() {colourOut = texture(videoTexture, "
    "uv);colourOut = colourOut * multiplier16bit; colourOut = vec4(colourOut.g, "
    "colourOut.b, colourOut.a, colourOut.r); colourOut = vec4(colourOut.a * colourOut.r, "
    "colourOut.a * colourOut.g, colourOut.a * colourOut.b, colourOut.a); }";
const std::string kBlurTail =
    "    if(multiplier16bit <= 0){colourOut = sum;}else{\t\tcolourOut = sum * multiplier16bit; "
    "\t\tcolourOut = vec4(colourOut.g, colourOut.b, colourOut.a, colourOut.r);\n";

} // namespace

// Scales set in turn: the radius rounds half away from zero, one that rounds to the radius
// already set is kept, and below one half, negative (its sigma kept but never read) or not a
// number there is no kernel and the pass-through programs are used.
TEST(GaussianBlurRender, RoundedRadiusSetsTheKernelAndProgramShape) {
    struct Case {
        std::vector<double> scales;
        int sampleRadius;
        double sigma;
        int arraySize;
        int fragmentStagePairs; // beyond the vertex stage's seven
    };
    const Case cases[] = {
        {{}, 4, 2.0, 5, 0},                                  // the constructor's radius-two kernel
        {{2.4}, 4, 2.0, 5, 0},   {{5.0, 2.0}, 6, 2.0, 7, 0}, // the full rule for radius two
        {{0.5}, 4, 1.0, 5, 0},   {{3.0}, 8, 3.0, 9, 0},      {{6.0}, 14, 6.0, 15, 0},
        {{7.0}, 16, 7.0, 15, 1}, {{10.0}, 22, 10.0, 15, 4},  {{7.6, 8.4}, 18, 8.0, 15, 2},
        {{8.5}, 20, 9.0, 15, 3}, {{60.0}, 62, 60.0, 15, 24}, // the control's end
        {{0.0}, 0, 0.0, 0, 0},   {{0.49}, 0, 0.0, 0, 0},     {{-0.49}, 0, 0.0, 0, 0},
        {{-3.0}, 0, -3.0, 0, 0}, {{kNaN}, 0, kNaN, 0, 0},
    };
    const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    for (const Case& c : cases) {
        SCOPED_TRACE("scales " + ::testing::PrintToString(c.scales));
        GaussianBlurRender render;
        for (double scale : c.scales) {
            render.setBlurScale(scale);
        }
        const std::string vertex = render.getVertexFunction();
        const std::string fragment = render.getFragmentFunction();
        EXPECT_EQ(render.sampleRadius(), c.sampleRadius);
        EXPECT_TRUE(same(render.sigma(), c.sigma) && same(render.pixelRadius(), c.sigma));
        EXPECT_EQ(render.kernelWeights().size(),
                  static_cast<size_t>(c.sampleRadius + (c.sampleRadius > 0)));
        if (c.arraySize == 0) {
            EXPECT_EQ(vertex, kPassVertex);
            EXPECT_EQ(fragment, kPassFragment);
            continue;
        }
        const std::string array = "blurCoordinates[" + std::to_string(c.arraySize) + "];\n";
        EXPECT_EQ(CountOf(vertex, "out vec2 " + array), 1);
        EXPECT_EQ(CountOf(fragment, "in vec2 " + array), 1);
        EXPECT_EQ(CountOf(vertex, "singleStepOffset * "), c.arraySize - 1);
        EXPECT_EQ(CountOf(fragment, "blurCoordinates[0] + singlStepOffset *"),
                  c.fragmentStagePairs);
        EXPECT_EQ(CountOf(fragment, "blurCoordinates[0] - singlStepOffset *"),
                  c.fragmentStagePairs);
        EXPECT_NE(fragment.find(kBlurTail), std::string::npos);
    }
}

// The programs print the normalised Gaussian's numbers to six significant digits. Pairs beyond the
// vertex stage's seven are offset from the centre in the fragment program.
TEST(GaussianBlurRender, ProgramsPrintTheNormalisedGaussianByteForByte) {
    GaussianBlurRender render;
    render.setBlurScale(3.0);
    EXPECT_EQ(render.getVertexFunction(),
              "#version 330\n"
              " in vec2 position; in vec2 input_uv; out vec2 uv; uniform vec2 texelOffset;\n"
              "uniform vec2 viewSize;\n"
              "out vec2 blurCoordinates[9];\n"
              "void main(){\n"
              "    vec2 singleStepOffset = vec2(texelOffset.x / viewSize.x, texelOffset.y / "
              "viewSize.y);\n"
              "    blurCoordinates[0] = input_uv.xy;\n"
              "    blurCoordinates[1] = input_uv.xy + singleStepOffset * 1.45843;\n"
              "    blurCoordinates[2] = input_uv.xy - singleStepOffset * 1.45843;\n"
              "    blurCoordinates[3] = input_uv.xy + singleStepOffset * 3.40399;\n"
              "    blurCoordinates[4] = input_uv.xy - singleStepOffset * 3.40399;\n"
              "    blurCoordinates[5] = input_uv.xy + singleStepOffset * 5.35181;\n"
              "    blurCoordinates[6] = input_uv.xy - singleStepOffset * 5.35181;\n"
              "    blurCoordinates[7] = input_uv.xy + singleStepOffset * 7.30294;\n"
              "    blurCoordinates[8] = input_uv.xy - singleStepOffset * 7.30294;\n"
              "uv = input_uv; gl_Position = vec4(position, 0.0, 1.0); }");
    EXPECT_EQ(render.getFragmentFunction(),
              "#version 330\n"
              " in vec2 uv; uniform sampler2D videoTexture; out vec4 colourOut;\n"
              "uniform float multiplier16bit;uniform vec2 texelOffset;\n"
              "uniform vec2 viewSize;\n"
              "in vec2 blurCoordinates[9];\n"
              "void main() {\n"
              "    vec4 sum = vec4(0.0);\n"
              "    sum += texture(videoTexture, blurCoordinates[0]) * 0.133571;\n"
              "    sum += texture(videoTexture, blurCoordinates[1]) * 0.233308;\n"
              "    sum += texture(videoTexture, blurCoordinates[2]) * 0.233308;\n"
              "    sum += texture(videoTexture, blurCoordinates[3]) * 0.135928;\n"
              "    sum += texture(videoTexture, blurCoordinates[4]) * 0.135928;\n"
              "    sum += texture(videoTexture, blurCoordinates[5]) * 0.0513832;\n"
              "    sum += texture(videoTexture, blurCoordinates[6]) * 0.0513832;\n"
              "    sum += texture(videoTexture, blurCoordinates[7]) * 0.012595;\n"
              "    sum += texture(videoTexture, blurCoordinates[8]) * 0.012595;\n" +
                  kBlurTail +
                  " \t\tcolourOut = vec4(colourOut.a * colourOut.r, colourOut.a * colourOut.g, "
                  "colourOut.a * colourOut.b, colourOut.a);\n"
                  "     }}\n");
    render.setBlurScale(10.0);
    const std::string both = render.getVertexFunction() + render.getFragmentFunction();
    const std::string snippets[] = {
        "    blurCoordinates[13] = input_uv.xy + singleStepOffset * 13.4663;\n"
        "    blurCoordinates[14] = input_uv.xy - singleStepOffset * 13.4663;\n"
        "uv = input_uv;",
        "    sum += texture(videoTexture, blurCoordinates[13]) * 0.0329123;\n"
        "    sum += texture(videoTexture, blurCoordinates[14]) * 0.0329123;\n"
        "    vec2 singlStepOffset = vec2(texelOffset.x / viewSize.x, texelOffset.y / "
        "viewSize.y);\n"
        "    sum += texture(videoTexture, blurCoordinates[0] + singlStepOffset *15.4613) * "
        "0.0246449;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] - singlStepOffset *15.4613) * "
        "0.0246449;\n",
        "    sum += texture(videoTexture, blurCoordinates[0] + singlStepOffset *21.4465) * "
        "0.00814446;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] - singlStepOffset *21.4465) * "
        "0.00814446;\n" +
            kBlurTail};
    for (const std::string& snippet : snippets) {
        EXPECT_NE(both.find(snippet), std::string::npos) << snippet;
    }
    render.setBlurScale(60.0);
    EXPECT_NE(render.getFragmentFunction().find("blurCoordinates[0]) * 0.00946564;\n"),
              std::string::npos);
}

TEST(GaussianBlurRender, SampleRadiusFollowsTheOneIn256Cutoff) {
    // Pixel radius to sample radius over the control's range.
    const int table[61] = {0,  4,  6,  8,  10, 12, 14, 16, 18, 20, 22, 24, 24, 26, 28, 30,
                           30, 32, 34, 34, 36, 38, 38, 40, 40, 42, 44, 44, 46, 46, 46, 48,
                           48, 50, 50, 52, 52, 52, 54, 54, 54, 56, 56, 56, 58, 58, 58, 58,
                           58, 60, 60, 60, 60, 60, 60, 62, 62, 62, 62, 62, 62};
    // Beyond the control the cut-off comes closer again, then vanishes.
    const std::pair<float, int64_t> beyond[] = {{69, 62},  {80, 56},  {90, 46},
                                                {100, 20}, {101, 16}, {102, 6}};
    auto sampleRadius = [](float radius) {
        GaussianBlurRender render;
        render.calculateSampleRadiusAndSigmaFromPixel(radius);
        EXPECT_EQ(render.sigma(), radius);
        return render.sampleRadius();
    };
    for (int radius = 0; radius <= 60; ++radius) {
        EXPECT_EQ(sampleRadius(static_cast<float>(radius)), table[radius]) << radius;
    }
    for (const auto& [radius, sample] : beyond) {
        EXPECT_EQ(sampleRadius(radius), sample) << radius;
    }
    // Past that the pass-through programs are used, as for no blur.
    GaussianBlurRender far;
    far.calculateSampleRadiusAndSigmaFromPixel(103.0f);
    EXPECT_LT(far.sampleRadius(), 0);
    EXPECT_EQ(far.getFragmentFunction(), kPassFragment);
}
