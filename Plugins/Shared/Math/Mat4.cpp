#include "Mat4.h"

#include "Affine.h"
#include "Quaternion.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Mat4>::value, "kit values are copied bit for bit");

namespace {

constexpr double kTolerance = 1e-12;
// 0.0001 as the single-precision value the look-at code was written with.
constexpr double kLookAtNudge = static_cast<double>(0.0001f);
// Stands in for a zero scale so that decompose never divides by zero.
constexpr double kZeroScaleSubstitute = 1e-06;

// The 3x3 determinant of the matrix with row `row` and column `col` removed.
double minor3(double const* m, int row, int col) {
    double s[9];
    int k = 0;
    for (int c = 0; c < 4; ++c) {
        if (c == col) {
            continue;
        }
        for (int r = 0; r < 4; ++r) {
            if (r != row) {
                s[k++] = m[c * 4 + r];
            }
        }
    }
    // s is column-major too: s[c*3 + r].
    return s[0] * (s[4] * s[8] - s[7] * s[5]) - s[3] * (s[1] * s[8] - s[7] * s[2]) +
           s[6] * (s[1] * s[5] - s[4] * s[2]);
}

double cofactor(double const* m, int row, int col) {
    double minor = minor3(m, row, col);
    return (row + col) % 2 == 0 ? minor : -minor;
}

// The adjugate, element by element in storage order, and the determinant
// expanded down column 0 against it.
double adjugate(double const* m, double* adj) {
    for (int c = 0; c < 4; ++c) {
        for (int r = 0; r < 4; ++r) {
            adj[c * 4 + r] = cofactor(m, c, r);
        }
    }
    return m[0] * adj[0] + m[1] * adj[4] + m[2] * adj[8] + m[3] * adj[12];
}

} // namespace

Mat4::Mat4(bool identity) {
    if (identity) {
        setIdentity();
    } else {
        setZero();
    }
}

Mat4::Mat4(double a0, double a1, double a2, double a3, double a4, double a5, double a6, double a7,
           double a8, double a9, double a10, double a11, double a12, double a13, double a14,
           double a15, bool columnMajor) {
    double a[16] = {a0, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15};
    *this = Mat4(a, columnMajor);
}

Mat4::Mat4(double* a, bool columnMajor) {
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            m[c * 4 + r] = columnMajor ? a[c * 4 + r] : a[r * 4 + c];
        }
    }
}

Mat4::Mat4(Vec4 const& v0, Vec4 const& v1, Vec4 const& v2, Vec4 const& v3, bool rows) {
    Vec4 const* v[4] = {&v0, &v1, &v2, &v3};
    for (int i = 0; i < 4; ++i) {
        if (rows) {
            setRow(i, *v[i]);
        } else {
            setColumn(i, *v[i]);
        }
    }
}

void Mat4::set(double a0, double a1, double a2, double a3, double a4, double a5, double a6,
               double a7, double a8, double a9, double a10, double a11, double a12, double a13,
               double a14, double a15) {
    *this = Mat4(a0, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15, false);
}

void Mat4::setZero() {
    std::fill(m, m + 16, 0.0);
}

void Mat4::setIdentity() {
    setZero();
    m[0] = m[5] = m[10] = m[15] = 1.0;
}

Mat4 Mat4::identity() {
    return Mat4(true);
}

bool Mat4::operator==(Mat4 const& other) const {
    for (int i = 0; i < 16; ++i) {
        if (!(std::fabs(m[i] - other.m[i]) <= kTolerance)) {
            return false;
        }
    }
    return true;
}

void Mat4::setRow(int i, Vec4 const& v) {
    m[i] = v.x;
    m[i + 4] = v.y;
    m[i + 8] = v.z;
    m[i + 12] = v.w;
}

void Mat4::setColumn(int i, Vec4 const& v) {
    m[4 * i] = v.x;
    m[4 * i + 1] = v.y;
    m[4 * i + 2] = v.z;
    m[4 * i + 3] = v.w;
}

Vec4 Mat4::getRow(int i) const {
    return Vec4(m[i], m[i + 4], m[i + 8], m[i + 12]);
}

Vec4 Mat4::getColumn(int i) const {
    return Vec4(m[4 * i], m[4 * i + 1], m[4 * i + 2], m[4 * i + 3]);
}

Mat4 Mat4::operator+(Mat4 const& other) {
    Mat4 r(false);
    add(*this, other, r);
    return r;
}

void Mat4::add(Mat4 const& other) {
    add(*this, other, *this);
}

void Mat4::add(Mat4 const& first, Mat4 const& second, Mat4& third) {
    for (int i = 0; i < 16; ++i) {
        third.m[i] = first.m[i] + second.m[i];
    }
}

