#include "Color.h"

#include "MathExpect.h"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

using Brindel::GaussianBlur::Color;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

// A channel as the colour stores it: the quotient taken in float, then widened.
double single(double digits, double divisor) {
    return static_cast<double>(static_cast<float>(digits) / static_cast<float>(divisor));
}

::testing::AssertionResult channelsAre(Color const& c, double r, double g, double b, double a) {
    return eachSameBits({c.r(), c.g(), c.b(), c.a()}, {r, g, b, a});
}

} // namespace

TEST(ColorTest, DefaultIsOpaqueWhiteAndNilIsAnyNegativeChannel) {
    Color white;
    EXPECT_TRUE(channelsAre(white, 1.0, 1.0, 1.0, 1.0));
    EXPECT_FALSE(white.isNil());

    Color nil;
    nil.setNil();
    EXPECT_TRUE(channelsAre(nil, -1.0, -1.0, -1.0, -1.0));
    EXPECT_TRUE(nil.isNil());
    EXPECT_TRUE(Color(0.5, -0.1, 0.5, 1.0).isNil());
    EXPECT_TRUE(Color(0.5, 0.5, 0.5, -0.1).isNil());
    EXPECT_FALSE(Color(-0.0, 0.0, 0.0, 0.0).isNil());
    EXPECT_FALSE(Color(std::nan(""), 0.0, 0.0, 1.0).isNil());

    EXPECT_FALSE(white == nil);
    EXPECT_TRUE(white != nil);
    // Any two nil colours are the same "not set".
    EXPECT_TRUE(Color(-1.0, 0.0, 0.0, 1.0) == Color(0.0, -2.0, 0.0, 0.0));
    EXPECT_TRUE(Color(-1.0, 0.0, 0.0, 1.0).equal(Color(0.0, -2.0, 0.0, 0.0)));
}

TEST(ColorTest, EqualityBoundsEveryChannelIncludingAlpha) {
    Color c(0.25, 0.5, 0.75, 1.0);
    EXPECT_TRUE(c == Color(0.25 + 1e-12, 0.5, 0.75, 1.0));
    EXPECT_TRUE(Color(0.0, 0.0, 0.0, 0.0) == Color(0.0, 1e-12, 0.0, 1e-12));
    EXPECT_FALSE(Color(0.0, 0.0, 0.0, 0.0) == Color(0.0, 0.0, 0.0, 2e-12));
    EXPECT_FALSE(c == Color(0.25, 0.5, 0.75, 0.5));
    EXPECT_TRUE(c != Color(0.25, 0.5, 0.75, 0.5));
    // A nil colour against one that is set compares channel by channel.
    EXPECT_FALSE(Color(-1.0, 0.5, 0.75, 1.0) == Color(1.0, 0.5, 0.75, 1.0));
}

TEST(ColorTest, HexFormsAreChosenByTextLength) {
    EXPECT_TRUE(channelsAre(Color(std::string("#F00")), 1.0, 0.0, 0.0, 1.0));
    EXPECT_TRUE(channelsAre(Color(std::string("#8F00")), 1.0, 0.0, 0.0, single(8, 15)));
    EXPECT_TRUE(channelsAre(Color(std::string("#204060")), single(0x20, 255), single(0x40, 255),
                            single(0x60, 255), 1.0));
    EXPECT_TRUE(channelsAre(Color(std::string("#80FF0000")), 1.0, 0.0, 0.0, 0.501960813999176));
    // Short digits are not repeated: 1 means 1/15, not 0x11/255.
    EXPECT_TRUE(
        channelsAre(Color(std::string("#1a3")), single(1, 15), single(10, 15), single(3, 15), 1.0));

    // The length of the text counts, not the digits parsed.
    EXPECT_TRUE(channelsAre(Color(std::string("#1GG")), 0.0, 0.0, single(1, 15), 1.0));

    for (char const* text : {"#12345", "#1234567", "#123456789", "F00", "", " #F00", "x#F00"}) {
        EXPECT_TRUE(channelsAre(Color(std::string(text)), 1.0, 1.0, 1.0, 1.0)) << text;
    }
}

TEST(ColorTest, HexQuotientsAreSinglePrecision) {
    // The double quotient would be 0.5019607843137255.
    Color c(std::string("#80808080"));
    EXPECT_NE(c.r(), 128.0 / 255.0);
    EXPECT_TRUE(
        channelsAre(c, 0.501960813999176, 0.501960813999176, 0.501960813999176, 0.501960813999176));

    Color packed(0x80808080u);
    EXPECT_TRUE(channelsAre(packed, 0.501960813999176, 0.501960813999176, 0.501960813999176,
                            0.501960813999176));
    EXPECT_EQ(Color(std::string("#7")).b(), 1.0); // length 1: no form, stays white
    EXPECT_EQ(Color(std::string("#0007")).b(), single(7, 15));
    EXPECT_NE(single(7, 15), 7.0 / 15.0);
}

