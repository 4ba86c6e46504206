#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "kr/math/constants.h"
#include "kr/math/eigen.h"
#include "kr/math/matrix44.h"
#include "kr/math/quaternion.h"
#include "kr/math/transform.h"
#include "kr/math/vector2.h"
#include "kr/math/vector3.h"
#include "kr/math/vector4.h"

namespace math_test {

using Kr::KrTransform;
using KrMath::kPi;
using Matrix = KrMath::Matrix44T<double>;
using Quaternion = KrMath::QuaternionT<double>;
using Vector2 = KrMath::Vector2T<double>;
using Vector3 = KrMath::Vector3T<double>;
using Vector4 = KrMath::Vector4T<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kTolerance = 1e-12;

static_assert(Vector3{1, 0, 0}.cross({0, 1, 0}) == Vector3{0, 0, 1});
static_assert(Vector2{1, 0}.cross({0, 1}) == 1.0);
static_assert(Vector3{1, 2, 3} * 2.0 - Vector3{1, 1, 1} == Vector3{1, 3, 5});
static_assert(Vector3{0, 4, 8}.lerp({4, 4, 0}, 0.25) == Vector3{1, 4, 6});
static_assert(Quaternion{1, 2, 3, 4} * Quaternion{5, 6, 7, 8} == Quaternion{24, 48, 48, -6});
static_assert(Matrix{} * Vector4{1, 2, 3, 4} == Vector4{1, 2, 3, 4});
static_assert(KrTransform{}.transformPoint({1, 2, 3}) == Vector3{1, 2, 3});

void expectNear(const Vector3& actual, const Vector3& expected, double tolerance = kTolerance) {
    EXPECT_LE(actual.distanceTo(expected), tolerance) << actual.x << ' ' << actual.y << ' ' << actual.z << " is not "
                                                      << expected.x << ' ' << expected.y << ' ' << expected.z;
}

void expectSameRotation(const Quaternion& actual, const Quaternion& expected) {
    EXPECT_NEAR(std::abs(actual.dot(expected)), 1.0, kTolerance);
}

template <class Values>
void expectNear(const Values& actual, const Values& expected, double tolerance = kTolerance) {
    for (std::size_t index = 0; index < 16; ++index)
        EXPECT_NEAR(actual.m[index], expected.m[index], tolerance) << index;
}

template <class Vector>
class Vectors : public testing::Test {};
using VectorTypes = testing::Types<Vector2, Vector3, Vector4, KrMath::Vector3T<float>>;
TYPED_TEST_SUITE(Vectors, VectorTypes);

TYPED_TEST(Vectors, NormalizeAtAnyMagnitudeAndRefuseWithoutDirection) {
    using T = decltype(TypeParam::x);
    const T largest = std::numeric_limits<T>::max() / T{2};
    const T smallest = std::numeric_limits<T>::denorm_min();
    for (const T size : {T{1}, largest, smallest}) {
        TypeParam vector{-size};
        EXPECT_TRUE(vector.normalize());
        EXPECT_EQ(vector, TypeParam{-1});
    }
    EXPECT_NEAR((TypeParam{largest, largest}.normalized().length()), 1.0, 1e-6);

    for (const T size : {T{0}, std::numeric_limits<T>::infinity(), std::numeric_limits<T>::quiet_NaN()}) {
        TypeParam vector{T{0}, size};
        EXPECT_FALSE(vector.normalize());
        EXPECT_TRUE(vector.y == size || std::isnan(size)) << "a refused vector must stay as it is";
        EXPECT_EQ(vector.normalized(), TypeParam());
    }
}

TEST(Rotation, IsRightHandedInQuaternionAndTransform) {
    struct Case {
        Vector3 axis;
        double angle;
        Vector3 vector, turned;
    };
    for (const auto& [axis, angle, vector, turned] : {
             Case{{1, 0, 0}, kPi / 2, {0, 1, 0}, {0, 0, 1}}, Case{{0, 5, 0}, kPi / 2, {0, 0, 1}, {1, 0, 0}},
             Case{{0, 0, 1e-200}, kPi / 2, {1, 0, 0}, {0, 1, 0}}, Case{{1, 1, 1}, 2 * kPi / 3, {1, 2, 3}, {3, 1, 2}},
             Case{{1, -1, 0}, kPi, {1, 1, 0}, {-1, -1, 0}},
             Case{{0, 0, 1}, 1.25 * kPi, {1, 1, 0}, {0, -std::sqrt(2.0), 0}},
             Case{{0, 0, 0}, 1.0, {1, 2, 3}, {1, 2, 3}},   // no axis
             Case{{1, 0, 0}, kNaN, {1, 2, 3}, {1, 2, 3}},  // no angle
         }) {
        const Quaternion rotation = Quaternion::fromAxisAngle(axis, angle);
        expectNear(rotation.rotate(vector), turned);
        expectNear(rotation.inverse().rotate(turned), vector);
        const auto transform = KrTransform::fromRotationTranslation(rotation, {});
        expectNear(transform.transformVector(vector), turned);
        expectSameRotation(transform.getRotation(), rotation);
        EXPECT_GE(transform.getRotation().w, 0.0);
        EXPECT_TRUE(transform.isRigid());
    }
}

TEST(QuaternionSlerp, KeepsSpeedAndTakesTheShorterArc) {
    const Quaternion start;
    const Quaternion end = Quaternion::fromAxisAngle({0, 0, 1}, 1.2);
    const Quaternion sameEnd{-end.x, -end.y, -end.z, -end.w};
    for (const double part : {0.0, 0.25, 0.5, 1.0}) {
        expectSameRotation(start.slerp(end, part), Quaternion::fromAxisAngle({0, 0, 1}, 1.2 * part));
        expectSameRotation(start.slerp(sameEnd, part), Quaternion::fromAxisAngle({0, 0, 1}, 1.2 * part));
    }
    expectSameRotation(end.slerp(end, 0.5), end);
    EXPECT_NEAR(start.angleTo(sameEnd), 1.2, kTolerance);
}

TEST(QuaternionNormalize, FallsBackToTheIdentity) {
    for (const Quaternion& quaternion : {Quaternion{0, 0, 0, 0}, Quaternion{0, kNaN, 0, 1}, Quaternion{0, 0, 0, 1e300}})
        EXPECT_EQ(quaternion.normalized(), Quaternion());
}

TEST(MatrixProduct, IsRowByColumn) {
    const Matrix left{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
    const Matrix right{{1, 0, 2, 0, 0, 1, 0, 0, 3, 0, 1, 0, 0, 0, 0, 1}};
    EXPECT_EQ(left * right, (Matrix{{10, 2, 5, 4, 26, 6, 17, 8, 42, 10, 29, 12, 58, 14, 41, 16}}));
    EXPECT_EQ((left * right).transposed(), right.transposed() * left.transposed());
    EXPECT_EQ(left * Vector4(Vector4{1, 0, 0, 1}), (Vector4{5, 13, 21, 29}));
}

TEST(MatrixInverse, UndoesRandomMatricesInPlaceToo) {
    constexpr unsigned kSeed = 20200303;
    std::mt19937 random(kSeed);
    std::uniform_real_distribution<double> element(-10.0, 10.0);
    for (int round = 0; round < 200; ++round) {
        Matrix matrix;
        for (double& each : matrix.m)
            each = element(random);
        if (std::abs(matrix.determinant()) < 1.0) continue;
        Matrix inverse = matrix;
        SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", round " << round);
        ASSERT_TRUE(inverse.invert(inverse));
        expectNear(matrix * inverse, Matrix(), 1e-9);
    }
}

TEST(MatrixInverse, RefusesWhatHasNoneAndLeavesTheResult) {
    Matrix notFinite;
    notFinite.m[5] = kInfinity;
    const Matrix parallelRows{{1, 2, 3, 4, 2, 4, 6, 8, 0, 0, 1, 0, 0, 0, 0, 1}};
    for (const Matrix& matrix : {Matrix::zero(), parallelRows, notFinite}) {
        Matrix result = 3.0 * Matrix();
        EXPECT_FALSE(matrix.invert(result));
        EXPECT_EQ(result, 3.0 * Matrix());
        KrTransform transform;
        EXPECT_FALSE(KrTransform::fromMatrix(matrix).invert(transform));
        EXPECT_EQ(transform, KrTransform());
    }
}

TEST(Transform, AppliesRotationThenTranslation) {
    const auto aboutZ = Quaternion::fromAxisAngle({0, 0, 1}, kPi / 2);
    const auto transform = KrTransform::fromRotationTranslation(aboutZ, {10, 20, 30});
    EXPECT_EQ(transform.m[3], 10.0);
    expectNear(transform.transformPoint({1, 0, 0}), {10, 21, 30});
    expectNear(transform.transformVector({1, 0, 0}), {0, 1, 0});
    expectNear(transform * transform.inverseRigid(), KrTransform());

    KrTransform moved;
    moved.setTranslation({1, 0, 0});
    expectNear((transform * moved).transformPoint({}), {10, 21, 30});
    expectNear((moved * transform).transformPoint({}), {11, 20, 30});
}

TEST(Transform, ValidityDependsOnEachElement) {
    struct Case {
        std::size_t index;
        double value;
        bool isFinite, isValid, isRigid;
    };
    for (const Case& each : {
             Case{11, kNaN, false, false, false}, Case{15, 2.0, true, false, false}, Case{12, 0.5, true, false, false},
             Case{5, 0.0, true, false, false},                                   // flat
             Case{10, -1.0, true, true, false},                                  // a mirror
             Case{0, 2.0, true, true, false}, Case{1, 1e-11, true, true, true},  // rounding
         }) {
        KrTransform transform;
        transform.m[each.index] = each.value;
        EXPECT_EQ(transform.isFinite(), each.isFinite) << each.index;
        EXPECT_EQ(transform.isValid(), each.isValid) << each.index;
        EXPECT_EQ(transform.isRigid(), each.isRigid) << each.index;
    }
}

TEST(TransformOrthonormalize, DropsScaleAndDriftAndKeepsRotationAndPlace) {
    const Quaternion rotation = Quaternion::fromAxisAngle({1, 2, 3}, 0.7);
    const auto rigid = KrTransform::fromRotationTranslation(rotation, {1, 2, 3});
    for (const double scale : {1e-150, 1e150}) {
        KrTransform transform = rigid;
        KrMath::toEigen(transform).topLeftCorner<3, 3>() *= scale;
        expectSameRotation(transform.getRotation(), rotation);
        ASSERT_TRUE(transform.orthonormalize());
        expectNear(transform, rigid);
    }
    KrTransform drifted = rigid;
    drifted.m[1] += 1e-4;
    drifted.m[12] = 0.1;
    ASSERT_TRUE(drifted.orthonormalize());
    EXPECT_TRUE(drifted.isRigid(1e-14));
    expectNear(drifted, rigid, 1e-4);
}

TEST(TransformOrthonormalize, RefusesWhatHasNoClosestRotation) {
    for (const auto& [index, value] : {std::pair(0U, 0.0), std::pair(0U, -1.0), std::pair(3U, kInfinity)}) {
        KrTransform transform;
        transform.m[index] = value;
        const KrTransform before = transform;
        EXPECT_FALSE(transform.orthonormalize()) << value;
        EXPECT_EQ(transform, before);
        EXPECT_EQ(transform.getRotation(), Quaternion());
    }
    EXPECT_FALSE(KrTransform{{}}.orthonormalize());
}

}  // namespace math_test