Mat4 Mat4::operator-(Mat4 const& other) {
    Mat4 r(false);
    subtract(*this, other, r);
    return r;
}

void Mat4::subtract(Mat4 const& other) {
    subtract(*this, other, *this);
}

void Mat4::subtract(Mat4 const& first, Mat4 const& second, Mat4& third) {
    for (int i = 0; i < 16; ++i) {
        third.m[i] = first.m[i] - second.m[i];
    }
}

Mat4 Mat4::operator*(double f) {
    Mat4 r(*this);
    for (double& e : r.m) {
        e *= f;
    }
    return r;
}

Mat4 Mat4::operator*(Mat4 const& other) {
    Mat4 r(false);
    mult(*this, other, r);
    return r;
}

void Mat4::mult(Mat4 const& other) {
    mult(*this, other, *this);
}

void Mat4::mult(Mat4 const& first, Mat4 const& second, Mat4& third) {
    // Everything is formed before third is written, since it may be an operand.
    double const* f = first.m;
    double const* s = second.m;
    double r[16];
    for (int j = 0; j < 4; ++j) {
        for (int i = 0; i < 4; ++i) {
            r[4 * j + i] = f[i] * s[4 * j] + f[4 + i] * s[4 * j + 1] + f[8 + i] * s[4 * j + 2] +
                           f[12 + i] * s[4 * j + 3];
        }
    }
    std::copy(r, r + 16, third.m);
}

Vec4 Mat4::operator*(Vec4 const& v) {
    return mult(v);
}

Vec4 Mat4::mult(Vec4 const& v) {
    return Vec4(m[0] * v.x + m[4] * v.y + m[8] * v.z + m[12] * v.w,
                m[1] * v.x + m[5] * v.y + m[9] * v.z + m[13] * v.w,
                m[2] * v.x + m[6] * v.y + m[10] * v.z + m[14] * v.w,
                m[3] * v.x + m[7] * v.y + m[11] * v.z + m[15] * v.w);
}

Vec3 Mat4::operator*(Vec3 const& v) {
    return mult(v);
}

Vec3 Mat4::mult(Vec3 const& v) {
    return mult(Vec4(v, 1.0)).getVec3();
}

Vec3 Mat4::multWithoutTranslate(Vec3 const& v) {
    return mult(Vec4(v, 0.0)).getVec3();
}

Vec3 Mat4::multAndProject(Vec3 const& v) {
    Vec4 r = mult(Vec4(v, 1.0));
    return r.getVec3() * (1.0 / r.w);
}

double Mat4::determinant() {
    double adj[16];
    return adjugate(m, adj);
}

bool Mat4::getInverse(Mat4& out) const {
    double adj[16];
    double det = adjugate(m, adj);
    if (det == 0.0) {
        out.setIdentity();
        return false;
    }
    double r = 1.0 / det;
    for (int i = 0; i < 16; ++i) {
        out.m[i] = adj[i] * r;
    }
    return true;
}

void Mat4::setTranspose() {
    transpose(*this);
}

void Mat4::transpose(Mat4& out) {
    double t[16];
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            t[r * 4 + c] = m[c * 4 + r];
        }
    }
    std::copy(t, t + 16, out.m);
}

double Mat4::getMaxScaleOnAxis() const {
    double sx = m[0] * m[0] + m[1] * m[1] + m[2] * m[2];
    double sy = m[4] * m[4] + m[5] * m[5] + m[6] * m[6];
    double sz = m[8] * m[8] + m[9] * m[9] + m[10] * m[10];
    return std::sqrt(std::max(std::max(sx, sy), sz));
}

void Mat4::setTranslate(double x, double y, double z) {
    setIdentity();
    m[12] = x;
    m[13] = y;
    m[14] = z;
}

void Mat4::setTranslate(Vec3 const& v) {
    setTranslate(v.x, v.y, v.z);
}

void Mat4::setScale(double x, double y, double z) {
    setZero();
    m[0] = x;
    m[5] = y;
    m[10] = z;
    m[15] = 1.0;
}

void Mat4::setScale(Vec3 const& v) {
    setScale(v.x, v.y, v.z);
}

void Mat4::setRotation(double angle, double x, double y, double z) {
    Vec3 axis(x, y, z);
    axis.normalize();
    x = axis.x;
    y = axis.y;
    z = axis.z;
    double s = std::sin(angle);
    double c = std::cos(angle);
    double t = 1.0 - c;
    setIdentity();
    m[0] = c + t * x * x;
    m[1] = t * x * y + s * z;
    m[2] = t * x * z - s * y;
    m[4] = t * x * y - s * z;
    m[5] = c + t * y * y;
    m[6] = t * y * z + s * x;
    m[8] = t * x * z + s * y;
    m[9] = t * y * z - s * x;
    m[10] = c + t * z * z;
}

