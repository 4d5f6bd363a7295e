#include "MathExpect.h"

#include <stdexcept>
#include <string>

using namespace MathExpect;

// clang-format off
namespace {
// A channel as the colour stores it: the quotient taken in float, then widened.
double single(double digits, double divisor) { return static_cast<double>(static_cast<float>(digits) / static_cast<float>(divisor)); }
Color hex(char const* text) { return Color(std::string(text)); }
} // namespace

TEST(ColorTest, TextAndPackedFormsReadAlphaFirstInSinglePrecisionAndPrintBack) {
    Color nil, white(1, 1, 1, 1), clear(0, 0, 0, 0);
    nil.setNil();
    double half = single(128, 255), w = 0.8999999761581421; // only from's weight is a float
    expectRows({
        ROW(hex("#F00"), 0.0, 1, 0, 0, 1),
        ROW(hex("#8F00"), 0.0, 1, 0, 0, single(8, 15)),
        ROW(hex("#80FF0000"), 0.0, 1, 0, 0, half),
        ROW(hex("#1GG"), 0.0, 0, 0, single(1, 15), 1), // the length counts, not the digits parsed
        ROW(hex("#12345"), 0.0, 1, 1, 1, 1),           // other lengths leave white
        ROW(Color(0x01020304u), 0.0, single(2, 255), single(3, 255), single(4, 255), single(1, 255)),
        ROW(Color::lerp(white, clear, 2.0), 0.0, 0, 0, 0, 0), // t is not clamped
        ROW(Color::lerp(white, clear, 0.1), 0.0, w, w, w, w),
        ROW(Color::lerp(clear, white, 0.1), 0.0, 0.1, 0.1, 0.1, 0.1),
        ROW(nil.isNil() && !Color().isNil() && Color(0.5, 0.5, 0.5, -0.1).isNil(), 0.0, 1),
        ROW(Color(-1, 0, 0, 1) == Color(0, -2, 0, 0), 0.0, 1), // any two nil colours are equal
    });
    EXPECT_THROW(hex("#GGG"), std::invalid_argument);
    EXPECT_THROW(hex("#1FFFFFFFFFFFFFFFF"), std::out_of_range);
    // Unpadded upper case, alpha first; -255 prints as its unsigned form, huge values saturate.
    for (auto [colour, text] : {std::pair<Color, char const*>{Color(1, 0.5, 0, 1), "#FF7F0"}, {hex("#80FF1020"), "#80FF1020"},
                                {Color(1, 1, 1, 0.999), "#FEFFFFFF"}, {nil, "#FFFFFF01FFFFFF01FFFFFF01FFFFFF01"}, {Color(1e30, 0, 0, 1), "#7FFFFFFF00"}}) {
        EXPECT_EQ(colour.toHexString(), text);
    }
}
// clang-format on
