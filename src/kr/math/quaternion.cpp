#include "kr/math/quaternion.h"

#include <Eigen/Geometry>

#include "kr/math/eigen.h"

namespace KrMath {

template <class T>
QuaternionT<T> QuaternionT<T>::fromAxisAngle(const Vector3T<T>& axis, T angleRadians) noexcept {
    Vector3T<T> unit = axis;
    if (!unit.normalize() || !std::isfinite(angleRadians)) return {};
    const Vector3T<T> part = unit * std::sin(angleRadians / T{2});
    return {part.x, part.y, part.z, std::cos(angleRadians / T{2})};
}

template <class T>
QuaternionT<T> QuaternionT<T>::slerp(const QuaternionT& other, T part) const noexcept {
    QuaternionT result;
    toEigen(result) = toEigen(*this).slerp(part, toEigen(other));
    return result;
}

template <class T>
T QuaternionT<T>::angleTo(const QuaternionT& other) const noexcept {
    return toEigen(*this).angularDistance(toEigen(other));
}

template struct QuaternionT<double>;
template struct QuaternionT<float>;

}  // namespace KrMath
