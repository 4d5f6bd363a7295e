#include "Color.h"

#include "MathExpect.h"

#include <cmath>
#include <stdexcept>
#include <string>

using namespace Brindel::GaussianBlur;
using namespace MathExpect;

namespace {

// A channel as the colour stores it: the quotient taken in float, then widened.
double single(double digits, double divisor) {
    return static_cast<double>(static_cast<float>(digits) / static_cast<float>(divisor));
}

::testing::AssertionResult channelsAre(Color const& c, double r, double g, double b, double a) {
    return eachWithin({c.r(), c.g(), c.b(), c.a()}, {r, g, b, a}, 0.0);
}

Color hex(char const* text) {
    return Color(std::string(text));
}

} // namespace

TEST(ColorTest, DefaultIsOpaqueWhiteAndAnyTwoNilColoursAreEqual) {
    Color white, nil;
    nil.setNil();
    EXPECT_TRUE(channelsAre(white, 1.0, 1.0, 1.0, 1.0));
    EXPECT_TRUE(!white.isNil() && nil.isNil() && white != nil);
    EXPECT_TRUE(Color(0.5, 0.5, 0.5, -0.1).isNil());
    EXPECT_FALSE(Color(std::nan(""), 0.0, 0.0, 1.0).isNil());
    EXPECT_TRUE(Color(-1.0, 0.0, 0.0, 1.0) == Color(0.0, -2.0, 0.0, 0.0));
    // Against a colour that is set, a nil one compares channel by channel.
    EXPECT_FALSE(Color(-1.0, 0.5, 0.75, 1.0) == Color(1.0, 0.5, 0.75, 1.0));
    EXPECT_TRUE(Color(0.0, 0.0, 0.0, 0.0) == Color(0.0, 1e-12, 0.0, 1e-12));
    EXPECT_FALSE(Color(0.0, 0.0, 0.0, 0.0).equal(Color(0.0, 0.0, 0.0, 2e-12)));
}

TEST(ColorTest, HexFormsAreChosenByTextLengthWithAlphaFirst) {
    EXPECT_TRUE(channelsAre(hex("#F00"), 1.0, 0.0, 0.0, 1.0));
    EXPECT_TRUE(channelsAre(hex("#8F00"), 1.0, 0.0, 0.0, single(8, 15)));
    EXPECT_TRUE(
        channelsAre(hex("#204060"), single(32, 255), single(64, 255), single(96, 255), 1.0));
    EXPECT_TRUE(channelsAre(hex("#80FF0000"), 1.0, 0.0, 0.0, 0.501960813999176));
    // The length of the text counts, not the digits parsed.
    EXPECT_TRUE(channelsAre(hex("#1GG"), 0.0, 0.0, single(1, 15), 1.0));
    for (char const* text : {"#12345", "#1234567", "F00", "", " #F00"}) {
        EXPECT_TRUE(channelsAre(hex(text), 1.0, 1.0, 1.0, 1.0)) << text;
    }
    // What std::stoull accepts is accepted, and what it rejects is thrown.
    EXPECT_TRUE(channelsAre(hex("#0xF0"), 0.0, 1.0, 0.0, 0.0));
    EXPECT_THROW(hex("#"), std::invalid_argument);
    EXPECT_THROW(hex("#GGG"), std::invalid_argument);
    EXPECT_THROW(hex("#1FFFFFFFFFFFFFFFF"), std::out_of_range);
}

TEST(ColorTest, QuotientsAreSinglePrecisionAndPackedNumbersHaveNoDefaultAlpha) {
    double half = 0.501960813999176; // the double quotient is 0.5019607843137255
    EXPECT_NE(half, 128.0 / 255.0);
    EXPECT_TRUE(channelsAre(hex("#80808080"), half, half, half, half));
    EXPECT_TRUE(channelsAre(Color(0x80808080u), half, half, half, half));
    EXPECT_TRUE(channelsAre(Color(0x00FF0000u), 1.0, 0.0, 0.0, 0.0));
    EXPECT_TRUE(channelsAre(Color(0x01020304u), single(2, 255), single(3, 255), single(4, 255),
                            single(1, 255)));
}

TEST(ColorTest, ArithmeticAndLerpIncludeAlpha) {
    Color a(0.5, 0.25, 1.0, 0.5), b(0.25, 0.5, 0.5, 0.25);
    EXPECT_TRUE(channelsAre(a - b, 0.25, -0.25, 0.5, 0.25));
    EXPECT_TRUE(channelsAre(a * 4.0, 2.0, 1.0, 4.0, 2.0));
    Color white(1.0, 1.0, 1.0, 1.0), clear(0.0, 0.0, 0.0, 0.0);
    EXPECT_TRUE(channelsAre(Color::lerp(white, clear, 2.0), 0.0, 0.0, 0.0, 0.0));
    EXPECT_TRUE(channelsAre(Color::lerp(white, clear, -1.0), 1.0, 1.0, 1.0, 1.0));
    // Only the weight of `from` is rounded to single precision.
    double w = 0.8999999761581421;
    EXPECT_TRUE(channelsAre(Color::lerp(white, clear, 0.1), w, w, w, w));
    EXPECT_TRUE(channelsAre(Color::lerp(clear, white, 0.1), 0.1, 0.1, 0.1, 0.1));
}

TEST(ColorTest, HexStringsAreUnpaddedUpperCaseWithAlphaFirst) {
    EXPECT_EQ(Color(1.0, 0.0, 0.0, 1.0).toHexString(), "#FF00");
    EXPECT_EQ(Color(1.0, 0.5, 0.0, 1.0).toHexString(), "#FF7F0");
    EXPECT_EQ(Color(1.0, 1.0, 1.0, 0.999).toHexString(), "#FEFFFFFF");
    // With every channel at 16 or above the text parses back to the colour.
    for (char const* text : {"#A0B1C2", "#80FF1020", "#10FFFFFF"}) {
        EXPECT_EQ(hex(text).toHexString(), text);
    }
    // Out of range: -255 prints whole as its unsigned form; a huge channel
    // saturates rather than overflowing the conversion.
    Color nil;
    nil.setNil();
    EXPECT_EQ(nil.toHexString(), "#FFFFFF01FFFFFF01FFFFFF01FFFFFF01");
    EXPECT_EQ(Color(1e30, 0.0, 0.0, 1.0).toHexString(), "#7FFFFFFF00");
}
