#pragma once

#include <string>
#include <vector>

#include "AE_Effect.h"

namespace Brindel::Testing {

// A CPU model of the effect's frame, written apart from the GL code: the
// kernel numbers as the generated programs print them, bilinear taps with
// clamp to edge, 8-bit levels between passes, the channel rotation with
// premultiplication in the second pass, and its inverse in the final pass.
class BlurModel {
public:
    struct Pair {
        double weight;
        double offset;
    };
    struct Kernel {
        bool passThrough = true;
        double centre = 1.0;
        std::vector<Pair> pairs;
    };

    // Read from a vertex and fragment program pair.
    static Kernel ReadKernel(const std::string& vertex, const std::string& fragment);

    // The frame the effect should give for `input` (width by height, packed).
    static std::vector<PF_Pixel8> Render(const std::vector<PF_Pixel8>& input, int width, int height,
                                         const Kernel& kernel);
};

} // namespace Brindel::Testing
