#include "Affine.h"

#include "Mat4.h"

#include "MathExpect.h"

#include <cmath>
#include <limits>

using Brindel::GaussianBlur::Affine;
using Brindel::GaussianBlur::Mat4;
using Brindel::GaussianBlur::Vec2;
using Brindel::GaussianBlur::Vec3;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

// Arguments in the constructor's order: a, b, c, d, e, f.
::testing::AssertionResult affineIs(Affine const& t, double a, double b, double c, double d,
                                    double e, double f, double tol = 1e-12) {
    return eachWithin({t.a, t.b, t.c, t.d, t.e, t.f}, {a, b, c, d, e, f}, tol);
}

Vec2 apply(Affine const& t, Vec2 p) {
    return t.getTransform(p);
}

} // namespace

TEST(AffineTest, ArgumentsComeColumnAfterColumnAndFieldsLieRowAfterRow) {
    Affine t(1, 2, 3, 4, 5, 6);
    EXPECT_TRUE(eachSameBits({t.a, t.c, t.e, t.b, t.d, t.f}, {1, 3, 5, 2, 4, 6}));
    Vec2 p = apply(t, Vec2(1, 1));
    EXPECT_TRUE(eachSameBits({p.x, p.y}, {9, 12}));

    EXPECT_TRUE(affineIs(Affine(true), 1, 0, 0, 1, 0, 0, 0.0));
    EXPECT_TRUE(affineIs(Affine(false), 0, 0, 0, 0, 0, 0, 0.0));
    Affine s(false);
    s.set(1, 2, 3, 4, 5, 6);
    EXPECT_TRUE(s == t);

    // Every form of transform agrees, and the reference form reads both
    // coordinates before writing either.
    double x = 1.0, y = 1.0;
    t.transform(x, y);
    double ox = 0.0, oy = 0.0;
    t.transform(1.0, 1.0, &ox, &oy);
    Vec2 q(1, 1);
    t.transform(q);
    EXPECT_TRUE(eachSameBits({x, y, ox, oy, q.x, q.y}, {9, 12, 9, 12, 9, 12}));
}

TEST(AffineTest, EqualityBoundsEachValueInclusively) {
    Affine zero(false);
    EXPECT_TRUE(zero == Affine(1e-12, 0, 0, 0, 0, -1e-12));
    EXPECT_FALSE(zero == Affine(0, 0, 0, 2e-12, 0, 0));
    Affine bad(std::numeric_limits<double>::quiet_NaN(), 0, 0, 0, 0, 0);
    EXPECT_FALSE(bad == bad);
}

TEST(AffineTest, BuildersTurnXTowardsYWithTheWrittenDegreeFactor) {
    Affine r;
    r.setRotate(90);
    Vec2 p = apply(r, Vec2(1, 0));
    // The same truncated factor as Vec2::rotate, bit for bit.
    Vec2 viaVec2(1, 0);
    viaVec2.rotate(90);
    EXPECT_TRUE(eachSameBits({p.x, p.y}, {viaVec2.x, viaVec2.y}));
    EXPECT_EQ(p.x, 2.6484540326036093e-14);

    Affine k;
    k.setSkewX(45);
    EXPECT_TRUE(eachWithin({apply(k, Vec2(0, 1)).x, apply(k, Vec2(0, 1)).y}, {1, 1}));
    k.setSkewY(45);
    EXPECT_TRUE(eachWithin({apply(k, Vec2(1, 0)).x, apply(k, Vec2(1, 0)).y}, {1, 1}));
    Affine t(false);
    t.setTranslate(3, 4);
    EXPECT_TRUE(affineIs(t, 1, 0, 0, 1, 3, 4, 0.0));
    t.setScale(2, 5);
    EXPECT_TRUE(affineIs(t, 2, 0, 0, 5, 0, 0, 0.0));
}

TEST(AffineTest, MultiplyAndPremultiplyAreNamedTheOtherWayRound) {
    Affine scale2;
    scale2.setScale(2, 2);
    Affine move;
    move.setTranslate(10, 20);

    Affine a = scale2;
    a.multiply(move); // move after scale
    EXPECT_TRUE(affineIs(a, 2, 0, 0, 2, 10, 20));
    Affine b = scale2;
    b.premultiply(move); // move before scale
    EXPECT_TRUE(affineIs(b, 2, 0, 0, 2, 20, 40));
    // Cross-check through points.
    Vec2 p(3, -1);
    Vec2 after = apply(a, p);
    Vec2 expected = apply(move, apply(scale2, p));
    EXPECT_TRUE(eachWithin({after.x, after.y}, {expected.x, expected.y}));

    Affine self(1, 2, 3, 4, 5, 6);
    self.multiply(self);
    Affine squared(1, 2, 3, 4, 5, 6);
    Affine copy(1, 2, 3, 4, 5, 6);
    squared.multiply(copy);
    EXPECT_TRUE(self == squared);
}

