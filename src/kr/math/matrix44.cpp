#include "kr/math/matrix44.h"

#include <Eigen/LU>
#include <algorithm>

#include "kr/math/eigen.h"

namespace KrMath {

template <class T>
T Matrix44T<T>::determinant() const noexcept {
    return toEigen(*this).determinant();
}

template <class T>
bool Matrix44T<T>::isFinite() const noexcept {
    return std::all_of(std::begin(m), std::end(m), [](T element) { return std::isfinite(element); });
}

template <class T>
bool Matrix44T<T>::invert(Matrix44T& result) const noexcept {
    const T divisor = determinant();
    if (!std::isfinite(divisor) || divisor == T{0}) return false;
    Matrix44T inverse;
    toEigen(inverse) = toEigen(*this).inverse();
    if (!inverse.isFinite()) return false;
    result = inverse;
    return true;
}

template struct Matrix44T<double>;
template struct Matrix44T<float>;

}  // namespace KrMath
