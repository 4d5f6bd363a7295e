#include "Affine.h"

#include "Mat4.h"

#include "MathExpect.h"

#include <limits>

using namespace Brindel::GaussianBlur;
using namespace MathExpect;

namespace {

// Arguments in the constructor's order: a, b, c, d, e, f.
::testing::AssertionResult affineIs(Affine const& t, double a, double b, double c, double d,
                                    double e, double f, double tol = 1e-12) {
    return eachWithin({t.a, t.b, t.c, t.d, t.e, t.f}, {a, b, c, d, e, f}, tol);
}

} // namespace

TEST(AffineTest, ArgumentsComeColumnAfterColumnAndFieldsLieRowAfterRow) {
    Affine t(1, 2, 3, 4, 5, 6);
    EXPECT_TRUE(eachWithin({t.a, t.c, t.e, t.b, t.d, t.f}, {1, 3, 5, 2, 4, 6}, 0.0));
    EXPECT_TRUE(is(t.getTransform(Vec2(1, 1)), 9, 12, 0.0));
    // Every form of transform agrees; the reference form reads both
    // coordinates before writing either.
    double x = 1.0, y = 1.0, ox = 0.0, oy = 0.0;
    t.transform(x, y);
    t.transform(1.0, 1.0, &ox, &oy);
    EXPECT_TRUE(eachWithin({x, y, ox, oy}, {9, 12, 9, 12}, 0.0));
    Affine zero(false);
    EXPECT_TRUE(zero == Affine(1e-12, 0, 0, 0, 0, -1e-12));
    EXPECT_FALSE(zero == Affine(0, 0, 0, 2e-12, 0, 0));
    Affine bad(std::numeric_limits<double>::quiet_NaN(), 0, 0, 0, 0, 0);
    EXPECT_FALSE(bad == bad);
}

TEST(AffineTest, BuildersTurnXTowardsYWithTheWrittenDegreeFactor) {
    Affine r, k;
    r.setRotate(90);
    // The same truncated factor as Vec2::rotate, bit for bit.
    EXPECT_TRUE(is(r.getTransform(Vec2(1, 0)), 2.6484540326036093e-14, 1.0, 0.0));
    k.setSkewX(45);
    EXPECT_TRUE(is(k.getTransform(Vec2(0, 1)), 1, 1));
    k.setSkewY(45);
    EXPECT_TRUE(is(k.getTransform(Vec2(1, 0)), 1, 1));
}

TEST(AffineTest, MultiplyAndPremultiplyAreNamedTheOtherWayRound) {
    Affine scale2, move;
    scale2.setScale(2, 2);
    move.setTranslate(10, 20);
    Affine a = scale2, b = scale2;
    a.multiply(move);    // the move acts after the scale
    b.premultiply(move); // the move acts first
    EXPECT_TRUE(affineIs(a, 2, 0, 0, 2, 10, 20));
    EXPECT_TRUE(affineIs(b, 2, 0, 0, 2, 20, 40));
    Affine self(1, 2, 3, 4, 5, 6), copy(1, 2, 3, 4, 5, 6), squared(1, 2, 3, 4, 5, 6);
    self.multiply(self);
    squared.multiply(copy);
    EXPECT_TRUE(self == squared);
}

TEST(AffineTest, ChainOperationsActOnThePointFirst) {
    Affine t(2, 0, 0, 2, 10, 20), s(1, 0, 0, 1, 10, 20), r(1, 0, 0, 1, 10, 20);
    t.translate(1, 1);
    s.scale(2, 3);
    r.rotate(90);
    EXPECT_TRUE(affineIs(t, 2, 0, 0, 2, 12, 22));
    EXPECT_TRUE(affineIs(s, 2, 0, 0, 3, 10, 20));
    EXPECT_TRUE(affineIs(r, 0, 1, -1, 0, 10, 20));
}

TEST(AffineTest, LayerTransformCarriesTheAnchorOntoThePosition) {
    Affine t;
    t.set(Vec2(1, 2), Vec2(10, 20), Vec2(2, 3), 90);
    EXPECT_TRUE(affineIs(t, 0, 2, -3, 0, 16, 18));
    EXPECT_TRUE(is(t.getTransform(Vec2(1, 2)), 10, 20));
    EXPECT_TRUE(is(t.getTransform(Vec2(2, 2)), 10, 22));
}

TEST(AffineTest, InverseRefusesNearlySingularTransforms) {
    Affine out(false), g(1.5, -0.5, 0.25, 2, 3, -4);
    ASSERT_TRUE(Affine(2, 0, 0, 4, 10, 20).inverse(out));
    EXPECT_TRUE(affineIs(out, 0.5, 0, 0, 0.25, -5, -5));
    EXPECT_TRUE(is(g.getInverse().getTransform(g.getTransform(Vec2(0.3, 9))), 0.3, 9));
    // det 1e-07 is inside the bound and out is left alone; 1e-06 itself is outside.
    Affine kept(1, 2, 3, 4, 5, 6), tiny(0.0001, 0, 0, 0.001, 5, 5);
    EXPECT_FALSE(tiny.inverse(kept));
    EXPECT_TRUE(affineIs(kept, 1, 2, 3, 4, 5, 6, 0.0));
    EXPECT_TRUE(affineIs(tiny.getInverse(), 1, 0, 0, 1, 0, 0, 0.0));
    EXPECT_TRUE(Affine(1e-06, 0, 0, 1, 0, 0).inverse(kept));
}

TEST(AffineTest, AverageScaleMeasuresRowsAndRoundsInSinglePrecision) {
    double s = Affine(3, 4, 0, 2, 0, 0).averageScale();
    EXPECT_EQ(s, static_cast<double>(3.7361f));
    EXPECT_NE(s, 3.7361);
    EXPECT_EQ(Affine(3, 0, 4, 0, 0, 0).averageScale(), 2.5); // columns would give 3.5
}

TEST(AffineTest, LiftsIntoMat4AndBack) {
    Affine t(1.5, -0.5, 0.25, 2, 3, -4);
    Mat4 m(false);
    m.setWithAffine(t);
    EXPECT_TRUE(m.getAffine() == t);
    Vec2 q = t.getTransform(Vec2(0.5, 2));
    EXPECT_TRUE(is(m * Vec3(0.5, 2, 0), q.x, q.y, 0));
}
