#include "Barycentric.h"

#include "MathExpect.h"

#include <cmath>

using Brindel::GaussianBlur::Barycentric;
using Brindel::GaussianBlur::Color;
using Brindel::GaussianBlur::Vec2;
using Brindel::GaussianBlur::Vec3;
using Brindel::GaussianBlur::Vec4;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

const Vec2 kA(0, 0);
const Vec2 kB(1, 0);
const Vec2 kC(0, 1);

::testing::AssertionResult weightsAre(Barycentric const& w, double a, double b, double c,
                                      double tol = 1e-12) {
    return eachWithin({w.weightA, w.weightB, w.weightC}, {a, b, c}, tol);
}

} // namespace

TEST(BarycentricTest, WeightsInterpolateBackToThePoint) {
    Barycentric w(kA, kB, kC, Vec2(0.25, 0.25));
    EXPECT_TRUE(weightsAre(w, 0.5, 0.25, 0.25));
    Vec2 p = w.interpolate(kA, kB, kC);
    EXPECT_TRUE(eachWithin({p.x, p.y}, {0.25, 0.25}));
    EXPECT_TRUE(w.isInside());

    EXPECT_TRUE(weightsAre(Barycentric(kA, kB, kC, kA), 1, 0, 0));
    EXPECT_TRUE(weightsAre(Barycentric(kA, kB, kC, kB), 0, 1, 0));
    EXPECT_TRUE(weightsAre(Barycentric(kA, kB, kC, kC), 0, 0, 1));
    EXPECT_TRUE(Barycentric(kA, kB, kC, kA).isInside());
    EXPECT_TRUE(Barycentric(kA, kB, kC, kC).isInside());
    // A point on an edge is inside.
    EXPECT_TRUE(Barycentric(kA, kB, kC, Vec2(0.5, 0.5)).isInside());

    Vec2 a(-3, 1), b(4, 2.5), c(0.5, -6);
    Vec2 centroid = (a + b + c) / 3.0;
    EXPECT_TRUE(weightsAre(Barycentric(a, b, c, centroid), 1.0 / 3, 1.0 / 3, 1.0 / 3));

    Vec2 q(2.2, -1.7);
    Barycentric general(a, b, c, q);
    Vec2 back = general.interpolate(a, b, c);
    EXPECT_TRUE(eachWithin({back.x, back.y}, {q.x, q.y}));
}

TEST(BarycentricTest, OutsideAndDegenerateTrianglesAreNotInside) {
    Barycentric out(kA, kB, kC, Vec2(-1, 0.5));
    EXPECT_LT(out.weightB, 0.0);
    EXPECT_FALSE(out.isInside());
    // Outside weights extrapolate.
    Vec2 p = out.interpolate(kA, kB, kC);
    EXPECT_TRUE(eachWithin({p.x, p.y}, {-1, 0.5}));

    Barycentric twice(kA, kA, kC, Vec2(0.1, 0.1));
    EXPECT_TRUE(std::isnan(twice.weightA) && std::isnan(twice.weightB));
    EXPECT_FALSE(twice.isInside());
    Barycentric line(kA, Vec2(1, 1), Vec2(2, 2), Vec2(0.5, 0.5));
    EXPECT_FALSE(std::isfinite(line.weightA));
    EXPECT_FALSE(line.isInside());

    // Given weights are not checked; weightC has no upper bound.
    EXPECT_TRUE(Barycentric(0, 0, 5).isInside());
    EXPECT_FALSE(Barycentric(0, 1.5, -0.5).isInside());
    Vec2 given = Barycentric(0.2, 0.3, 0.5).interpolate(Vec2(10, 0), Vec2(0, 10), Vec2(0, 0));
    EXPECT_TRUE(eachWithin({given.x, given.y}, {2, 3}));
    Vec2 unnormalised = Barycentric(1, 1, 1).interpolate(Vec2(1, 0), Vec2(0, 1), Vec2(1, 1));
    EXPECT_TRUE(eachSameBits({unnormalised.x, unnormalised.y}, {2, 2}));
}

TEST(BarycentricTest, HigherDimensionsProjectOntoThePlaneAndAgreeWith2D) {
    Vec2 q(0.3, 0.6);
    Barycentric flat(kA, kB, kC, q);
    Barycentric lifted(Vec3(kA, 0), Vec3(kB, 0), Vec3(kC, 0), Vec3(q, 0));
    EXPECT_TRUE(weightsAre(lifted, flat.weightA, flat.weightB, flat.weightC));
    // Off the plane: the same weights as the projected point.
    Barycentric above(Vec3(kA, 0), Vec3(kB, 0), Vec3(kC, 0), Vec3(q, 4));
    EXPECT_TRUE(weightsAre(above, flat.weightA, flat.weightB, flat.weightC));
    Barycentric four(Vec4(0, 0, 0, 0), Vec4(1, 0, 0, 0), Vec4(0, 1, 0, 0), Vec4(0.3, 0.6, 0, -2));
    EXPECT_TRUE(weightsAre(four, flat.weightA, flat.weightB, flat.weightC));

    Vec3 a3(1, 2, 3), b3(-1, 0, 2), c3(0, 4, -1);
    Vec3 v = Barycentric(0.2, 0.3, 0.5).interpolate(a3, b3, c3);
    EXPECT_TRUE(eachWithin({v.x, v.y, v.z}, {-0.1, 2.4, 0.7}));
    Vec4 v4 =
        Barycentric(0.5, 0.5, 0).interpolate(Vec4(2, 0, 0, 4), Vec4(0, 2, 0, 0), Vec4(9, 9, 9, 9));
    EXPECT_TRUE(eachWithin({v4.x, v4.y, v4.z, v4.w}, {1, 1, 0, 2}));
}

TEST(BarycentricTest, ColoursCountAlphaAsAFourthAxis) {
    Color red(1, 0, 0, 1);
    Color green(0, 1, 0, 1);
    Color clear(0, 0, 0, 0);
    // Over red, green and blue alone this point has weights (0.25, 0.25, 0.5);
    // alpha moves it off the triangle's plane and so changes them.
    Barycentric w(red, green, clear, Color(0.25, 0.25, 0, 1));
    EXPECT_TRUE(weightsAre(w, 5.0 / 12, 5.0 / 12, 1.0 / 6));
    Color mixed = w.interpolate(red, green, clear);
    EXPECT_TRUE(
        eachWithin({mixed.r(), mixed.g(), mixed.b(), mixed.a()}, {5.0 / 12, 5.0 / 12, 0, 5.0 / 6}));

    // Outside weights may leave the range 0 to 1.
    Color beyond = Barycentric(1.5, -0.25, -0.25).interpolate(red, green, clear);
    EXPECT_TRUE(
        eachWithin({beyond.r(), beyond.g(), beyond.b(), beyond.a()}, {1.5, -0.25, 0, 1.25}));
}
