#pragma once

#include "Vec3.h"
#include "Vec4.h"

namespace Brindel {
namespace GaussianBlur {

class Affine;
class Quaternion;

// A 4x4 transform of doubles, stored column after column (row r, column c at
// m[c*4 + r]) and acting on column vectors: A*B applies B to a point first.
// Right-handed, angles in radians.
class Mat4 {
public:
    double m[16];

    // true: the identity; false: all zero.
    explicit Mat4(bool identity = true);
    // columnMajor true: a[i] goes to m[i]; false: the values come row after row.
    Mat4(double a0, double a1, double a2, double a3, double a4, double a5, double a6, double a7,
         double a8, double a9, double a10, double a11, double a12, double a13, double a14,
         double a15, bool columnMajor);
    Mat4(double* a, bool columnMajor);
    // Note the flag reads the other way round here: true makes the vectors rows.
    Mat4(Vec4 const& v0, Vec4 const& v1, Vec4 const& v2, Vec4 const& v3, bool rows);
    Mat4(Mat4 const&) = default;
    Mat4& operator=(Mat4 const&) = default;

    // Row after row, as written on paper.
    void set(double a0, double a1, double a2, double a3, double a4, double a5, double a6, double a7,
             double a8, double a9, double a10, double a11, double a12, double a13, double a14,
             double a15);
    void setZero();
    void setIdentity();
    static Mat4 identity();

    bool operator==(Mat4 const& other) const;

    void setRow(int i, Vec4 const& v);
    void setColumn(int i, Vec4 const& v);
    Vec4 getRow(int i) const;
    Vec4 getColumn(int i) const;

    Mat4 operator+(Mat4 const& other);
    void add(Mat4 const& other);
    static void add(Mat4 const& first, Mat4 const& second, Mat4& third);
    Mat4 operator-(Mat4 const& other);
    void subtract(Mat4 const& other);
    static void subtract(Mat4 const& first, Mat4 const& second, Mat4& third);
    Mat4 operator*(double f);
    Mat4 operator*(Mat4 const& other);
    // this := this * other: other acts on a point first.
    void mult(Mat4 const& other);
    // third := first * second; third may be either operand.
    static void mult(Mat4 const& first, Mat4 const& second, Mat4& third);
    Vec4 operator*(Vec4 const& v);
    Vec4 mult(Vec4 const& v);
    // The point (x, y, z, 1); the resulting w is dropped, not divided by.
    Vec3 operator*(Vec3 const& v);
    Vec3 mult(Vec3 const& v);
    Vec3 multWithoutTranslate(Vec3 const& v);
    Vec3 multAndProject(Vec3 const& v);

    double determinant();
    // Fails only on a determinant of exactly zero, writing the identity; out
    // may be the matrix itself.
    bool getInverse(Mat4& out) const;
    void setTranspose();
    // out may be the matrix itself.
    void transpose(Mat4& out);
    double getMaxScaleOnAxis() const;

    void setTranslate(double x, double y, double z);
    void setTranslate(Vec3 const& v);
    void setScale(double x, double y, double z);
    void setScale(Vec3 const& v);
    // The axis is normalised; a zero axis means +x.
    void setRotation(double angle, double x, double y, double z);
    void setRotation(double angle, Vec3 const& axis);
    void setXRotation(double angle);
    void setYRotation(double angle);
    void setZRotation(double angle);
    void setPerspective(double fovy, double aspect, double nearPlane, double farPlane);
    void setFrustum(double left, double right, double bottom, double top, double nearPlane,
                    double farPlane);
    // Top comes before bottom here, unlike setFrustum.
    void setOrtho(double left, double right, double top, double bottom, double nearPlane,
                  double farPlane);
    // An orientation, not a view matrix: writes only the upper-left 3x3.
    void setLookAt(Vec3 eye, Vec3 target, Vec3 up);
    void setLookAt(double eyeX, double eyeY, double eyeZ, double targetX, double targetY,
                   double targetZ, double upX, double upY, double upZ);
    // Host layer coordinates (origin top left, y down) to the GL scene
    // (origin at the frame's centre, y up).
    static Mat4 getAEToGLConversionMatrix(double width, double height);

    // Chain operations: this := this * T, so T acts on a point first.
    void translate(double x, double y, double z);
    void translate(Vec3 const& v);
    void translate(Vec4 const& v);
    void scale(double x, double y, double z);
    void scale(Vec3 const& v);
    void scale(Vec4 const& v);
    void rotate(double angle, double x, double y, double z);
    void rotate(double angle, Vec3 const& axis);
    void rotate(double angle, Vec4 const& axis);
    void rotateX(double angle);
    void rotateY(double angle);
    void rotateZ(double angle);

    // Takes the quaternion as it is, without normalising it.
    void setWithQuaternion(Quaternion const& q);
    // The 2D transform lifted into the x-y plane, and read back out of it.
    void setWithAffine(Affine const& t);
    Affine getAffine() const;

    // Layer transform properties. A point v goes to p + R((v - anchor) * s).
    void position(Vec3 const& p);
    void compose(Vec3 const& position, Quaternion const& rotation, Vec3 const& scale);
    void compose(Vec3 const& anchor, Vec3 const& position, Quaternion const& rotation,
                 Vec3 const& scale);
    void decompose(Vec3& position, Quaternion& rotation, Vec3& scale);
    void decompose(Vec3 const& anchor, Vec3& position, Quaternion& rotation, Vec3& scale);
};

} // namespace GaussianBlur
} // namespace Brindel
