#include "GaussianBlurRender.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using Brindel::GaussianBlur::GaussianBlurRender;

namespace {

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start + 1));
        start = end + 1;
    }
    return lines;
}

// A weight as the programs write it: six significant digits.
std::string AsText(float value) {
    std::ostringstream out;
    out << static_cast<double>(value);
    return out.str();
}

// The fragment program for no blur.
std::string PassThroughFragment() {
    GaussianBlurRender render;
    render.setBlurScale(0.0);
    return render.getFragmentFunction();
}

// Array size of the varying array, read from the fragment program.
int ArraySize(const std::string& fragment) {
    std::smatch m;
    const std::regex size(R"(in vec2 blurCoordinates\[(\d+)\];)");
    EXPECT_TRUE(std::regex_search(fragment, m, size));
    return std::stoi(m[1]);
}

int CountOf(const std::string& text, const std::string& what) {
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}

const std::string kBlurTail =
    "    if(multiplier16bit <= 0){colourOut = sum;}else{\t\tcolourOut = sum * multiplier16bit; "
    "\t\tcolourOut = vec4(colourOut.g, colourOut.b, colourOut.a, colourOut.r);\n";

} // namespace

TEST(GaussianBlurRender, ConstructorStateIsRadiusTwoKernelAndStale) {
    GaussianBlurRender render;
    EXPECT_EQ(render.sampleRadius(), 4);
    EXPECT_EQ(render.sigma(), 2.0);
    EXPECT_EQ(render.pixelRadius(), 2.0);
    EXPECT_TRUE(render.shaderDirty());

    const std::vector<float> w = render.kernelWeights();
    const std::vector<std::string> expected = {"0.204164", "0.180174", "0.123832", "0.0662822",
                                               "0.0276306"};
    ASSERT_EQ(w.size(), expected.size());
    for (size_t i = 0; i < w.size(); ++i) {
        EXPECT_EQ(AsText(w[i]), expected[i]) << "weight " << i;
    }

    const std::string vertex = render.getVertexFunction();
    EXPECT_EQ(vertex.size(), 606u);
    EXPECT_NE(vertex.find("    blurCoordinates[1] = input_uv.xy + singleStepOffset * 1.40733;\n"),
              std::string::npos);
    EXPECT_NE(vertex.find("    blurCoordinates[4] = input_uv.xy - singleStepOffset * 3.29421;\n"),
              std::string::npos);
    const std::string fragment = render.getFragmentFunction();
    EXPECT_NE(fragment.find("blurCoordinates[2]) * 0.304005;\n"), std::string::npos);
    EXPECT_NE(fragment.find("blurCoordinates[3]) * 0.0939128;\n"), std::string::npos);
}

TEST(GaussianBlurRender, ScaleRoundingToTheConstructorRadiusKeepsTheConstructorKernel) {
    GaussianBlurRender render;
    render.setBlurScale(2.4);
    EXPECT_EQ(render.sampleRadius(), 4);
    EXPECT_EQ(render.getVertexFunction().size(), 606u);

    // Any other radius in between, then 2 again: the full rule gives 6.
    render.setBlurScale(5.0);
    render.setBlurScale(2.0);
    EXPECT_EQ(render.sampleRadius(), 6);
    EXPECT_EQ(render.sigma(), 2.0);
    EXPECT_EQ(render.getVertexFunction().size(), 740u);
    EXPECT_EQ(CountOf(render.getVertexFunction(), "singleStepOffset * "), 6);
}

