#include "MathExpect.h"

using namespace MathExpect;

namespace {

constexpr double kPi = 3.14159265358979323846;
const double kS45 = std::sin(kPi / 4);
const double kC45 = std::cos(kPi / 4);

Quaternion unit(double angle, double x, double y, double z) {
    Quaternion q;
    q.set(Vec3(x, y, z), angle);
    return q;
}

Mat4 matrixOf(Quaternion const& q) {
    Mat4 m;
    m.setWithQuaternion(q);
    return m;
}

// q signed to lie on r's side: q and -q are the same turn.
Parts aligned(Quaternion q, Quaternion const& r) {
    double sign = q.dot(r) < 0.0 ? -1.0 : 1.0;
    return {q.x * sign, q.y * sign, q.z * sign, q.w * sign};
}

} // namespace

TEST(QuaternionTest, ConstructionNormalisationAndInverseKeepWhatTheyAreGiven) {
    expectRows({
        ROW(after(Quaternion(1, 2, 3, 4), [](Quaternion& q) { q.set(7, 8, 9); }), 0.0, 7, 8, 9,
            4), // keeps w, unlike the constructor
        ROW(Quaternion(7, 8, 9), 0.0, 7, 8, 9, 1),
        // The constructor takes the axis as given; set normalises it first.
        ROW(Quaternion(Vec3(0, 0, 2), kPi / 2), 1e-12, 0, 0, 2 * kS45, kC45),
        ROW(unit(kPi / 2, 0, 0, 2), 1e-12, 0, 0, kS45, kC45),
        ROW(after(Quaternion(0, 0, 0, 0), [](Quaternion& q) { q.normalize(); }), 0.0, 0, 0, 0, 1),
        ROW(after(Quaternion(0, 3, 0, 4), [](Quaternion& q) { q.setInverse(); }), 1e-12, 0, -0.6, 0,
            0.8),
        ROW(after(Quaternion(0, 3, 0, 4), [](Quaternion& q) { q.setInverse(); }).x, 0.0, -0.0),
        // Angle in degrees, and the axis.
        ROW(Quaternion(0, 0, kS45, kC45).getRotationAngle(), 1e-12, 90),
        ROW(Quaternion(0, 0, kS45, kC45).getRotationAxis(), 1e-12, 0, 0, 1),
        ROW(Quaternion().getRotationAxis(), 0.0, 0, 0, 1),
        ROW(unit(1.0, 0.6, 0.0, -0.8).getRotationAxis(), 1e-12, 0.6, 0, -0.8),
        ROW(std::isnan(Quaternion(0, 0, 0, 1.5).getRotationAngle()), 0.0, 1),
    });
}

TEST(QuaternionTest, ProductsAndMatricesAgreeThroughEveryBranch) {
    Quaternion b(0.5, -0.6, 0.7, 0.8), p = unit(0.8, 1, 0, 1), q = unit(-2.1, 0.3, 1, -0.2), pq;
    pq.multiplyQuaternions(p, q);
    EXPECT_TRUE(within(parts(matrixOf(pq)), parts(matrixOf(p) * matrixOf(q))));
    expectRows({
        ROW(after(Quaternion(0.1, 0.2, 0.3, 0.4), [&b](Quaternion& a) { a.multiply(b); }), 1e-15,
            0.6, 0, 0.36, 0.18),
        ROW(after(Quaternion(0.1, 0.2, 0.3, 0.4), [&b](Quaternion& a) { a.premultiply(b); }), 1e-15,
            -0.04, -0.16, 0.68, 0.18),
        // Products may alias.
        {"first", parts(after(p, [&q](Quaternion& a) { a.multiplyQuaternions(a, q); })), parts(pq),
         0.0},
        {"second", parts(after(q, [&p](Quaternion& a) { a.multiplyQuaternions(p, a); })), parts(pq),
         0.0},
    });
    // Small angles take the trace branch; half turns about each axis the branch of that
    // axis's diagonal element.
    for (Quaternion const& r : {unit(0.5, 1, 2, 3), unit(3.0, 1, 0.1, 0.2), unit(3.0, 0.1, 1, 0.2),
                                unit(3.0, 0.1, 0.2, 1), unit(kPi, 0, 0, 1)}) {
        Quaternion back(9, 9, 9, 9);
        back.setWithMat4(matrixOf(r));
        EXPECT_TRUE(within(aligned(back, r), parts(r)));
    }
    // No normalising either way: the zero matrix falls to the last branch, a scaled matrix
    // keeps its scale, and a long quaternion is used as it is.
    expectRows({
        ROW(after(Quaternion(), [](Quaternion& r) { r.setWithMat4(Mat4(false)); }), 0.0, 0, 0, 0.5,
            0),
        ROW(after(Quaternion(), [](Quaternion& r) { r.setWithMat4(Mat4::identity() * 4.0); }),
            1e-12, 0, 0, 0, std::sqrt(13.0) / 2),
        {"long", parts(matrixOf(Quaternion(0, 0, 0, 2))), parts(Mat4::identity()), 0.0},
    });
}

