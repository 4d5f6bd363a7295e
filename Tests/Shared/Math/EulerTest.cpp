#include "Euler.h"

#include "Mat4.h"
#include "Quaternion.h"

#include "MathExpect.h"

#include <cmath>
#include <limits>
#include <string>

using Brindel::GaussianBlur::Euler;
using Brindel::GaussianBlur::Mat4;
using Brindel::GaussianBlur::Quaternion;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kGimbalBound = 0.9999989867210388;

struct Order {
    Euler::RotationOrder order;
    char const* letters;
};

const Order kOrders[] = {{Euler::XYZ, "XYZ"}, {Euler::YZX, "YZX"}, {Euler::ZXY, "ZXY"},
                         {Euler::XZY, "XZY"}, {Euler::YXZ, "YXZ"}, {Euler::ZYX, "ZYX"}};

Mat4 axisRotation(char axis, double angle) {
    Mat4 m;
    if (axis == 'X') {
        m.setXRotation(angle);
    } else if (axis == 'Y') {
        m.setYRotation(angle);
    } else {
        m.setZRotation(angle);
    }
    return m;
}

// The product of the three axis matrices in the order's own letters.
Mat4 productOf(std::string const& letters, double x, double y, double z) {
    Mat4 m;
    for (char axis : letters) {
        m.mult(axisRotation(axis, axis == 'X' ? x : axis == 'Y' ? y : z));
    }
    return m;
}

::testing::AssertionResult anglesAre(Euler const& e, double x, double y, double z,
                                     double tol = 1e-12) {
    return eachWithin({e.x, e.y, e.z}, {x, y, z}, tol);
}

} // namespace

TEST(EulerTest, EveryOrderReadsBackTheAnglesOfItsOwnProduct) {
    for (Order const& o : kOrders) {
        Euler e(9, 9, 9, Euler::XYZ);
        e.setWithMat4(productOf(o.letters, 0.3, -0.7, 1.1), o.order);
        EXPECT_EQ(e.order, o.order);
        EXPECT_TRUE(anglesAre(e, 0.3, -0.7, 1.1)) << o.letters;

        // And the quaternion of the same angles builds the same matrix, to
        // single precision.
        Quaternion q;
        q.setWithEuler(Euler(0.3, -0.7, 1.1, o.order));
        Mat4 fromQuaternion;
        fromQuaternion.setWithQuaternion(q);
        Mat4 expected = productOf(o.letters, 0.3, -0.7, 1.1);
        Mat4 difference = fromQuaternion - expected;
        for (double d : difference.m) {
            EXPECT_LT(std::fabs(d), 1e-6) << o.letters;
        }

        Euler back(0, 0, 0, Euler::Unset);
        back.setWithQuaternion(q, o.order);
        EXPECT_TRUE(anglesAre(back, 0.3, -0.7, 1.1, 1e-6)) << o.letters;
    }
}

TEST(EulerTest, QuaternionFromEulerIsComputedInSinglePrecision) {
    Quaternion q;
    q.setWithEuler(Euler(0.3, -0.7, 1.1, Euler::XYZ));
    EXPECT_TRUE(eachWithin({q.x, q.y, q.z, q.w}, {-0.05754, -0.36242, 0.44180, 0.81863}, 1e-5));
    q.setWithEuler(Euler(0.3, -0.7, 1.1, Euler::ZYX));
    EXPECT_TRUE(eachWithin({q.x, q.y, q.z, q.w}, {0.29689, -0.21567, 0.52917, 0.76506}, 1e-5));

    // Every component is a float widened, which a double computation would
    // not give.
    for (Order const& o : kOrders) {
        q.setWithEuler(Euler(0.3, -0.7, 1.1, o.order));
        for (double c : {q.x, q.y, q.z, q.w}) {
            EXPECT_EQ(c, static_cast<double>(static_cast<float>(c))) << o.letters;
        }
    }

    // Unset gives zero, not the identity; an unknown order leaves the quaternion.
    q.setWithEuler(Euler(0.3, -0.7, 1.1, Euler::Unset));
    EXPECT_TRUE(eachSameBits({q.x, q.y, q.z, q.w}, {0, 0, 0, 0}));
    Quaternion kept(0.1, 0.2, 0.3, 0.4);
    kept.setWithEuler(Euler(0.3, -0.7, 1.1, static_cast<Euler::RotationOrder>(7)));
    EXPECT_TRUE(kept == Quaternion(0.1, 0.2, 0.3, 0.4));
}

