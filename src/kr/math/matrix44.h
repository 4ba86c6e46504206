#pragma once

#include <cstddef>
#include <type_traits>

#include "kr/math/vector4.h"
#include "kr/platform/export.h"

namespace KrMath {

/// Matrix of four rows and columns, the identity by default. m holds the rows one after the other. Vectors are columns,
/// multiplied from the right.
/// Thread: value. Ownership: value.
template <class T>
struct KR_API Matrix44T {
    T m[16]{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    [[nodiscard]] static constexpr Matrix44T zero() noexcept {
        return {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
    }

    /// Row and column count from 0 and must be below 4; not checked.
    constexpr T& operator()(std::size_t row, std::size_t column) noexcept { return m[4 * row + column]; }
    constexpr const T& operator()(std::size_t row, std::size_t column) const noexcept { return m[4 * row + column]; }

    constexpr bool operator==(const Matrix44T&) const = default;

    friend constexpr Matrix44T operator*(const Matrix44T& left, const Matrix44T& right) noexcept {
        Matrix44T result = zero();
        for (std::size_t row = 0; row < 4; ++row) {
            for (std::size_t inner = 0; inner < 4; ++inner) {
                const T factor = left(row, inner);
                for (std::size_t column = 0; column < 4; ++column) {
                    result(row, column) += factor * right(inner, column);
                }
            }
        }
        return result;
    }
    /// Applied to a vector: other first, then the matrix before this call.
    constexpr Matrix44T& operator*=(const Matrix44T& other) noexcept { return *this = *this * other; }

    friend constexpr Vector4T<T> operator*(const Matrix44T& matrix, const Vector4T<T>& vector) noexcept {
        return {matrix.row(0).dot(vector), matrix.row(1).dot(vector), matrix.row(2).dot(vector),
                matrix.row(3).dot(vector)};
    }
    friend constexpr Matrix44T operator+(Matrix44T left, const Matrix44T& right) noexcept {
        for (std::size_t index = 0; index < 16; ++index)
            left.m[index] += right.m[index];
        return left;
    }
    friend constexpr Matrix44T operator-(Matrix44T left, const Matrix44T& right) noexcept {
        for (std::size_t index = 0; index < 16; ++index)
            left.m[index] -= right.m[index];
        return left;
    }
    friend constexpr Matrix44T operator*(Matrix44T matrix, T factor) noexcept {
        for (T& element : matrix.m)
            element *= factor;
        return matrix;
    }
    friend constexpr Matrix44T operator*(T factor, const Matrix44T& matrix) noexcept { return matrix * factor; }

    /// index must be below 4; not checked.
    [[nodiscard]] constexpr Vector4T<T> row(std::size_t index) const noexcept {
        return {m[4 * index], m[4 * index + 1], m[4 * index + 2], m[4 * index + 3]};
    }
    [[nodiscard]] constexpr Matrix44T transposed() const noexcept {
        Matrix44T result;
        for (std::size_t row = 0; row < 4; ++row) {
            for (std::size_t column = 0; column < 4; ++column)
                result(column, row) = (*this)(row, column);
        }
        return result;
    }

    /// By cofactors. A value near zero says little about how well the matrix can be inverted.
    [[nodiscard]] T determinant() const noexcept;
    [[nodiscard]] bool isFinite() const noexcept;  ///< False when an element is NaN or infinite.
    /// Stores the inverse in result, which may be this matrix. False, and result unchanged, when the determinant is
    /// zero or the inverse is not finite.
    [[nodiscard]] bool invert(Matrix44T& result) const noexcept;
};

extern template struct Matrix44T<double>;
extern template struct Matrix44T<float>;

static_assert(std::is_trivially_copyable_v<Matrix44T<double>> && alignof(Matrix44T<double>) == alignof(double));
static_assert(sizeof(Matrix44T<float>) == 16 * sizeof(float));

}  // namespace KrMath
