#pragma once

#include <cstdint>

namespace Brindel {
namespace GaussianBlur {

class Mat4;
class Quaternion;

// A rotation by three angles in radians and the order they are applied in.
class Euler {
public:
    // The letters, read left to right, are the factors of the rotation
    // matrix, so the last letter acts on a point first. The values are fixed
    // and not alphabetical.
    enum RotationOrder : std::int32_t {
        // As an argument: keep the object's own order.
        Unset = 0,
        XYZ = 1,
        YZX = 2,
        ZXY = 3,
        XZY = 4,
        YXZ = 5,
        ZYX = 6
    };

    double x;
    double y;
    double z;
    RotationOrder order;

    Euler();
    // Stores the order as given, Unset included.
    Euler(double x, double y, double z, RotationOrder order = XYZ);
    Euler(Euler const&) = default;
    Euler& operator=(Euler const&) = default;

    void set(double x, double y, double z, RotationOrder order = Unset);
    // Reads the upper-left 3x3 as a pure rotation. The order is stored
    // whatever it is; one outside XYZ..ZYX leaves the angles.
    void setWithMat4(Mat4 const& m, RotationOrder order = Unset);
    void setWithQuaternion(Quaternion const& q, RotationOrder order = Unset);

    bool operator==(Euler const& e) const;
};

} // namespace GaussianBlur
} // namespace Brindel
