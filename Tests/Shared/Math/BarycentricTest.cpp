#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
TEST(BarycentricTest, WeightsInterpolateBackToThePointInEveryDimension) {
    Vec2 o(0, 0), x(1, 0), y(0, 1), a(-3, 1), b(4, 2.5), c(0.5, -6), q(2.2, -1.7), p(0.3, 0.6);
    Color red(1, 0, 0, 1), green(0, 1, 0, 1), clear(0, 0, 0, 0);
    Barycentric w(red, green, clear, Color(0.25, 0.25, 0, 1)); // alpha moves it off the plane
    expectRows({
        ROW(Barycentric(o, x, y, Vec2(0.25, 0.25)), 1e-12, 0.5, 0.25, 0.25),
        ROW(Barycentric(a, b, c, q).interpolate(a, b, c), 1e-12, q.x, q.y),
        ROW(Barycentric(o, x, y, Vec2(-1, 0.5)).interpolate(o, x, y), 1e-12, -1, 0.5),
        SAME(Barycentric(Vec3(o, 0), Vec3(x, 0), Vec3(y, 0), Vec3(p, 4)), Barycentric(o, x, y, p), 1e-12),
        ROW(w, 1e-12, 5.0 / 12, 5.0 / 12, 1.0 / 6),
        ROW(w.interpolate(red, green, clear), 1e-12, 5.0 / 12, 5.0 / 12, 0, 5.0 / 6),
        ROW(Barycentric(o, x, y, Vec2(0.5, 0.5)).isInside() && Barycentric(o, x, y, y).isInside(), 0.0, 1), // edges count
        ROW(Barycentric(o, x, y, Vec2(-1, 0.5)).isInside() || Barycentric(o, o, y, Vec2(0.1, 0.1)).isInside(), 0.0, 0),
    });
}
// clang-format on
