#include "MathExpect.h"

using namespace MathExpect;

TEST(AffineTest, LayoutBuildersAndChainsTurnXTowardsYAndActOnThePointFirst) {
    Affine t(1, 2, 3, 4, 5, 6), r, k;
    double x = 1.0, y = 1.0, ox = 0.0, oy = 0.0;
    t.transform(x, y); // reads both coordinates before writing either
    t.transform(1.0, 1.0, &ox, &oy);
    r.setRotate(90);
    Affine layer;
    layer.set(Vec2(1, 2), Vec2(10, 20), Vec2(2, 3), 90);
    expectRows({
        // Arguments come column after column; the fields lie row after row.
        ROW(Vec3(t.a, t.c, t.e), 0.0, 1, 3, 5),
        ROW(Vec3(t.b, t.d, t.f), 0.0, 2, 4, 6),
        ROW(t.getTransform(Vec2(1, 1)), 0.0, 9, 12),
        ROW(Vec4(x, y, ox, oy), 0.0, 9, 12, 9, 12),
        // The same truncated degree factor as Vec2::rotate, bit for bit.
        ROW(r.getTransform(Vec2(1, 0)), 0.0, 2.6484540326036093e-14, 1.0),
        ROW(after(k, [](Affine& a) { a.setSkewX(45); }).getTransform(Vec2(0, 1)), 1e-12, 1, 1),
        ROW(after(k, [](Affine& a) { a.setSkewY(45); }).getTransform(Vec2(1, 0)), 1e-12, 1, 1),
        ROW(after(Affine(2, 0, 0, 2, 10, 20), [](Affine& a) { a.translate(1, 1); }), 1e-12, 2, 0, 0,
            2, 12, 22),
        ROW(after(Affine(1, 0, 0, 1, 10, 20), [](Affine& a) { a.scale(2, 3); }), 1e-12, 2, 0, 0, 3,
            10, 20),
        ROW(after(Affine(1, 0, 0, 1, 10, 20), [](Affine& a) { a.rotate(90); }), 1e-12, 0, 1, -1, 0,
            10, 20),
        // The layer transform carries the anchor onto the position.
        ROW(layer, 1e-12, 0, 2, -3, 0, 16, 18),
        ROW(layer.getTransform(Vec2(1, 2)), 1e-12, 10, 20),
        ROW(layer.getTransform(Vec2(2, 2)), 1e-12, 10, 22),
    });
}

TEST(AffineTest, MultiplyAndPremultiplyAreNamedTheOtherWayRound) {
    Affine scale2, move, copy(1, 2, 3, 4, 5, 6);
    scale2.setScale(2, 2);
    move.setTranslate(10, 20);
    expectRows({
        ROW(after(scale2, [&move](Affine& a) { a.multiply(move); }), 1e-12, 2, 0, 0, 2, 10, 20),
        ROW(after(scale2, [&move](Affine& a) { a.premultiply(move); }), 1e-12, 2, 0, 0, 2, 20, 40),
        {"aliased", parts(after(copy, [](Affine& a) { a.multiply(a); })),
         parts(after(copy, [&copy](Affine& a) { a.multiply(copy); })), 1e-12},
    });
}

TEST(AffineTest, InverseRefusesNearlySingularTransforms) {
    Affine out(false), g(1.5, -0.5, 0.25, 2, 3, -4), kept(1, 2, 3, 4, 5, 6);
    Affine tiny(0.0001, 0, 0, 0.001, 5, 5);
    ASSERT_TRUE(Affine(2, 0, 0, 4, 10, 20).inverse(out));
    // det 1e-07 is inside the bound and out is left alone; 1e-06 itself is outside.
    EXPECT_FALSE(tiny.inverse(kept));
    EXPECT_TRUE(Affine(1e-06, 0, 0, 1, 0, 0).inverse(out));
    expectRows({
        ROW(after(Affine(false), [](Affine& o) { Affine(2, 0, 0, 4, 10, 20).inverse(o); }), 1e-12,
            0.5, 0, 0, 0.25, -5, -5),
        ROW(g.getInverse().getTransform(g.getTransform(Vec2(0.3, 9))), 1e-12, 0.3, 9),
        ROW(kept, 0.0, 1, 2, 3, 4, 5, 6),
        ROW(tiny.getInverse(), 0.0, 1, 0, 0, 1, 0, 0),
        // Rows are measured, in single precision; columns would give 3.5.
        ROW(Affine(3, 4, 0, 2, 0, 0).averageScale(), 0.0, static_cast<double>(3.7361f)),
        ROW(Affine(3, 0, 4, 0, 0, 0).averageScale(), 0.0, 2.5),
    });
}

TEST(AffineTest, LiftsIntoMat4AndBack) {
    Affine t(1.5, -0.5, 0.25, 2, 3, -4);
    Mat4 m(false);
    m.setWithAffine(t);
    Vec2 q = t.getTransform(Vec2(0.5, 2));
    expectRows({ROW(m.getAffine(), 1e-12, 1.5, -0.5, 0.25, 2, 3, -4),
                ROW(m * Vec3(0.5, 2, 0), 1e-12, q.x, q.y, 0)});
}