TEST(GaussianBlurRender, PixelRadiusThreeGivesTheWholeProgramPair) {
    GaussianBlurRender render;
    render.setBlurScale(3.0);
    EXPECT_EQ(render.sampleRadius(), 8);
    EXPECT_EQ(render.sigma(), 3.0);

    const std::string vertex =
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
        "uv = input_uv; gl_Position = vec4(position, 0.0, 1.0); }";
    const std::string fragment =
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
        "     }}\n";
    ASSERT_EQ(vertex.size(), 874u);
    ASSERT_EQ(fragment.size(), 1095u);

    // Line by line first, so a failure names the line.
    const std::vector<std::string> gotVertex = Lines(render.getVertexFunction());
    const std::vector<std::string> wantVertex = Lines(vertex);
    ASSERT_EQ(gotVertex.size(), wantVertex.size());
    for (size_t i = 0; i < wantVertex.size(); ++i) {
        EXPECT_EQ(gotVertex[i], wantVertex[i]) << "vertex line " << i + 1;
    }
    const std::vector<std::string> gotFragment = Lines(render.getFragmentFunction());
    const std::vector<std::string> wantFragment = Lines(fragment);
    ASSERT_EQ(gotFragment.size(), wantFragment.size());
    for (size_t i = 0; i < wantFragment.size(); ++i) {
        EXPECT_EQ(gotFragment[i], wantFragment[i]) << "fragment line " << i + 1;
    }
    EXPECT_EQ(render.getVertexFunction(), vertex);
    EXPECT_EQ(render.getFragmentFunction(), fragment);

    const std::vector<std::string> weights = {"0.133571",  "0.126353",   "0.106955",
                                              "0.081015",  "0.0549128",  "0.0333063",
                                              "0.0180769", "0.00877944", "0.00381553"};
    const std::vector<float> w = render.kernelWeights();
    ASSERT_EQ(w.size(), weights.size());
    for (size_t i = 0; i < w.size(); ++i) {
        EXPECT_EQ(AsText(w[i]), weights[i]) << "weight " << i;
    }
}

TEST(GaussianBlurRender, PixelRadiusTenMovesFourPairsToTheFragmentStage) {
    GaussianBlurRender render;
    render.setBlurScale(10.0);
    EXPECT_EQ(render.sampleRadius(), 22);
    const std::string vertex = render.getVertexFunction();
    const std::string fragment = render.getFragmentFunction();
    EXPECT_EQ(vertex.size(), 1282u);
    EXPECT_EQ(fragment.size(), 2339u);
    EXPECT_EQ(ArraySize(fragment), 15);
    EXPECT_NE(vertex.find("out vec2 blurCoordinates[15];\n"), std::string::npos);

    const std::vector<std::string> weights = {
        "0.0408916",  "0.0406876",  "0.0400818",  "0.0390922",  "0.0377477", "0.0360867",
        "0.0341555",  "0.032006",   "0.0296934",  "0.0272737",  "0.024802",  "0.0223298",
        "0.0199041",  "0.0175653",  "0.0153471",  "0.0132755",  "0.0113694", "0.00964002",
        "0.00809238", "0.00672562", "0.00553407", "0.00450831", "0.00363614"};
    const std::vector<float> w = render.kernelWeights();
    ASSERT_EQ(w.size(), weights.size());
    for (size_t i = 0; i < w.size(); ++i) {
        EXPECT_EQ(AsText(w[i]), weights[i]) << "weight " << i;
    }

    EXPECT_NE(vertex.find("    blurCoordinates[13] = input_uv.xy + singleStepOffset * 13.4663;\n"
                          "    blurCoordinates[14] = input_uv.xy - singleStepOffset * 13.4663;\n"
                          "uv = input_uv;"),
              std::string::npos);
    const std::string tail =
        "    sum += texture(videoTexture, blurCoordinates[13]) * 0.0329123;\n"
        "    sum += texture(videoTexture, blurCoordinates[14]) * 0.0329123;\n"
        "    vec2 singlStepOffset = vec2(texelOffset.x / viewSize.x, texelOffset.y / "
        "viewSize.y);\n"
        "    sum += texture(videoTexture, blurCoordinates[0] + singlStepOffset *15.4613) * "
        "0.0246449;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] - singlStepOffset *15.4613) * "
        "0.0246449;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] + singlStepOffset *17.4564) * "
        "0.0177324;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] - singlStepOffset *17.4564) * "
        "0.0177324;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] + singlStepOffset *19.4514) * "
        "0.0122597;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] - singlStepOffset *19.4514) * "
        "0.0122597;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] + singlStepOffset *21.4465) * "
        "0.00814446;\n"
        "    sum += texture(videoTexture, blurCoordinates[0] - singlStepOffset *21.4465) * "
        "0.00814446;\n" +
        kBlurTail;
    EXPECT_NE(fragment.find(tail), std::string::npos);

    const std::vector<std::pair<std::string, std::string>> vertexPairs = {
        {"1.49625", "0.0807694"}, {"3.49125", "0.0768399"}, {"5.48625", "0.0702422"},
        {"7.48126", "0.0616994"}, {"9.47627", "0.0520757"}, {"11.4713", "0.0422339"}};
    for (size_t i = 0; i < vertexPairs.size(); ++i) {
        const std::string odd = std::to_string(2 * i + 1);
        EXPECT_NE(vertex.find("blurCoordinates[" + odd + "] = input_uv.xy + singleStepOffset * " +
                              vertexPairs[i].first + ";\n"),
                  std::string::npos)
            << "pair " << i;
        EXPECT_NE(fragment.find("blurCoordinates[" + odd + "]) * " + vertexPairs[i].second + ";\n"),
                  std::string::npos)
            << "pair " << i;
    }
}

