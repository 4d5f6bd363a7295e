#include "BlurModel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <regex>
#include <stdexcept>

namespace Brindel::Testing {

namespace {

using Texel = std::array<double, 4>; // GL's r, g, b, a slots

struct Image {
    int width;
    int height;
    std::vector<Texel> texels;
    const Texel& at(int x, int y) const { return texels[static_cast<size_t>(y) * width + x]; }
};

// What a target of 8 bits a channel stores: clamped, rounded to the nearest level.
Texel Quantise(Texel t) {
    for (double& c : t) {
        c = std::round(std::clamp(c, 0.0, 1.0) * 255.0) / 255.0;
    }
    return t;
}

// One pass of the kernel along x or y, unscaled. Every pixel's centre is a
// texel's, so a tap is filtered linearly between the two texels nearest to
// it along the pass, edges clamped.
Image Blur(const Image& source, const BlurModel::Kernel& kernel, bool alongX) {
    Image out{source.width, source.height, {}};
    const int length = alongX ? source.width : source.height;
    for (int y = 0; y < source.height; ++y) {
        for (int x = 0; x < source.width; ++x) {
            const auto texel = [&](int i) -> const Texel& {
                i = std::clamp(i, 0, length - 1);
                return alongX ? source.at(i, y) : source.at(x, i);
            };
            Texel sum{};
            const auto add = [&](double offset, double weight) {
                const double at = (alongX ? x : y) + offset;
                const int below = static_cast<int>(std::floor(at));
                const double f = at - below;
                for (int c = 0; c < 4; ++c) {
                    sum[c] += (texel(below)[c] * (1 - f) + texel(below + 1)[c] * f) * weight;
                }
            };
            add(0, kernel.centre);
            for (const BlurModel::Pair& p : kernel.pairs) {
                add(p.offset, p.weight);
                add(-p.offset, p.weight);
            }
            out.texels.push_back(sum);
        }
    }
    return out;
}

// Calls `found` with the numbered groups of every match of `pattern` in `text`.
void ForEachMatch(const std::string& text, const std::string& pattern,
                  const std::function<void(const std::smatch&)>& found) {
    const std::regex re(pattern);
    for (auto it = std::sregex_iterator(text.begin(), text.end(), re); it != std::sregex_iterator();
         ++it) {
        found(*it);
    }
}

} // namespace

BlurModel::Kernel BlurModel::ReadKernel(const std::string& vertex, const std::string& fragment) {
    Kernel kernel;
    if (vertex.find("singleStepOffset") == std::string::npos) {
        return kernel;
    }
    kernel.passThrough = false;
    std::smatch m;
    if (!std::regex_search(fragment, m, std::regex(R"(blurCoordinates\[0\]\) \* ([0-9.e+-]+);)"))) {
        throw std::runtime_error("no centre weight in the fragment program");
    }
    kernel.centre = std::stod(m[1]);

    // Pairs whose coordinates the vertex stage computes: offset from the
    // vertex program, weight from the fragment program, by array index.
    std::map<int, double> offsets, weights;
    ForEachMatch(vertex,
                 R"(blurCoordinates\[(\d+)\] = input_uv.xy \+ singleStepOffset \* ([0-9.e+-]+);)",
                 [&](const std::smatch& tap) { offsets[std::stoi(tap[1])] = std::stod(tap[2]); });
    ForEachMatch(fragment, R"(blurCoordinates\[(\d+)\]\) \* ([0-9.e+-]+);)",
                 [&](const std::smatch& tap) { weights[std::stoi(tap[1])] = std::stod(tap[2]); });
    for (const auto& [index, offset] : offsets) {
        kernel.pairs.push_back({weights.at(index), offset});
    }
    // Pairs offset in the fragment stage.
    ForEachMatch(fragment,
                 R"(blurCoordinates\[0\] \+ singlStepOffset \*([0-9.e+-]+)\) \* ([0-9.e+-]+);)",
                 [&](const std::smatch& tap) {
                     kernel.pairs.push_back({std::stod(tap[2]), std::stod(tap[1])});
                 });
    return kernel;
}

std::vector<PF_Pixel8> BlurModel::Render(const std::vector<PF_Pixel8>& input, int width, int height,
                                         const Kernel& kernel) {
    // The upload: the host's bytes in memory order, as floats.
    Image image{width, height, {}};
    for (const PF_Pixel8& p : input) {
        image.texels.push_back({p.alpha / 255.0, p.red / 255.0, p.green / 255.0, p.blue / 255.0});
    }
    if (!kernel.passThrough) {
        image = Blur(image, kernel, false);
        for (Texel& t : image.texels) {
            t = Quantise(t);
        }
        image = Blur(image, kernel, true);
    }
    std::vector<PF_Pixel8> out;
    for (const Texel& texel : image.texels) {
        // Host order (A, R, G, B in the slots) to premultiplied red, green,
        // blue, alpha, then back to straight alpha, red, green, blue.
        const double a = texel[0];
        const Texel p = Quantise({a * texel[1], a * texel[2], a * texel[3], a});
        const Texel t =
            Quantise(p[3] == 0 ? Texel{} : Texel{p[3], p[0] / p[3], p[1] / p[3], p[2] / p[3]});
        auto byte = [](double v) { return static_cast<A_u_char>(std::lround(v * 255.0)); };
        out.push_back({byte(t[0]), byte(t[1]), byte(t[2]), byte(t[3])});
    }
    return out;
}

} // namespace Brindel::Testing
