#include "MathExpect.h"

using namespace MathExpect;

namespace {

const Vec2 kA(0, 0), kB(1, 0), kC(0, 1);

} // namespace

TEST(BarycentricTest, WeightsInterpolateBackToThePointAndOnlyInsideCountsAsInside) {
    Vec2 a(-3, 1), b(4, 2.5), c(0.5, -6), q(2.2, -1.7);
    Barycentric out(kA, kB, kC, Vec2(-1, 0.5)), twice(kA, kA, kC, Vec2(0.1, 0.1));
    Barycentric line(kA, Vec2(1, 1), Vec2(2, 2), Vec2(3, 3));
    expectRows({
        ROW(Barycentric(kA, kB, kC, Vec2(0.25, 0.25)), 1e-12, 0.5, 0.25, 0.25),
        ROW(Barycentric(kA, kB, kC, kB), 1e-12, 0, 1, 0),
        ROW(Barycentric(a, b, c, (a + b + c) / 3.0), 1e-12, 1.0 / 3, 1.0 / 3, 1.0 / 3),
        ROW(Barycentric(a, b, c, q).interpolate(a, b, c), 1e-12, q.x, q.y),
        ROW(out.interpolate(kA, kB, kC), 1e-12, -1, 0.5), // extrapolates
        // Given weights are not checked, and weightC has no upper bound.
        ROW(Barycentric(1, 1, 1).interpolate(Vec2(1, 0), Vec2(0, 1), Vec2(1, 1)), 1e-12, 2, 2),
    });
    expectFacts({
        FACT(Barycentric(kA, kB, kC, Vec2(0.25, 0.25)).isInside(), true),
        FACT(Barycentric(kA, kB, kC, kC).isInside(), true),
        FACT(Barycentric(kA, kB, kC, Vec2(0.5, 0.5)).isInside(), true), // on an edge
        FACT(out.weightB < 0.0, true),
        FACT(out.isInside(), false),
        FACT(std::isnan(twice.weightA) && !twice.isInside(), true),
        FACT(!std::isfinite(line.weightA) && !line.isInside(), true),
        FACT(Barycentric(0, 0, 5).isInside(), true),
    });
}

TEST(BarycentricTest, HigherDimensionsProjectOntoThePlaneAndCountAlpha) {
    Vec2 q(0.3, 0.6);
    Barycentric flat(kA, kB, kC, q);
    // Over red, green and blue alone this point has weights (0.25, 0.25, 0.5); alpha moves
    // it off the triangle's plane and so changes them.
    Color red(1, 0, 0, 1), green(0, 1, 0, 1), clear(0, 0, 0, 0);
    Barycentric w(red, green, clear, Color(0.25, 0.25, 0, 1));
    expectRows({
        {"above", parts(Barycentric(Vec3(kA, 0), Vec3(kB, 0), Vec3(kC, 0), Vec3(q, 4))),
         parts(flat), 1e-12},
        {"four",
         parts(Barycentric(Vec4(0, 0, 0, 0), Vec4(1, 0, 0, 0), Vec4(0, 1, 0, 0),
                           Vec4(0.3, 0.6, 0, -2))),
         parts(flat), 1e-12},
        ROW(w, 1e-12, 5.0 / 12, 5.0 / 12, 1.0 / 6),
        ROW(w.interpolate(red, green, clear), 1e-12, 5.0 / 12, 5.0 / 12, 0, 5.0 / 6),
    });
}
