#include "kr/math/transform.h"

#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <iterator>

#include "kr/math/eigen.h"

namespace Kr {
namespace {

using KrMath::toEigen;

/// Finds the rotation closest to the 3x3 part: with the singular value decomposition U S V^T it is U V^T
/// (Higham, Computing the Polar Decomposition, 1986). False when the part has none.
bool findClosestRotation(const KrTransform& transform, Eigen::Matrix3d& rotation) {
    // The singular values are compared relative to the largest one: a kilometre-sized scale is no worse than a small.
    constexpr double kSingular = 1e-12;
    const Eigen::Matrix3d part = toEigen(transform).topLeftCorner<3, 3>();
    if (!part.allFinite()) return false;
    const double largest = part.cwiseAbs().maxCoeff();
    if (largest == 0.0) return false;
    const Eigen::JacobiSVD<Eigen::Matrix3d> decomposition(part / largest, Eigen::ComputeFullU | Eigen::ComputeFullV);
    if (decomposition.info() != Eigen::Success) return false;
    const auto& singularValues = decomposition.singularValues();
    if (!(singularValues(2) > kSingular * singularValues(0))) return false;
    const Eigen::Matrix3d candidate = decomposition.matrixU() * decomposition.matrixV().transpose();
    if (candidate.determinant() < 0.0) return false;
    rotation = candidate;
    return true;
}

}  // namespace

KrTransform KrTransform::fromRotationTranslation(const KrMath::QuaternionT<double>& rotation,
                                                 const KrMath::Vector3T<double>& translation) noexcept {
    KrTransform result;
    result.setRotation(rotation);
    result.setTranslation(translation);
    return result;
}

KrTransform KrTransform::fromMatrix(const KrMath::Matrix44T<double>& matrix) noexcept {
    KrTransform result;
    std::copy(std::begin(matrix.m), std::end(matrix.m), result.m);
    return result;
}

KrMath::Matrix44T<double> KrTransform::toMatrix() const noexcept {
    KrMath::Matrix44T<double> result;
    std::copy(std::begin(m), std::end(m), result.m);
    return result;
}

KrTransform operator*(const KrTransform& left, const KrTransform& right) noexcept {
    return KrTransform::fromMatrix(left.toMatrix() * right.toMatrix());
}

KrMath::QuaternionT<double> KrTransform::getRotation() const noexcept {
    Eigen::Matrix3d rotation;
    if (!findClosestRotation(*this, rotation)) return {};
    KrMath::QuaternionT<double> result;
    toEigen(result) = Eigen::Quaterniond(rotation).normalized();
    if (result.w < 0.0) result = {-result.x, -result.y, -result.z, -result.w};
    return result;
}

void KrTransform::setRotation(const KrMath::QuaternionT<double>& rotation) noexcept {
    const KrMath::QuaternionT<double> unit = rotation.normalized();
    toEigen(*this).topLeftCorner<3, 3>() = toEigen(unit).toRotationMatrix();
}

bool KrTransform::isFinite() const noexcept {
    return std::all_of(std::begin(m), std::end(m), [](double element) { return std::isfinite(element); });
}

bool KrTransform::isValid() const noexcept {
    if (!isFinite() || m[12] != 0.0 || m[13] != 0.0 || m[14] != 0.0 || m[15] != 1.0) return false;
    const Eigen::Matrix3d part = toEigen(*this).topLeftCorner<3, 3>();
    const double determinant = part.determinant();
    return std::isfinite(determinant) && determinant != 0.0;
}

bool KrTransform::isRigid(double tolerance) const noexcept {
    if (!isValid()) return false;
    const Eigen::Matrix3d part = toEigen(*this).topLeftCorner<3, 3>();
    const Eigen::Matrix3d difference = part * part.transpose() - Eigen::Matrix3d::Identity();
    return difference.cwiseAbs().maxCoeff() <= tolerance && part.determinant() > 0.0;
}

bool KrTransform::orthonormalize() noexcept {
    Eigen::Matrix3d rotation;
    if (!isFinite() || !findClosestRotation(*this, rotation)) return false;
    toEigen(*this).topLeftCorner<3, 3>() = rotation;
    m[12] = m[13] = m[14] = 0.0;
    m[15] = 1.0;
    return true;
}

KrTransform KrTransform::inverseRigid() const noexcept {
    KrTransform result;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column)
            result(row, column) = (*this)(column, row);
    }
    result.setTranslation(-result.transformVector(getTranslation()));
    return result;
}

bool KrTransform::invert(KrTransform& result) const noexcept {
    KrMath::Matrix44T<double> inverse;
    if (!toMatrix().invert(inverse)) return false;
    result = fromMatrix(inverse);
    return true;
}

}  // namespace Kr