TEST(QuaternionTest, DirectionsTakeTheShortestTurnAndPickAPerpendicularWhenOpposite) {
    Vec3 from(2, -1, 0.5), to(-1, 0.25, 3);
    from.normalize();
    to.normalize();
    double h = std::sqrt(0.5);
    expectRows({
        ROW(Quaternion(Vec3(1, 0, 0), Vec3(0, 1, 0)), 1e-12, 0, 0, kS45, kC45),
        ROW(Quaternion(Vec3(0.6, 0, 0.8), Vec3(-0.6, 0, -0.8)), 1e-12, 0, -1, 0, 0),
        ROW(Quaternion(Vec3(0.8, 0, 0.6), Vec3(-0.8, 0, -0.6)), 1e-12, 0, 1, 0, 0),
        // A tie between |x| and |z| takes the second perpendicular.
        ROW(Quaternion(Vec3(h, 0, h), Vec3(-h, 0, -h)), 1e-12, 0, -1, 0, 0),
        ROW(Quaternion(Vec3(), Vec3()), 0.0, 0, 0, 0, 1),
        ROW(Quaternion::quaternionMulVec3(Quaternion(from, to), from), 1e-12, to.x, to.y, to.z),
        // Non-unit inputs are not corrected.
        ROW(Quaternion(Vec3(2, 0, 0), Vec3(0, 2, 0)), 1e-12, 0, 0, 4 / std::sqrt(17.0),
            1 / std::sqrt(17.0)),
    });
}

TEST(QuaternionTest, SlerpExitsInTheWrittenOrderAndLerpWorksOnACopy) {
    Quaternion quarter(0, 0, kS45, kC45), a = unit(0.2, 0, 1, 0), odd(0, 0, 0, 0.5);
    auto slerp = [](Quaternion q, Quaternion const& to, double t) {
        q.slerp(to, t);
        return q;
    };
    expectRows({
        ROW(slerp(Quaternion(), quarter, 0.0), 0.0, 0, 0, 0, 1),
        // Opposite quaternions are one rotation: the object stays, except at t = 1.
        ROW(slerp(Quaternion(), Quaternion(0, 0, 0, -1), 0.7), 0.0, 0, 0, 0, 1),
        ROW(slerp(Quaternion(), Quaternion(0, 0, 0, -1), 1.0), 0.0, 0, 0, 0, -1),
        // The short way round; tiny angles average without t; t is not clamped.
        ROW(slerp(Quaternion(), Quaternion(0, 0, -kS45, -kC45), 0.5), 1e-12, 0, 0,
            std::sin(kPi / 8), std::cos(kPi / 8)),
        ROW(slerp(Quaternion(), Quaternion(0, 0, std::sin(0.0005), std::cos(0.0005)), 0.3), 1e-12,
            0, 0, 0.5 * std::sin(0.0005), 0.5 * (1 + std::cos(0.0005))),
        ROW(slerp(Quaternion(), quarter, 2.0), 1e-12, 0, 0, 1, 0),
        {"quarter way",
         aligned(slerp(unit(0.2, 1, 1, 0), unit(1.4, 1, 1, 0), 0.25), unit(0.5, 1, 1, 0)),
         parts(unit(0.5, 1, 1, 0)), 1e-12},
        {"lerp", aligned(Quaternion::lerp(a, unit(1.0, 0, 1, 0), 0.5), unit(0.6, 0, 1, 0)),
         parts(unit(0.6, 0, 1, 0)), 1e-12},
        {"lerp leaves a", parts(a), parts(unit(0.2, 0, 1, 0)), 0.0},
        // slerp would move a short quaternion even towards itself; lerp of equals does not.
        ROW(slerp(odd, odd, 0.5).w == 0.5, 0.0, 0),
        ROW(Quaternion::lerp(odd, odd, 0.5), 0.0, 0, 0, 0, 0.5),
    });
}
