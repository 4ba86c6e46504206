#pragma once

#include <cstddef>
#include <type_traits>

#include "kr/math/matrix44.h"
#include "kr/math/quaternion.h"
#include "kr/math/vector3.h"
#include "kr/platform/export.h"

namespace Kr {

/// Placement in space: a 4x4 matrix of doubles, the identity by default. m holds the rows one after the other. Points
/// are columns on the right of the matrix, so the translation stands in m[3], m[7], m[11], and the last row of a
/// placement is 0, 0, 0, 1. A rigid transform turns and moves, and does nothing else.
struct KR_API KrTransform {
    double m[16]{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    /// The rotation is scaled to length 1 first.
    [[nodiscard]] static KrTransform fromRotationTranslation(const KrMath::QuaternionT<double>& rotation,
                                                             const KrMath::Vector3T<double>& translation) noexcept;
    [[nodiscard]] static KrTransform fromMatrix(const KrMath::Matrix44T<double>& matrix) noexcept;
    [[nodiscard]] KrMath::Matrix44T<double> toMatrix() const noexcept;

    constexpr double& operator()(std::size_t row, std::size_t column) noexcept { return m[4 * row + column]; }
    constexpr const double& operator()(std::size_t row, std::size_t column) const noexcept {
        return m[4 * row + column];
    }
    constexpr bool operator==(const KrTransform&) const = default;

    /// right first, then left.
    friend KR_API KrTransform operator*(const KrTransform& left, const KrTransform& right) noexcept;

    [[nodiscard]] constexpr KrMath::Vector3T<double> getTranslation() const noexcept { return {m[3], m[7], m[11]}; }
    constexpr void setTranslation(const KrMath::Vector3T<double>& translation) noexcept {
        m[3] = translation.x;
        m[7] = translation.y;
        m[11] = translation.z;
    }

    /// The unit quaternion, w >= 0, of the rotation closest to the upper left 3x3 part: scale and shear are left out.
    /// The identity where there is no such rotation (see orthonormalize).
    [[nodiscard]] KrMath::QuaternionT<double> getRotation() const noexcept;
    /// Replaces the upper left 3x3 part, and with it scale and shear. The quaternion is scaled to length 1; one
    /// without direction sets no rotation.
    void setRotation(const KrMath::QuaternionT<double>& rotation) noexcept;

    /// All four rows are finite.
    [[nodiscard]] bool isFinite() const noexcept;
    /// A placement that can be undone: finite, the last row is 0, 0, 0, 1, the 3x3 part has a determinant beyond zero.
    [[nodiscard]] bool isValid() const noexcept;
    /// Valid, and the 3x3 part is a rotation: R R^T differs from the identity by at most the tolerance in any element,
    /// and R is no mirror.
    [[nodiscard]] bool isRigid(double tolerance = 1e-9) const noexcept;

    /// Replaces the 3x3 part by the closest rotation in the least-squares sense (polar decomposition) and sets the
    /// last row to 0, 0, 0, 1. False, with nothing changed, when the transform is not finite, or its 3x3 part is a
    /// mirror or singular, so that no single rotation is the closest.
    bool orthonormalize() noexcept;

    /// The inverse of a rigid transform, without any division. Wrong for any other.
    [[nodiscard]] KrTransform inverseRigid() const noexcept;
    /// Stores the general inverse in result, which may be this transform; false, with result as it was, when there is
    /// none.
    [[nodiscard]] bool invert(KrTransform& result) const noexcept;

    /// Turned, scaled and moved. The last row is taken as 0, 0, 0, 1.
    [[nodiscard]] constexpr KrMath::Vector3T<double> transformPoint(
        const KrMath::Vector3T<double>& point) const noexcept {
        return transformVector(point) + getTranslation();
    }
    /// Turned and scaled, but not moved: for directions and velocities.
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
