#pragma once

#include <cstddef>
#include <type_traits>

#include "kr/math/matrix44.h"
#include "kr/math/quaternion.h"
#include "kr/math/vector3.h"
#include "kr/platform/export.h"

namespace Kr {

/// Placement in space: a 4x4 matrix of doubles, the identity by default. m holds the rows one after the other. Points
/// are columns, multiplied from the right: the translation is in m[3], m[7], m[11], and the last row of a placement is
/// 0, 0, 0, 1. A rigid transform rotates and translates only.
/// Thread: value. Ownership: value.
struct KR_API KrTransform {
    double m[16]{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    /// The rotation is scaled to length 1 first.
    [[nodiscard]] static KrTransform fromRotationTranslation(const KrMath::QuaternionT<double>& rotation,
                                                             const KrMath::Vector3T<double>& translation) noexcept;
    [[nodiscard]] static KrTransform fromMatrix(const KrMath::Matrix44T<double>& matrix) noexcept;
    [[nodiscard]] KrMath::Matrix44T<double> toMatrix() const noexcept;

    /// Row and column count from 0 and must be below 4; not checked.
    constexpr double& operator()(std::size_t row, std::size_t column) noexcept { return m[4 * row + column]; }
    constexpr const double& operator()(std::size_t row, std::size_t column) const noexcept {
        return m[4 * row + column];
    }
    constexpr bool operator==(const KrTransform&) const = default;

    /// right first, then left.
    friend KR_API KrTransform operator*(const KrTransform& left, const KrTransform& right) noexcept;

    [[nodiscard]] constexpr KrMath::Vector3T<double> getTranslation() const noexcept { return {m[3], m[7], m[11]}; }
    /// Only m[3], m[7] and m[11] change. Not checked for NaN.
    constexpr void setTranslation(const KrMath::Vector3T<double>& translation) noexcept {
        m[3] = translation.x;
        m[7] = translation.y;
        m[11] = translation.z;
    }

    /// The unit quaternion, w >= 0, of the rotation closest to the upper left 3x3 part, without scale and shear. The
    /// identity when there is no such rotation (see orthonormalize).
    [[nodiscard]] KrMath::QuaternionT<double> getRotation() const noexcept;
    /// Replaces the upper left 3x3 part, including scale and shear. The quaternion is normalized first; one that is
    /// zero or not finite sets the identity.
    void setRotation(const KrMath::QuaternionT<double>& rotation) noexcept;

    /// All four rows are finite.
    [[nodiscard]] bool isFinite() const noexcept;
    /// Whether the placement can be inverted: finite, last row 0, 0, 0, 1, determinant of the 3x3 part not zero.
    [[nodiscard]] bool isValid() const noexcept;
    /// Valid, and the 3x3 part R is a rotation: no element of R R^T differs from the identity by more than the
    /// tolerance, and R is not a mirror.
    [[nodiscard]] bool isRigid(double tolerance = 1e-9) const noexcept;

    /// Replaces the 3x3 part by the closest rotation in the least-squares sense (polar decomposition) and sets the
    /// last row to 0, 0, 0, 1. False, with nothing changed, when the transform is not finite, or its 3x3 part is a
    /// mirror or singular, so that no single rotation is the closest.
    bool orthonormalize() noexcept;

    /// The inverse of a rigid transform, without a division. The result is wrong for any other transform.
    [[nodiscard]] KrTransform inverseRigid() const noexcept;
    /// Stores the general inverse in result, which may be this transform. False, and result unchanged, without one.
    [[nodiscard]] bool invert(KrTransform& result) const noexcept;

    /// Applies rotation, scale and translation. The last row is taken as 0, 0, 0, 1.
    [[nodiscard]] constexpr KrMath::Vector3T<double> transformPoint(
        const KrMath::Vector3T<double>& point) const noexcept {
        return transformVector(point) + getTranslation();
    }
    /// Applies rotation and scale, but no translation: for directions and velocities.
    [[nodiscard]] constexpr KrMath::Vector3T<double> transformVector(
        const KrMath::Vector3T<double>& vector) const noexcept {
        return {m[0] * vector.x + m[1] * vector.y + m[2] * vector.z,
                m[4] * vector.x + m[5] * vector.y + m[6] * vector.z,
                m[8] * vector.x + m[9] * vector.y + m[10] * vector.z};
    }
};

static_assert(std::is_trivially_copyable_v<KrTransform> && alignof(KrTransform) == alignof(double));
static_assert(sizeof(KrTransform) == 16 * sizeof(double));

}  // namespace Kr