TEST(GaussianBlurRender, SampleRadiusFollowsTheOneIn256Cutoff) {
    // Pixel radius to sample radius over the control's range.
    const int table[61] = {0,  4,  6,  8,  10, 12, 14, 16, 18, 20, 22, 24, 24, 26, 28, 30,
                           30, 32, 34, 34, 36, 38, 38, 40, 40, 42, 44, 44, 46, 46, 46, 48,
                           48, 50, 50, 52, 52, 52, 54, 54, 54, 56, 56, 56, 58, 58, 58, 58,
                           58, 60, 60, 60, 60, 60, 60, 62, 62, 62, 62, 62, 62};
    for (int radius = 0; radius <= 60; ++radius) {
        GaussianBlurRender render;
        render.calculateSampleRadiusAndSigmaFromPixel(static_cast<float>(radius));
        EXPECT_EQ(render.sampleRadius(), table[radius]) << "pixel radius " << radius;
        EXPECT_EQ(render.sigma(), radius);
        EXPECT_EQ(render.pixelRadius(), radius);
    }
    // Beyond the control the cut-off comes closer again, then vanishes.
    const std::pair<float, int64_t> beyond[] = {{69, 62},  {80, 56},  {90, 46},
                                                {100, 20}, {101, 16}, {102, 6}};
    for (const auto& [radius, sample] : beyond) {
        GaussianBlurRender render;
        render.calculateSampleRadiusAndSigmaFromPixel(radius);
        EXPECT_EQ(render.sampleRadius(), sample) << "pixel radius " << radius;
    }
    GaussianBlurRender far;
    far.calculateSampleRadiusAndSigmaFromPixel(103.0f);
    EXPECT_LT(far.sampleRadius(), 0);
    EXPECT_EQ(far.getFragmentFunction(), PassThroughFragment());
}

TEST(GaussianBlurRender, RadiiAroundTheVertexStageLimit) {
    // Radius 6: seven pairs, all in the vertex stage.
    GaussianBlurRender six;
    six.setBlurScale(6.0);
    EXPECT_EQ(six.sampleRadius(), 14);
    std::string fragment = six.getFragmentFunction();
    EXPECT_EQ(ArraySize(fragment), 15);
    EXPECT_EQ(fragment.find("singlStepOffset"), std::string::npos);

    // Radius 7: eight pairs; the eighth is offset in the fragment stage.
    GaussianBlurRender seven;
    seven.setBlurScale(7.0);
    EXPECT_EQ(seven.sampleRadius(), 16);
    fragment = seven.getFragmentFunction();
    EXPECT_EQ(ArraySize(fragment), 15);
    EXPECT_EQ(CountOf(fragment, "blurCoordinates[0] + singlStepOffset *"), 1);
    EXPECT_EQ(CountOf(fragment, "blurCoordinates[0] - singlStepOffset *"), 1);

    // Radius 60, the control's end: 31 pairs, 24 of them in the fragment stage.
    GaussianBlurRender sixty;
    sixty.setBlurScale(60.0);
    EXPECT_EQ(sixty.sampleRadius(), 62);
    fragment = sixty.getFragmentFunction();
    EXPECT_EQ(ArraySize(fragment), 15);
    EXPECT_EQ(CountOf(fragment, "singlStepOffset *"), 48);
    EXPECT_NE(fragment.find("blurCoordinates[0]) * 0.00946564;\n"), std::string::npos);
    const std::vector<float> w = sixty.kernelWeights();
    ASSERT_EQ(w.size(), 63u);
    EXPECT_EQ(AsText(w.front()), "0.00946564");
    EXPECT_EQ(AsText(w.back()), "0.0055499");
}