TEST(AffineTest, ChainOperationsActOnThePointFirst) {
    Affine t(2, 0, 0, 2, 10, 20);
    t.translate(1, 1);
    EXPECT_TRUE(affineIs(t, 2, 0, 0, 2, 12, 22));
    Affine s(1, 0, 0, 1, 10, 20);
    s.scale(2, 3);
    EXPECT_TRUE(affineIs(s, 2, 0, 0, 3, 10, 20));
    Affine r(1, 0, 0, 1, 10, 20);
    r.rotate(90);
    EXPECT_TRUE(affineIs(r, 0, 1, -1, 0, 10, 20));

    Affine base(1.5, -0.5, 0.25, 2, 3, -4);
    for (int op = 0; op < 2; ++op) {
        Affine chained = base;
        Affine k;
        if (op == 0) {
            chained.skewX(30);
            k.setSkewX(30);
        } else {
            chained.skewY(-20);
            k.setSkewY(-20);
        }
        Vec2 p(0.7, -2);
        Vec2 got = apply(chained, p);
        Vec2 expected = apply(base, apply(k, p));
        EXPECT_TRUE(eachWithin({got.x, got.y}, {expected.x, expected.y}));
    }
}

TEST(AffineTest, LayerTransformCarriesTheAnchorOntoThePosition) {
    Affine t;
    t.set(Vec2(1, 2), Vec2(10, 20), Vec2(2, 3), 90);
    EXPECT_TRUE(affineIs(t, 0, 2, -3, 0, 16, 18, 1e-12));
    Vec2 anchor = apply(t, Vec2(1, 2));
    EXPECT_TRUE(eachWithin({anchor.x, anchor.y}, {10, 20}));
    Vec2 right = apply(t, Vec2(2, 2));
    EXPECT_TRUE(eachWithin({right.x, right.y}, {10, 22}));

    t.set(Vec2(0, 0), Vec2(7, -8), Vec2(1.5, 0.5), 33);
    EXPECT_TRUE(eachSameBits({t.e, t.f}, {7, -8}));
}

TEST(AffineTest, InverseRefusesNearlySingularTransforms) {
    Affine t(2, 0, 0, 4, 10, 20);
    Affine out(false);
    ASSERT_TRUE(t.inverse(out));
    EXPECT_TRUE(affineIs(out, 0.5, 0, 0, 0.25, -5, -5));
    EXPECT_TRUE(affineIs(t.getInverse(), 0.5, 0, 0, 0.25, -5, -5));

    Affine g(1.5, -0.5, 0.25, 2, 3, -4);
    Affine gi = g.getInverse();
    Vec2 back = apply(gi, apply(g, Vec2(0.3, 9)));
    EXPECT_TRUE(eachWithin({back.x, back.y}, {0.3, 9}));

    // det 1e-07: inside the bound.
    Affine tiny(0.0001, 0, 0, 0.001, 5, 5);
    Affine kept(1, 2, 3, 4, 5, 6);
    EXPECT_FALSE(tiny.inverse(kept));
    EXPECT_TRUE(affineIs(kept, 1, 2, 3, 4, 5, 6, 0.0));
    EXPECT_TRUE(affineIs(tiny.getInverse(), 1, 0, 0, 1, 0, 0, 0.0));
    // The bound itself is outside and inverts.
    EXPECT_TRUE(Affine(1e-06, 0, 0, 1, 0, 0).inverse(kept));
    EXPECT_FALSE(Affine(-9e-07, 0, 0, 1, 0, 0).inverse(kept));
}

TEST(AffineTest, AverageScaleRoundsInSinglePrecision) {
    EXPECT_EQ(Affine(true).averageScale(), 1.0);
    // The float nearest 3.7361, not the double.
    double s = Affine(3, 4, 0, 2, 0, 0).averageScale();
    EXPECT_EQ(s, static_cast<double>(3.7361f));
    EXPECT_NE(s, 3.7361);
    // Rows, not columns.
    EXPECT_EQ(Affine(3, 0, 4, 0, 0, 0).averageScale(), 2.5);
}

TEST(AffineTest, LiftsIntoMat4AndBack) {
    Affine t(1.5, -0.5, 0.25, 2, 3, -4);
    Mat4 m(false);
    m.m[15] = 7;
    m.setWithAffine(t);
    EXPECT_TRUE(m.getAffine() == t);
    EXPECT_EQ(m.m[15], 1.0);
    EXPECT_EQ(m.m[10], 1.0);
    // The lifted matrix maps points of the plane the same way.
    Vec3 p = m * Vec3(0.5, 2, 0);
    Vec2 q = apply(t, Vec2(0.5, 2));
    EXPECT_TRUE(eachWithin({p.x, p.y, p.z}, {q.x, q.y, 0}));
}
