#pragma once

#include <string>

namespace Brindel {
namespace GaussianBlur {

// An RGBA colour with channels in 0 to 1, never clamped. A colour with any
// channel below 0 is "nil": not set.
class Color {
public:
    double red;
    double green;
    double blue;
    double alpha;

    // Opaque white.
    Color();
    Color(double red, double green, double blue, double alpha);
    Color(Color const&) = default;
    // "#RGB", "#ARGB", "#RRGGBB" or "#AARRGGBB"; any other text leaves white.
    // A text without a number lets std::stoull's exception through.
    explicit Color(std::string const& hex);
    // 0xAARRGGBB.
    explicit Color(unsigned int argb);
    Color& operator=(Color const&) = default;

    void set(double red, double green, double blue, double alpha);
    void setNil();
    bool isNil() const;

    double r() const;
    double g() const;
    double b() const;
    double a() const;

    // Two nil colours are equal whatever their channels.
    bool equal(Color const& c) const;
    bool operator==(Color const& c) const;
    bool operator!=(Color const& c) const;

    Color operator+(Color const& c) const;
    Color operator-(Color const& c) const;
    Color operator*(Color const& c) const;
    Color operator*(double const& f) const;

    static Color lerp(Color const& from, Color const& to, double t);

    // Upper-case and unpadded; alpha first, and only when it is not exactly 1.
    std::string toHexString();
};

} // namespace GaussianBlur
} // namespace Brindel
