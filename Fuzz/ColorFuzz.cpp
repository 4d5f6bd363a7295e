// Colour's hex constructor on any text. Only the exceptions of std::stoull may leave it; every
// channel stays within 0 to 1; text without the leading '#' or of no form's length leaves white;
// and the full forms agree with the packed-number constructor and survive toHexString.
#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "Color.h"
#include "FuzzCheck.h"

using Brindel::GaussianBlur::Color;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Color color;
    try {
        color = Color(text);
    } catch (const std::invalid_argument&) {
        return 0;
    } catch (const std::out_of_range&) {
        return 0;
    }
    for (const double channel : {color.red, color.green, color.blue, color.alpha}) {
        FUZZ_CHECK(channel >= 0.0 && channel <= 1.0);
    }

    const bool marked = !text.empty() && text[0] == '#';
    const size_t digits = marked ? text.size() - 1 : 0;
    if (digits != 3 && digits != 4 && digits != 6 && digits != 8) {
        FUZZ_CHECK(color == Color());
    }

    // The full forms of plain hex digits are the packed number, with alpha 0xFF for 6 digits.
    if ((digits == 6 || digits == 8) &&
        text.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos) {
        const auto argb = static_cast<unsigned int>(std::stoul(text.substr(1), nullptr, 16)) |
                          (digits == 6 ? 0xFF000000u : 0u);
        FUZZ_CHECK(color == Color(argb));
        // Printing cuts each channel times 255, which may land one below the digits read; with
        // every channel above 16 the text keeps its form and parses back within that step.
        if (std::min({argb & 255u, argb >> 8 & 255u, argb >> 16 & 255u, argb >> 24}) > 16) {
            const Color back(color.toHexString());
            for (const double drift : {back.red - color.red, back.green - color.green,
                                       back.blue - color.blue, back.alpha - color.alpha}) {
                FUZZ_CHECK(std::fabs(drift) <= 1.0 / 255.0 + 1e-9);
            }
        }
    }
    // Printing is defined for every colour that parsing gives.
    const std::string printed = color.toHexString();
    FUZZ_CHECK(printed.size() >= 4 && printed.size() <= 9 && printed[0] == '#');
    return 0;
}