TEST(EulerTest, GimbalBoundIsTheSinglePrecisionValueAndPasses) {
    // A matrix with only the pivot m[8] and the elements both branches read.
    auto read = [](double pivot) {
        Mat4 m(false);
        m.m[8] = pivot;
        m.m[9] = -0.5;
        m.m[10] = 0.5;
        m.m[4] = -0.5;
        m.m[0] = 0.5;
        m.m[6] = 1.0;
        m.m[5] = 0.0;
        Euler e;
        e.setWithMat4(m, Euler::XYZ);
        return e;
    };
    // Regular: x = atan2(0.5, 0.5), z = atan2(0.5, 0.5). Gimbal: x = atan2(1, 0), z = 0.
    Euler below = read(std::nextafter(kGimbalBound, 0.0));
    EXPECT_TRUE(eachWithin({below.x, below.z}, {kPi / 4, kPi / 4}));
    Euler at = read(kGimbalBound);
    EXPECT_TRUE(eachWithin({at.x, at.z}, {kPi / 2, 0.0}, 0.0));
    // Between the float bound and the double 0.999999: still gimbal.
    Euler between = read(0.99999899);
    EXPECT_TRUE(eachSameBits({between.z}, {0.0}));
    Euler negative = read(-kGimbalBound);
    EXPECT_TRUE(eachSameBits({negative.z}, {0.0}));

    // A pivot past 1 from rounding is clamped before asin.
    Euler over = read(1.0 + 1e-15);
    EXPECT_EQ(over.y, std::asin(1.0));
    Euler under = read(-1.0 - 1e-15);
    EXPECT_EQ(under.y, -std::asin(1.0));
    Euler bad = read(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(bad.y));
    EXPECT_EQ(bad.z, 0.0);
}

TEST(EulerTest, GimbalLockGivesTheWholeTurnToOneOuterAngle) {
    Mat4 locked = productOf("XYZ", 0.4, kPi / 2, -0.3);
    Euler e;
    e.setWithMat4(locked, Euler::XYZ);
    EXPECT_TRUE(anglesAre(e, 0.1, kPi / 2, 0.0));
    EXPECT_TRUE(productOf("XYZ", e.x, e.y, e.z) == locked);

    // Every order rebuilds its locked matrix.
    for (Order const& o : kOrders) {
        std::string letters = o.letters;
        double x = 0.4, y = 0.4, z = 0.4;
        double& mid = letters[1] == 'X' ? x : letters[1] == 'Y' ? y : z;
        mid = -kPi / 2;
        Mat4 m = productOf(letters, x, y, z);
        Euler read;
        read.setWithMat4(m, o.order);
        EXPECT_TRUE(productOf(letters, read.x, read.y, read.z) == m) << o.letters;
    }
}

TEST(EulerTest, UnsetAndUnknownOrders) {
    Mat4 m = productOf("ZXY", 0.3, -0.7, 1.1);
    Euler zxy(0, 0, 0, Euler::ZXY);
    zxy.setWithMat4(m, Euler::Unset);
    EXPECT_EQ(zxy.order, Euler::ZXY);
    EXPECT_TRUE(anglesAre(zxy, 0.3, -0.7, 1.1));

    Euler unset(1, 2, 3, Euler::Unset);
    EXPECT_EQ(unset.order, Euler::Unset);
    unset.setWithMat4(m, Euler::Unset);
    EXPECT_TRUE(anglesAre(unset, 1, 2, 3, 0.0));
    EXPECT_EQ(unset.order, Euler::Unset);

    Euler seven(1, 2, 3, Euler::XYZ);
    seven.setWithMat4(m, static_cast<Euler::RotationOrder>(7));
    EXPECT_EQ(static_cast<int>(seven.order), 7);
    EXPECT_TRUE(anglesAre(seven, 1, 2, 3, 0.0));

    Euler e(0, 0, 0, Euler::YXZ);
    e.set(7, 8, 9, Euler::Unset);
    EXPECT_EQ(e.order, Euler::YXZ);
    EXPECT_TRUE(anglesAre(e, 7, 8, 9, 0.0));
    e.set(7, 8, 9, Euler::ZYX);
    EXPECT_EQ(e.order, Euler::ZYX);

    EXPECT_EQ(Euler().order, Euler::XYZ);
    EXPECT_EQ(static_cast<int>(Euler::XZY), 4);
    EXPECT_EQ(static_cast<int>(Euler::YZX), 2);
}

TEST(EulerTest, EqualityBoundsEachAngleAndRequiresTheSameOrder) {
    EXPECT_FALSE(Euler(1, 2, 3, Euler::XYZ) == Euler(1, 2, 3, Euler::ZYX));
    EXPECT_TRUE(Euler(0, 0, 0, Euler::XYZ) == Euler(1e-12, -1e-12, 0, Euler::XYZ));
    EXPECT_FALSE(Euler(0, 0, 0, Euler::XYZ) == Euler(0, 0, 2e-12, Euler::XYZ));
    double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(Euler(nan, 0, 0, Euler::XYZ) == Euler(nan, 0, 0, Euler::XYZ));
}
