#include "GaussianBlurRender.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

using Brindel::GaussianBlur::GaussianBlurRender;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The blur scales set in turn; none leaves the constructor's state.
void Set(GaussianBlurRender& render, const std::vector<double>& scales) {
    for (double scale : scales) {
        render.setBlurScale(scale);
    }
}

std::string Trace(const std::vector<double>& scales) {
    std::ostringstream out;
    out << "scales";
    for (double scale : scales) {
        out << ' ' << scale;
    }
    return out.str();
}

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

TEST(GaussianBlurRender, RoundedRadiusSetsTheKernelAndProgramShape) {
    struct Case {
        std::vector<double> scales;
        int sampleRadius;
        double sigma;
        size_t vertexSize;
        int arraySize;
        int fragmentStageTaps; // pairs beyond the vertex stage's seven, two taps each
    };
    const Case cases[] = {
        {{}, 4, 2.0, 606, 5, 0},            // the constructor's radius-two kernel
        {{2.4}, 4, 2.0, 606, 5, 0},         // rounds to the constructor's radius: kept
        {{5.0, 2.0}, 6, 2.0, 740, 7, 0},    // the full rule for radius two
        {{0.5}, 4, 1.0, 606, 5, 0},         // one half rounds up
        {{3.0}, 8, 3.0, 874, 9, 0},         //
        {{6.0}, 14, 6.0, 1280, 15, 0},      // seven pairs, all in the vertex stage
        {{7.0}, 16, 7.0, 1282, 15, 2},      // the eighth pair in the fragment stage
        {{10.0}, 22, 10.0, 1282, 15, 8},    //
        {{7.6, 8.4}, 18, 8.0, 1282, 15, 4}, // 8.4 rounds to the radius already set
        {{8.5}, 20, 9.0, 1280, 15, 6},      // halves round away from zero
        {{60.0}, 62, 60.0, 1280, 15, 48},   // the control's end
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Trace(c.scales));
        GaussianBlurRender render;
        Set(render, c.scales);
        const std::string vertex = render.getVertexFunction();
        const std::string fragment = render.getFragmentFunction();
        EXPECT_EQ(render.sampleRadius(), c.sampleRadius);
        EXPECT_EQ(render.sigma(), c.sigma);
        EXPECT_EQ(render.pixelRadius(), c.sigma);
        EXPECT_TRUE(render.shaderDirty());
        EXPECT_EQ(render.kernelWeights().size(), static_cast<size_t>(c.sampleRadius + 1));
        EXPECT_EQ(vertex.size(), c.vertexSize);
        const std::string array = "blurCoordinates[" + std::to_string(c.arraySize) + "];\n";
        EXPECT_EQ(CountOf(vertex, "out vec2 " + array), 1);
        EXPECT_EQ(CountOf(fragment, "in vec2 " + array), 1);
        EXPECT_EQ(CountOf(vertex, "singleStepOffset * "), c.arraySize - 1);
        EXPECT_EQ(CountOf(fragment, "blurCoordinates[0] + singlStepOffset *"),
                  c.fragmentStageTaps / 2);
        EXPECT_EQ(CountOf(fragment, "blurCoordinates[0] - singlStepOffset *"),
                  c.fragmentStageTaps / 2);
        EXPECT_NE(fragment.find(kBlurTail), std::string::npos);
    }
}