void Mat4::setRotation(double angle, Vec3 const& axis) {
    setRotation(angle, axis.x, axis.y, axis.z);
}

void Mat4::setXRotation(double angle) {
    double s = std::sin(angle);
    double c = std::cos(angle);
    setIdentity();
    m[5] = c;
    m[6] = s;
    m[9] = -s;
    m[10] = c;
}

void Mat4::setYRotation(double angle) {
    double s = std::sin(angle);
    double c = std::cos(angle);
    setIdentity();
    m[0] = c;
    m[2] = -s;
    m[8] = s;
    m[10] = c;
}

void Mat4::setZRotation(double angle) {
    double s = std::sin(angle);
    double c = std::cos(angle);
    setIdentity();
    m[0] = c;
    m[1] = s;
    m[4] = -s;
    m[5] = c;
}

void Mat4::setPerspective(double fovy, double aspect, double nearPlane, double farPlane) {
    double f = 1.0 / std::tan(fovy * 0.5);
    setZero();
    m[0] = f / aspect;
    m[5] = f;
    m[10] = (nearPlane + farPlane) / (nearPlane - farPlane);
    m[11] = -1.0;
    m[14] = 2.0 * farPlane * nearPlane / (nearPlane - farPlane);
}

void Mat4::setFrustum(double left, double right, double bottom, double top, double nearPlane,
                      double farPlane) {
    setZero();
    m[0] = 2.0 * nearPlane / (right - left);
    m[5] = 2.0 * nearPlane / (top - bottom);
    m[8] = (right + left) / (right - left);
    m[9] = (top + bottom) / (top - bottom);
    m[10] = -(farPlane + nearPlane) / (farPlane - nearPlane);
    m[11] = -1.0;
    m[14] = -2.0 * farPlane * nearPlane / (farPlane - nearPlane);
}

void Mat4::setOrtho(double left, double right, double top, double bottom, double nearPlane,
                    double farPlane) {
    setZero();
    m[0] = 2.0 / (right - left);
    m[5] = 2.0 / (top - bottom);
    m[10] = -2.0 / (farPlane - nearPlane);
    m[12] = -(left + right) / (right - left);
    m[13] = -(top + bottom) / (top - bottom);
    m[14] = -(nearPlane + farPlane) / (farPlane - nearPlane);
    m[15] = 1.0;
}

void Mat4::setLookAt(Vec3 eye, Vec3 target, Vec3 up) {
    Vec3 z = eye - target;
    if (z.isZero()) {
        z.set(0.0, 0.0, 1.0);
    } else {
        z.normalize();
    }
    Vec3 x = up.cross(z);
    if (x.isZero()) {
        // up is parallel to the view direction: tip z so that a cross exists.
        z.z += kLookAtNudge;
        x = up.cross(z);
    }
    x.normalize();
    Vec3 y = z.cross(x);

    m[0] = x.x;
    m[1] = x.y;
    m[2] = x.z;
    m[4] = y.x;
    m[5] = y.y;
    m[6] = y.z;
    m[8] = z.x;
    m[9] = z.y;
    m[10] = z.z;
}

void Mat4::setLookAt(double eyeX, double eyeY, double eyeZ, double targetX, double targetY,
                     double targetZ, double upX, double upY, double upZ) {
    setLookAt(Vec3(eyeX, eyeY, eyeZ), Vec3(targetX, targetY, targetZ), Vec3(upX, upY, upZ));
}

Mat4 Mat4::getAEToGLConversionMatrix(double width, double height) {
    Mat4 r(true);
    r.m[5] = -1.0;
    r.m[10] = -1.0;
    r.m[12] = -0.5 * width;
    r.m[13] = 0.5 * height;
    return r;
}

void Mat4::translate(double x, double y, double z) {
    for (int i = 0; i < 4; ++i) {
        m[12 + i] += x * m[i] + y * m[4 + i] + z * m[8 + i];
    }
}

void Mat4::translate(Vec3 const& v) {
    translate(v.x, v.y, v.z);
}

void Mat4::translate(Vec4 const& v) {
    translate(v.x, v.y, v.z);
}

void Mat4::scale(double x, double y, double z) {
    for (int i = 0; i < 4; ++i) {
        m[i] *= x;
        m[4 + i] *= y;
        m[8 + i] *= z;
    }
}

void Mat4::scale(Vec3 const& v) {
    scale(v.x, v.y, v.z);
}

