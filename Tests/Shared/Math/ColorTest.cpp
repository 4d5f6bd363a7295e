#include "MathExpect.h"

#include <stdexcept>
#include <string>

using namespace MathExpect;

namespace {

// A channel as the colour stores it: the quotient taken in float, then widened.
double single(double digits, double divisor) {
    return static_cast<double>(static_cast<float>(digits) / static_cast<float>(divisor));
}

Color hex(char const* text) {
    return Color(std::string(text));
}

constexpr double kHalf = 0.501960813999176; // the double quotient is 0.5019607843137255

} // namespace

TEST(ColorTest, HexAndPackedFormsAreChosenByTextLengthWithAlphaFirstInSinglePrecision) {
    Color nil;
    nil.setNil();
    double w = 0.8999999761581421; // only the weight of `from` is rounded to single precision
    Color white(1, 1, 1, 1), clear(0, 0, 0, 0), a(0.5, 0.25, 1.0, 0.5), b(0.25, 0.5, 0.5, 0.25);
    expectRows({
        ROW(Color(), 0.0, 1, 1, 1, 1),
        ROW(hex("#F00"), 0.0, 1, 0, 0, 1),
        ROW(hex("#8F00"), 0.0, 1, 0, 0, single(8, 15)),
        ROW(hex("#204060"), 0.0, single(32, 255), single(64, 255), single(96, 255), 1),
        ROW(hex("#80FF0000"), 0.0, 1, 0, 0, kHalf),
        ROW(hex("#80808080"), 0.0, kHalf, kHalf, kHalf, kHalf),
        // The length of the text counts, not the digits parsed; what std::stoull accepts is
        // accepted; other lengths leave white.
        ROW(hex("#1GG"), 0.0, 0, 0, single(1, 15), 1),
        ROW(hex("#0xF0"), 0.0, 0, 1, 0, 0),
        ROW(hex("#12345"), 0.0, 1, 1, 1, 1),
        ROW(hex("#1234567"), 0.0, 1, 1, 1, 1),
        ROW(hex("F00"), 0.0, 1, 1, 1, 1),
        ROW(hex(""), 0.0, 1, 1, 1, 1),
        ROW(hex(" #F00"), 0.0, 1, 1, 1, 1),
        // Packed numbers have no default alpha.
        ROW(Color(0x80808080u), 0.0, kHalf, kHalf, kHalf, kHalf),
        ROW(Color(0x00FF0000u), 0.0, 1, 0, 0, 0),
        ROW(Color(0x01020304u), 0.0, single(2, 255), single(3, 255), single(4, 255),
            single(1, 255)),
        // Arithmetic and lerp include alpha; lerp does not clamp t.
        ROW(a - b, 0.0, 0.25, -0.25, 0.5, 0.25),
        ROW(a * 4.0, 0.0, 2, 1, 4, 2),
        ROW(Color::lerp(white, clear, 2.0), 0.0, 0, 0, 0, 0),
        ROW(Color::lerp(white, clear, -1.0), 0.0, 1, 1, 1, 1),
        ROW(Color::lerp(white, clear, 0.1), 0.0, w, w, w, w),
        ROW(Color::lerp(clear, white, 0.1), 0.0, 0.1, 0.1, 0.1, 0.1),
    });
    EXPECT_THROW(hex("#"), std::invalid_argument);
    EXPECT_THROW(hex("#GGG"), std::invalid_argument);
    EXPECT_THROW(hex("#1FFFFFFFFFFFFFFFF"), std::out_of_range);
    expectFacts({
        FACT(!Color().isNil() && nil.isNil(), true),
        FACT(Color(0.5, 0.5, 0.5, -0.1).isNil(), true),
        FACT(Color(std::nan(""), 0.0, 0.0, 1.0).isNil(), false),
    });
}

TEST(ColorTest, HexStringsAreUnpaddedUpperCaseWithAlphaFirst) {
    Color nil;
    nil.setNil();
    const std::pair<Color, char const*> cases[] = {
        {Color(1, 0, 0, 1), "#FF00"},
        {Color(1, 0.5, 0, 1), "#FF7F0"},
        {Color(1, 1, 1, 0.999), "#FEFFFFFF"},
        // With every channel at 16 or above the text parses back to the colour.
        {hex("#A0B1C2"), "#A0B1C2"},
        {hex("#80FF1020"), "#80FF1020"},
        {hex("#10FFFFFF"), "#10FFFFFF"},
        // Out of range: -255 prints whole as its unsigned form; a huge channel saturates
        // rather than overflowing the conversion.
        {nil, "#FFFFFF01FFFFFF01FFFFFF01FFFFFF01"},
        {Color(1e30, 0, 0, 1), "#7FFFFFFF00"},
    };
    for (auto [colour, text] : cases) {
        EXPECT_EQ(colour.toHexString(), text);
    }
}