TEST(GaussianBlurRender, KernelNumbersAreTheNormalisedGaussianAsTheProgramsPrintThem) {
    // Six significant digits, as the programs write them; pairs are (offset, weight) of two
    // neighbouring taps merged into one linear sample.
    struct Case {
        std::vector<double> scales;
        std::vector<std::string> weights; // distance 0 to the sample radius
        std::vector<std::string> snippets;
    };
    const Case cases[] = {
        {{},
         {"0.204164", "0.180174", "0.123832", "0.0662822", "0.0276306"},
         {"    blurCoordinates[1] = input_uv.xy + singleStepOffset * 1.40733;\n",
          "    blurCoordinates[4] = input_uv.xy - singleStepOffset * 3.29421;\n",
          "blurCoordinates[2]) * 0.304005;\n", "blurCoordinates[3]) * 0.0939128;\n"}},
        {{3.0},
         {"0.133571", "0.126353", "0.106955", "0.081015", "0.0549128", "0.0333063", "0.0180769",
          "0.00877944", "0.00381553"},
         {}},
        {{10.0},
         {"0.0408916",  "0.0406876",  "0.0400818",  "0.0390922",  "0.0377477", "0.0360867",
          "0.0341555",  "0.032006",   "0.0296934",  "0.0272737",  "0.024802",  "0.0223298",
          "0.0199041",  "0.0175653",  "0.0153471",  "0.0132755",  "0.0113694", "0.00964002",
          "0.00809238", "0.00672562", "0.00553407", "0.00450831", "0.00363614"},
         {"blurCoordinates[1] = input_uv.xy + singleStepOffset * 1.49625;\n",
          "blurCoordinates[1]) * 0.0807694;\n",
          "blurCoordinates[11] = input_uv.xy + singleStepOffset * 11.4713;\n",
          "blurCoordinates[11]) * 0.0422339;\n",
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
              kBlurTail}},
        {{60.0}, {}, {"blurCoordinates[0]) * 0.00946564;\n"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Trace(c.scales));
        GaussianBlurRender render;
        Set(render, c.scales);
        const std::vector<float> w = render.kernelWeights();
        if (!c.weights.empty()) {
            ASSERT_EQ(w.size(), c.weights.size());
        }
        for (size_t i = 0; i < c.weights.size(); ++i) {
            std::ostringstream text;
            text << static_cast<double>(w[i]);
            EXPECT_EQ(text.str(), c.weights[i]) << "weight " << i;
        }
        const std::string both = render.getVertexFunction() + render.getFragmentFunction();
        for (const std::string& snippet : c.snippets) {
            EXPECT_NE(both.find(snippet), std::string::npos) << snippet;
        }
    }
}

TEST(GaussianBlurRender, PixelRadiusThreeGivesTheWholeProgramPairByteForByte) {
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
}

TEST(GaussianBlurRender, ScalesWithoutAKernelGiveThePassThroughPrograms) {
    // Below one half, negative (its sigma kept but never read), or not a number (which never
    // equals the last radius).
    struct Case {
        double scale;
        double sigma;
    };
    for (const Case& c :
         {Case{0.0, 0.0}, Case{0.49, 0.0}, Case{-0.49, 0.0}, Case{-3.0, -3.0}, Case{kNaN, kNaN}}) {
        SCOPED_TRACE(c.scale);
        GaussianBlurRender render;
        render.setBlurScale(c.scale);
        EXPECT_EQ(render.sampleRadius(), 0);
        EXPECT_TRUE(std::isnan(c.sigma) ? std::isnan(render.pixelRadius())
                                        : render.sigma() == c.sigma);
        EXPECT_TRUE(render.kernelWeights().empty());
        EXPECT_TRUE(render.shaderDirty());
        EXPECT_EQ(render.getVertexFunction(), kPassVertex);
        EXPECT_EQ(render.getFragmentFunction(), kPassFragment);
    }
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
        // Working out a radius leaves the stale flag to the draw.
        EXPECT_TRUE(render.shaderDirty());
        EXPECT_EQ(render.sigma(), radius);
        return render.sampleRadius();
    };
    for (int radius = 0; radius <= 60; ++radius) {
        EXPECT_EQ(sampleRadius(static_cast<float>(radius)), table[radius]) << radius;
    }
    for (const auto& [radius, sample] : beyond) {
        EXPECT_EQ(sampleRadius(radius), sample) << radius;
    }
    EXPECT_LT(sampleRadius(103.0f), 0);
    GaussianBlurRender far;
    far.calculateSampleRadiusAndSigmaFromPixel(103.0f);
    EXPECT_EQ(far.getFragmentFunction(), kPassFragment);
}
