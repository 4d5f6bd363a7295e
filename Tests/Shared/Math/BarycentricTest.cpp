#include "Barycentric.h"

#include "MathExpect.h"

#include <cmath>

using namespace Brindel::GaussianBlur;
using namespace MathExpect;

namespace {

const Vec2 kA(0, 0), kB(1, 0), kC(0, 1);

::testing::AssertionResult weightsAre(Barycentric const& w, double a, double b, double c) {
    return eachWithin({w.weightA, w.weightB, w.weightC}, {a, b, c});
}

} // namespace

TEST(BarycentricTest, WeightsInterpolateBackToThePoint) {
    Barycentric w(kA, kB, kC, Vec2(0.25, 0.25));
    EXPECT_TRUE(weightsAre(w, 0.5, 0.25, 0.25));
    EXPECT_TRUE(w.isInside());
    EXPECT_TRUE(weightsAre(Barycentric(kA, kB, kC, kB), 0, 1, 0));
    EXPECT_TRUE(Barycentric(kA, kB, kC, kC).isInside());
    EXPECT_TRUE(Barycentric(kA, kB, kC, Vec2(0.5, 0.5)).isInside()); // on an edge
    Vec2 a(-3, 1), b(4, 2.5), c(0.5, -6), q(2.2, -1.7);
    EXPECT_TRUE(weightsAre(Barycentric(a, b, c, (a + b + c) / 3.0), 1.0 / 3, 1.0 / 3, 1.0 / 3));
    EXPECT_TRUE(is(Barycentric(a, b, c, q).interpolate(a, b, c), q.x, q.y));
}

TEST(BarycentricTest, OutsideAndDegenerateTrianglesAreNotInside) {
    Barycentric out(kA, kB, kC, Vec2(-1, 0.5));
    EXPECT_TRUE(out.weightB < 0.0 && !out.isInside());
    EXPECT_TRUE(is(out.interpolate(kA, kB, kC), -1, 0.5)); // extrapolates
    Barycentric twice(kA, kA, kC, Vec2(0.1, 0.1)), line(kA, Vec2(1, 1), Vec2(2, 2), Vec2(3, 3));
    EXPECT_TRUE(std::isnan(twice.weightA) && !twice.isInside());
    EXPECT_TRUE(!std::isfinite(line.weightA) && !line.isInside());
    // Given weights are not checked, and weightC has no upper bound.
    EXPECT_TRUE(Barycentric(0, 0, 5).isInside());
    EXPECT_TRUE(is(Barycentric(1, 1, 1).interpolate(Vec2(1, 0), Vec2(0, 1), Vec2(1, 1)), 2, 2));
}

TEST(BarycentricTest, HigherDimensionsProjectOntoThePlaneAndCountAlpha) {
    Vec2 q(0.3, 0.6);
    Barycentric flat(kA, kB, kC, q);
    Barycentric above(Vec3(kA, 0), Vec3(kB, 0), Vec3(kC, 0), Vec3(q, 4));
    Barycentric four(Vec4(0, 0, 0, 0), Vec4(1, 0, 0, 0), Vec4(0, 1, 0, 0), Vec4(0.3, 0.6, 0, -2));
    EXPECT_TRUE(weightsAre(above, flat.weightA, flat.weightB, flat.weightC));
    EXPECT_TRUE(weightsAre(four, flat.weightA, flat.weightB, flat.weightC));

    // Over red, green and blue alone this point has weights (0.25, 0.25, 0.5);
    // alpha moves it off the triangle's plane and so changes them.
    Color red(1, 0, 0, 1), green(0, 1, 0, 1), clear(0, 0, 0, 0);
    Barycentric w(red, green, clear, Color(0.25, 0.25, 0, 1));
    EXPECT_TRUE(weightsAre(w, 5.0 / 12, 5.0 / 12, 1.0 / 6));
    Color mixed = w.interpolate(red, green, clear);
    EXPECT_TRUE(
        eachWithin({mixed.r(), mixed.g(), mixed.b(), mixed.a()}, {5.0 / 12, 5.0 / 12, 0, 5.0 / 6}));
}