TEST(GaussianBlurRender, ScalesBelowOneHalfGiveThePassThroughPrograms) {
    const std::string passVertex = "#version 330\nin vec2 position; in vec2 input_uv; out vec2 "
                                   "uv; void main() {uv = input_uv; gl_Position = "
                                   "vec4(position, 0.0, 1.0); }";
    const std::string passFragment =
        "#version 330\nin vec2 uv;uniform sampler2D videoTexture;uniform float "
        "multiplier16bit;out vec4 colourOut;\nvoid main() {colourOut = texture(videoTexture, "
        "uv);colourOut = colourOut * multiplier16bit; colourOut = vec4(colourOut.g, "
        "colourOut.b, colourOut.a, colourOut.r); colourOut = vec4(colourOut.a * colourOut.r, "
        "colourOut.a * colourOut.g, colourOut.a * colourOut.b, colourOut.a); }";

    for (double scale : {0.0, 0.49, -0.49}) {
        GaussianBlurRender render;
        render.setBlurScale(scale);
        EXPECT_EQ(render.sampleRadius(), 0) << scale;
        EXPECT_EQ(render.sigma(), 0.0) << scale;
        EXPECT_TRUE(render.kernelWeights().empty());
        EXPECT_EQ(render.getVertexFunction(), passVertex) << scale;
        EXPECT_EQ(render.getFragmentFunction(), passFragment) << scale;
    }

    // One half rounds up to one: two pairs.
    GaussianBlurRender half;
    half.setBlurScale(0.5);
    EXPECT_EQ(half.sampleRadius(), 4);
    EXPECT_EQ(half.sigma(), 1.0);
    EXPECT_EQ(ArraySize(half.getFragmentFunction()), 5);

    // A negative scale has no kernel; its sigma is kept but never read.
    GaussianBlurRender negative;
    negative.setBlurScale(-3.0);
    EXPECT_EQ(negative.sampleRadius(), 0);
    EXPECT_EQ(negative.sigma(), -3.0);
    EXPECT_EQ(negative.getVertexFunction(), passVertex);

    // Not a number never equals the last radius and ends without a kernel.
    GaussianBlurRender nan;
    nan.setBlurScale(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(nan.sampleRadius(), 0);
    EXPECT_TRUE(std::isnan(nan.pixelRadius()));
    EXPECT_TRUE(nan.shaderDirty());
    EXPECT_EQ(nan.getFragmentFunction(), passFragment);
}

TEST(GaussianBlurRender, OnlyAChangeOfTheRoundedRadiusChangesTheKernel) {
    GaussianBlurRender render;
    render.setBlurScale(7.6);
    const std::string vertex = render.getVertexFunction();
    EXPECT_EQ(render.pixelRadius(), 8.0);
    render.setBlurScale(8.4);
    EXPECT_EQ(render.pixelRadius(), 8.0);
    EXPECT_EQ(render.getVertexFunction(), vertex);

    // Halves round away from zero.
    render.setBlurScale(8.5);
    EXPECT_EQ(render.pixelRadius(), 9.0);
    EXPECT_EQ(render.sampleRadius(), 20);

    // The stale flag is left to the draw to clear; working out a radius alone
    // does not touch it.
    GaussianBlurRender direct;
    direct.calculateSampleRadiusAndSigmaFromPixel(12.0f);
    EXPECT_EQ(direct.sampleRadius(), 24);
    EXPECT_TRUE(direct.shaderDirty());
}