TEST(ColorTest, HexTextWithoutANumberThrows) {
    EXPECT_THROW(Color(std::string("#")), std::invalid_argument);
    EXPECT_THROW(Color(std::string("#GGG")), std::invalid_argument);
    EXPECT_THROW(Color(std::string("#1FFFFFFFFFFFFFFFF")), std::out_of_range);
    // What std::stoull accepts is accepted: a 0x prefix and leading blanks.
    EXPECT_TRUE(channelsAre(Color(std::string("#0xF0")), 0.0, 1.0, 0.0, 0.0));
    EXPECT_TRUE(channelsAre(Color(std::string("# F0")), 0.0, single(15, 15), 0.0, 1.0));
}

TEST(ColorTest, PackedNumbersAreAlphaFirstWithNoDefaultAlpha) {
    EXPECT_TRUE(channelsAre(Color(0x00FF0000u), 1.0, 0.0, 0.0, 0.0));
    EXPECT_TRUE(channelsAre(Color(0xFF000000u), 0.0, 0.0, 0.0, 1.0));
    EXPECT_TRUE(channelsAre(Color(0u), 0.0, 0.0, 0.0, 0.0));
    EXPECT_TRUE(channelsAre(Color(0x01020304u), single(2, 255), single(3, 255), single(4, 255),
                            single(1, 255)));
}

TEST(ColorTest, ArithmeticIncludesAlpha) {
    Color a(0.5, 0.25, 1.0, 0.5);
    Color b(0.25, 0.5, 0.5, 0.25);
    EXPECT_TRUE(channelsAre(a + b, 0.75, 0.75, 1.5, 0.75));
    EXPECT_TRUE(channelsAre(a - b, 0.25, -0.25, 0.5, 0.25));
    EXPECT_TRUE(channelsAre(a * b, 0.125, 0.125, 0.5, 0.125));
    EXPECT_TRUE(channelsAre(a * 4.0, 2.0, 1.0, 4.0, 2.0));
}

TEST(ColorTest, LerpClampsTAndRoundsOnlyTheFromWeight) {
    Color from(1.0, 1.0, 1.0, 1.0);
    Color to(0.0, 0.0, 0.0, 0.0);
    EXPECT_TRUE(channelsAre(Color::lerp(from, to, 2.0), 0.0, 0.0, 0.0, 0.0));
    EXPECT_TRUE(channelsAre(Color::lerp(from, to, -1.0), 1.0, 1.0, 1.0, 1.0));

    Color toBlack = Color::lerp(from, to, 0.1);
    EXPECT_TRUE(channelsAre(toBlack, 0.8999999761581421, 0.8999999761581421, 0.8999999761581421,
                            0.8999999761581421));
    // The weight of `to` stays in double precision.
    Color toWhite = Color::lerp(to, from, 0.1);
    EXPECT_TRUE(channelsAre(toWhite, 0.1, 0.1, 0.1, 0.1));

    Color mixed = Color::lerp(Color(0.0, 1.0, 0.5, 0.0), Color(1.0, 0.0, 0.5, 1.0), 0.5);
    EXPECT_TRUE(eachWithin({mixed.r(), mixed.g(), mixed.b(), mixed.a()}, {0.5, 0.5, 0.5, 0.5}));
}

TEST(ColorTest, HexStringsAreUnpaddedUpperCaseWithAlphaFirst) {
    EXPECT_EQ(Color(1.0, 0.0, 0.0, 1.0).toHexString(), "#FF00");
    EXPECT_EQ(Color(1.0, 0.5, 0.0, 1.0).toHexString(), "#FF7F0");
    EXPECT_EQ(Color(1.0, 1.0, 1.0, 0.999).toHexString(), "#FEFFFFFF");
    EXPECT_EQ(Color(0.0, 0.0, 0.0, 0.0).toHexString(), "#0000");

    // With every channel at 16 or above the text parses back to the colour.
    for (char const* text : {"#A0B1C2", "#80FF1020", "#10FFFFFF"}) {
        Color c{std::string(text)};
        EXPECT_EQ(c.toHexString(), text);
        EXPECT_TRUE(Color(c.toHexString()) == c) << text;
    }
}

TEST(ColorTest, HexStringOfANilColourIsPrintedWhole) {
    // -1 * 255 prints as the unsigned form of -255, in full.
    Color nil;
    nil.setNil();
    EXPECT_EQ(nil.toHexString(), "#FFFFFF01FFFFFF01FFFFFF01FFFFFF01");
    // A channel far above 1 saturates rather than overflowing the cast.
    EXPECT_EQ(Color(1e30, 0.0, 0.0, 1.0).toHexString(), "#7FFFFFFF00");
}
