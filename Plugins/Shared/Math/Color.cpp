#include "Color.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Color>::value, "kit values are copied bit for bit");

namespace {

constexpr double kTolerance = 1e-12;

// Channel quotients are single precision: 128/255 must read back as the
// float value, not the double one.
double channel(unsigned long long digits, float divisor) {
    return static_cast<double>(static_cast<float>(digits) / divisor);
}

// The channel cut to an integer and printed as %X prints an int. Values far
// outside 0 to 1 saturate to the int range rather than overflow the cast.
unsigned int hexDigits(double c) {
    double v = std::trunc(c * 255.0);
    int i = 0;
    if (v >= static_cast<double>(std::numeric_limits<int>::max())) {
        i = std::numeric_limits<int>::max();
    } else if (v <= static_cast<double>(std::numeric_limits<int>::min())) {
        i = std::numeric_limits<int>::min();
    } else if (v == v) {
        i = static_cast<int>(v);
    }
    return static_cast<unsigned int>(i);
}

} // namespace

Color::Color() : red(1.0), green(1.0), blue(1.0), alpha(1.0) {}

Color::Color(double red, double green, double blue, double alpha)
    : red(red), green(green), blue(blue), alpha(alpha) {}

Color::Color(std::string const& hex) : Color() {
    if (hex.empty() || hex[0] != '#') {
        return;
    }
    std::string text = hex.substr(1);
    unsigned long long v = std::stoull(text, nullptr, 16);
    // The form follows the length of the text, not the digits parsed.
    switch (text.size()) {
    case 3:
        red = channel((v >> 8) & 15, 15.0f);
        green = channel((v >> 4) & 15, 15.0f);
        blue = channel(v & 15, 15.0f);
        break;
    case 4:
        alpha = channel((v >> 12) & 15, 15.0f);
        red = channel((v >> 8) & 15, 15.0f);
        green = channel((v >> 4) & 15, 15.0f);
        blue = channel(v & 15, 15.0f);
        break;
    case 6:
        red = channel((v >> 16) & 255, 255.0f);
        green = channel((v >> 8) & 255, 255.0f);
        blue = channel(v & 255, 255.0f);
        break;
    case 8:
        alpha = channel((v >> 24) & 255, 255.0f);
        red = channel((v >> 16) & 255, 255.0f);
        green = channel((v >> 8) & 255, 255.0f);
        blue = channel(v & 255, 255.0f);
        break;
    default:
        break;
    }
}

Color::Color(unsigned int argb)
    : red(channel((argb >> 16) & 255u, 255.0f)), green(channel((argb >> 8) & 255u, 255.0f)),
      blue(channel(argb & 255u, 255.0f)), alpha(channel((argb >> 24) & 255u, 255.0f)) {}

void Color::set(double red_, double green_, double blue_, double alpha_) {
    red = red_;
    green = green_;
    blue = blue_;
    alpha = alpha_;
}

void Color::setNil() {
    set(-1.0, -1.0, -1.0, -1.0);
}

bool Color::isNil() const {
    return red < 0.0 || green < 0.0 || blue < 0.0 || alpha < 0.0;
}

double Color::r() const {
    return red;
}
double Color::g() const {
    return green;
}
double Color::b() const {
    return blue;
}
double Color::a() const {
    return alpha;
}

bool Color::equal(Color const& c) const {
    if (isNil() && c.isNil()) {
        return true;
    }
    return std::fabs(c.red - red) <= kTolerance && std::fabs(c.green - green) <= kTolerance &&
           std::fabs(c.blue - blue) <= kTolerance && std::fabs(c.alpha - alpha) <= kTolerance;
}

bool Color::operator==(Color const& c) const {
    return equal(c);
}

bool Color::operator!=(Color const& c) const {
    return !equal(c);
}

Color Color::operator+(Color const& c) const {
    return Color(red + c.red, green + c.green, blue + c.blue, alpha + c.alpha);
}

Color Color::operator-(Color const& c) const {
    return Color(red - c.red, green - c.green, blue - c.blue, alpha - c.alpha);
}

Color Color::operator*(Color const& c) const {
    return Color(red * c.red, green * c.green, blue * c.blue, alpha * c.alpha);
}

Color Color::operator*(double const& f) const {
    return Color(red * f, green * f, blue * f, alpha * f);
}

Color Color::lerp(Color const& from, Color const& to, double t) {
    if (t < 0.0) {
        t = 0.0;
    } else if (t > 1.0) {
        t = 1.0;
    }
    // Only the weight of `from` is single precision.
    double wf = static_cast<double>(static_cast<float>(1.0 - t));
    return Color(from.red * wf + to.red * t, from.green * wf + to.green * t,
                 from.blue * wf + to.blue * t, from.alpha * wf + to.alpha * t);
}

std::string Color::toHexString() {
    // '#', at most eight digits for each of four channels, and the terminator.
    char text[1 + 4 * 8 + 1];
    if (alpha == 1.0) {
        std::snprintf(text, sizeof text, "#%X%X%X", hexDigits(red), hexDigits(green),
                      hexDigits(blue));
    } else {
        std::snprintf(text, sizeof text, "#%X%X%X%X", hexDigits(alpha), hexDigits(red),
                      hexDigits(green), hexDigits(blue));
    }
    return text;
}

} // namespace GaussianBlur
} // namespace Brindel
