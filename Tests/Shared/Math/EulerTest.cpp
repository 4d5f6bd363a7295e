#include "MathExpect.h"

#include <limits>
#include <string>

using namespace MathExpect;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kGimbalBound = 0.9999989867210388;

struct Order {
    Euler::RotationOrder order;
    std::string letters;
};

const Order kOrders[] = {{Euler::XYZ, "XYZ"}, {Euler::YZX, "YZX"}, {Euler::ZXY, "ZXY"},
                         {Euler::XZY, "XZY"}, {Euler::YXZ, "YXZ"}, {Euler::ZYX, "ZYX"}};

// The product of the three axis matrices in the order's own letters.
Mat4 productOf(std::string const& letters, double x, double y, double z) {
    Mat4 m;
    for (char axis : letters) {
        Mat4 r;
        if (axis == 'X') {
            r.setXRotation(x);
        } else if (axis == 'Y') {
            r.setYRotation(y);
        } else {
            r.setZRotation(z);
        }
        m.mult(r);
    }
    return m;
}

} // namespace

TEST(EulerTest, EveryOrderRoundTripsThroughItsMatrixAndItsQuaternion) {
    for (Order const& o : kOrders) {
        Mat4 product = productOf(o.letters, 0.3, -0.7, 1.1);
        Euler e(9, 9, 9, Euler::XYZ), back(0, 0, 0, Euler::Unset);
        e.setWithMat4(product, o.order);
        EXPECT_EQ(e.order, o.order);
        EXPECT_TRUE(within(parts(e), {0.3, -0.7, 1.1})) << o.letters;
        // The quaternion of the same angles builds the same matrix, to single
        // precision, and reads back the same angles.
        Quaternion q;
        q.setWithEuler(Euler(0.3, -0.7, 1.1, o.order));
        Mat4 fromQuaternion;
        fromQuaternion.setWithQuaternion(q);
        Mat4 difference = fromQuaternion - product;
        for (double d : difference.m) {
            EXPECT_LT(std::fabs(d), 1e-6) << o.letters;
        }
        back.setWithQuaternion(q, o.order);
        EXPECT_TRUE(within(parts(back), {0.3, -0.7, 1.1}, 1e-6)) << o.letters;
    }
}

TEST(EulerTest, QuaternionFromEulerIsComputedInSinglePrecision) {
    Quaternion q;
    q.setWithEuler(Euler(0.3, -0.7, 1.1, Euler::XYZ));
    EXPECT_TRUE(within(parts(q), {-0.05754, -0.36242, 0.44180, 0.81863}, 1e-5));
    // Every component is a widened float, which a double computation would not give.
    for (Order const& o : kOrders) {
        q.setWithEuler(Euler(0.3, -0.7, 1.1, o.order));
        for (double c : {q.x, q.y, q.z, q.w}) {
            EXPECT_EQ(c, static_cast<double>(static_cast<float>(c))) << o.letters;
        }
    }
    // Unset gives zero, not the identity; an unknown order leaves the quaternion.
    q.setWithEuler(Euler(0.3, -0.7, 1.1, Euler::Unset));
    EXPECT_TRUE(within(parts(q), {0, 0, 0, 0}, 0.0));
    Quaternion kept(0.1, 0.2, 0.3, 0.4);
    kept.setWithEuler(Euler(0.3, -0.7, 1.1, static_cast<Euler::RotationOrder>(7)));
    EXPECT_TRUE(kept == Quaternion(0.1, 0.2, 0.3, 0.4));
}

TEST(EulerTest, GimbalBoundIsTheSinglePrecisionValueAndPasses) {
    // Regular: x = atan2(0.5, 0.5), z = atan2(0.5, 0.5). Gimbal: x = atan2(1, 0), z = 0.
    auto read = [](double pivot) {
        Mat4 m(false);
        m.m[8] = pivot;
        m.m[9] = -0.5, m.m[10] = 0.5, m.m[4] = -0.5, m.m[0] = 0.5, m.m[6] = 1.0;
        Euler e;
        e.setWithMat4(m, Euler::XYZ);
        return e;
    };
    Euler below = read(std::nextafter(kGimbalBound, 0.0)), at = read(kGimbalBound);
    EXPECT_TRUE(within({below.x, below.z}, {kPi / 4, kPi / 4}));
    EXPECT_TRUE(within({at.x, at.z}, {kPi / 2, 0.0}, 0.0));
    EXPECT_EQ(read(0.99999899).z, 0.0); // above the float bound, below the double 0.999999
    EXPECT_EQ(read(1.0 + 1e-15).y, std::asin(1.0)); // clamped before asin
    Euler bad = read(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(bad.y) && bad.z == 0.0);
}

TEST(EulerTest, GimbalLockGivesTheWholeTurnToOneOuterAngle) {
    Euler e;
    e.setWithMat4(productOf("XYZ", 0.4, kPi / 2, -0.3), Euler::XYZ);
    EXPECT_TRUE(within(parts(e), {0.1, kPi / 2, 0.0}));
    for (Order const& o : kOrders) {
        double angles[3] = {0.4, 0.4, 0.4};
        angles[o.letters[1] - 'X'] = -kPi / 2; // lock the middle angle
        Mat4 m = productOf(o.letters, angles[0], angles[1], angles[2]);
        e.setWithMat4(m, o.order);
        EXPECT_TRUE(productOf(o.letters, e.x, e.y, e.z) == m) << o.letters;
    }
}

TEST(EulerTest, UnsetKeepsTheObjectsOrderAndUnknownOrdersAreStoredAlone) {
    Mat4 m = productOf("ZXY", 0.3, -0.7, 1.1);
    Euler zxy(0, 0, 0, Euler::ZXY), unset(1, 2, 3, Euler::Unset), seven(1, 2, 3, Euler::XYZ);
    zxy.setWithMat4(m, Euler::Unset);
    EXPECT_EQ(zxy.order, Euler::ZXY);
    EXPECT_TRUE(within(parts(zxy), {0.3, -0.7, 1.1}));
    unset.setWithMat4(m, Euler::Unset);
    EXPECT_TRUE(unset.order == Euler::Unset && within(parts(unset), {1, 2, 3}, 0.0));
    seven.setWithMat4(m, static_cast<Euler::RotationOrder>(7));
    EXPECT_TRUE(static_cast<int>(seven.order) == 7 && within(parts(seven), {1, 2, 3}, 0.0));
    zxy.set(7, 8, 9, Euler::Unset);
    EXPECT_EQ(zxy.order, Euler::ZXY);
    EXPECT_EQ(static_cast<int>(Euler::XZY), 4);
}
