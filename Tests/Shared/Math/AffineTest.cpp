#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
TEST(AffineTest, BuildersChainsAndInverseActOnThePointFirst) {
    Affine t(1, 2, 3, 4, 5, 6), g(1.5, -0.5, 0.25, 2, 3, -4), kept(1, 2, 3, 4, 5, 6), scale2(2, 0, 0, 2, 0, 0), move(1, 0, 0, 1, 10, 20), layer;
    layer.set(Vec2(1, 2), Vec2(10, 20), Vec2(2, 3), 90);
    Mat4 lifted(false);
    lifted.setWithAffine(g);
    Vec2 q = g.getTransform(Vec2(0.5, 2));
    expectRows({
        ROW(t.getTransform(Vec2(1, 1)), 0.0, 9, 12),
        ROW(after(Vec2(1, 1), [&t](Vec2& p) { t.transform(p.x, p.y); }), 0.0, 9, 12), // reads both first
        ROW(after(Affine(), [](Affine& a) { a.setRotate(90); }).getTransform(Vec2(1, 0)), 0.0, 2.6484540326036093e-14, 1.0),
        ROW(after(Affine(), [](Affine& a) { a.setSkewX(45); }).getTransform(Vec2(0, 1)), 1e-12, 1, 1),
        ROW(after(Affine(1, 0, 0, 1, 10, 20), [](Affine& a) { a.rotate(90); }), 1e-12, 0, 1, -1, 0, 10, 20),
        ROW(layer, 1e-12, 0, 2, -3, 0, 16, 18), // the anchor lands on the position
        ROW(after(scale2, [&move](Affine& a) { a.multiply(move); }), 1e-12, 2, 0, 0, 2, 10, 20),
        ROW(after(scale2, [&move](Affine& a) { a.premultiply(move); }), 1e-12, 2, 0, 0, 2, 20, 40),
        ROW(g.getInverse().getTransform(g.getTransform(Vec2(0.3, 9))), 1e-12, 0.3, 9),
        ROW(Affine(0.0001, 0, 0, 0.001, 5, 5).inverse(kept), 0.0, 0), // det 1e-07 is refused, out kept
        ROW(kept, 0.0, 1, 2, 3, 4, 5, 6),
        ROW(Affine(1e-06, 0, 0, 1, 0, 0).inverse(kept), 0.0, 1),
        ROW(Affine(3, 4, 0, 2, 0, 0).averageScale(), 0.0, static_cast<double>(3.7361f)), // rows, in float
        ROW(lifted.getAffine(), 1e-12, 1.5, -0.5, 0.25, 2, 3, -4),
        ROW(lifted * Vec3(0.5, 2, 0), 1e-12, q.x, q.y, 0),
    });
}
// clang-format on