void Mat4::scale(Vec4 const& v) {
    scale(v.x, v.y, v.z);
}

void Mat4::rotate(double angle, double x, double y, double z) {
    Mat4 r;
    r.setRotation(angle, x, y, z);
    mult(r);
}

void Mat4::rotate(double angle, Vec3 const& axis) {
    rotate(angle, axis.x, axis.y, axis.z);
}

void Mat4::rotate(double angle, Vec4 const& axis) {
    rotate(angle, axis.x, axis.y, axis.z);
}

void Mat4::rotateX(double angle) {
    Mat4 r;
    r.setXRotation(angle);
    mult(r);
}

void Mat4::rotateY(double angle) {
    Mat4 r;
    r.setYRotation(angle);
    mult(r);
}

void Mat4::rotateZ(double angle) {
    Mat4 r;
    r.setZRotation(angle);
    mult(r);
}

void Mat4::setWithQuaternion(Quaternion const& q) {
    double x = q.x;
    double y = q.y;
    double z = q.z;
    double w = q.w;
    setIdentity();
    m[0] = 1.0 - 2.0 * (y * y + z * z);
    m[1] = 2.0 * (x * y + z * w);
    m[2] = 2.0 * (x * z - y * w);
    m[4] = 2.0 * (x * y - z * w);
    m[5] = 1.0 - 2.0 * (x * x + z * z);
    m[6] = 2.0 * (y * z + x * w);
    m[8] = 2.0 * (x * z + y * w);
    m[9] = 2.0 * (y * z - x * w);
    m[10] = 1.0 - 2.0 * (x * x + y * y);
}

void Mat4::setWithAffine(Affine const& t) {
    setIdentity();
    m[0] = t.a;
    m[1] = t.b;
    m[4] = t.c;
    m[5] = t.d;
    m[12] = t.e;
    m[13] = t.f;
}

Affine Mat4::getAffine() const {
    return Affine(m[0], m[1], m[4], m[5], m[12], m[13]);
}

void Mat4::position(Vec3 const& p) {
    m[12] = p.x;
    m[13] = p.y;
    m[14] = p.z;
}

void Mat4::compose(Vec3 const& position_, Quaternion const& rotation, Vec3 const& scale_) {
    setWithQuaternion(rotation);
    scale(scale_.x, scale_.y, scale_.z);
    position(position_);
}

void Mat4::compose(Vec3 const& anchor, Vec3 const& position_, Quaternion const& rotation,
                   Vec3 const& scale_) {
    Vec3 scaledAnchor = anchor * scale_;
    Mat4 t;
    t.setTranslate(position_);
    setWithQuaternion(rotation);
    mult(t, *this, *this);
    translate(-scaledAnchor.x, -scaledAnchor.y, -scaledAnchor.z);
    double const s[3] = {scale_.x, scale_.y, scale_.z};
    for (int axis = 0; axis < 3; ++axis) {
        if (s[axis] != 1.0) {
            for (int r = 0; r < 3; ++r) {
                m[axis * 4 + r] *= s[axis];
            }
        }
    }
}

namespace {

// What both forms of decompose share once the position is known.
void decomposeRotationAndScale(Mat4& matrix, Quaternion& rotation, Vec3& scale) {
    double const* m = matrix.m;
    double s[3] = {Vec3(m[0], m[1], m[2]).length(), Vec3(m[4], m[5], m[6]).length(),
                   Vec3(m[8], m[9], m[10]).length()};
    // A mirror is put on x alone, whichever axis it came from.
    if (matrix.determinant() < 0.0) {
        s[0] = -s[0];
    }
    Mat4 unscaled(matrix);
    for (int axis = 0; axis < 3; ++axis) {
        if (s[axis] == 0.0) {
            s[axis] = kZeroScaleSubstitute;
        }
        double inv = 1.0 / s[axis];
        for (int r = 0; r < 3; ++r) {
            unscaled.m[axis * 4 + r] *= inv;
        }
    }
    rotation.setWithMat4(unscaled);
    scale.set(s[0], s[1], s[2]);
}

} // namespace

void Mat4::decompose(Vec3& position_, Quaternion& rotation, Vec3& scale_) {
    position_.set(m[12], m[13], m[14]);
    decomposeRotationAndScale(*this, rotation, scale_);
}

void Mat4::decompose(Vec3 const& anchor, Vec3& position_, Quaternion& rotation, Vec3& scale_) {
    Vec3 u = multWithoutTranslate(anchor);
    position_.set(m[12] + u.x, m[13] + u.y, m[14] + u.z);
    decomposeRotationAndScale(*this, rotation, scale_);
}

} // namespace GaussianBlur
} // namespace Brindel
