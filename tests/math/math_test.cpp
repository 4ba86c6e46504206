#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

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
static_assert(Quaternion{} * Quaternion{0.1, 0.2, 0.3, 0.4} == Quaternion{0.1, 0.2, 0.3, 0.4});
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
        TypeParam vector;
        vector.x = -size;
        EXPECT_TRUE(vector.normalize());
        TypeParam expected;
        expected.x = -1;
        EXPECT_EQ(vector, expected);
    }
    TypeParam diagonal;
    diagonal.x = diagonal.y = largest;
    EXPECT_NEAR(diagonal.normalized().length(), 1.0, 1e-6);

    for (const T size : {T{0}, std::numeric_limits<T>::infinity(), std::numeric_limits<T>::quiet_NaN()}) {
        TypeParam vector;
        vector.y = size;
        EXPECT_FALSE(vector.normalize());
        EXPECT_TRUE(vector.y == size || std::isnan(size)) << "a refused vector must stay as it is";
        EXPECT_EQ(vector.normalized(), TypeParam());
    }
}

struct RotationCase {
    const char* name;
    Vector3 axis;
    double angle;
    Vector3 vector;
    Vector3 turned;
};
class Rotation : public testing::TestWithParam<RotationCase> {};
TEST_P(Rotation, IsRightHandedInQuaternionAndTransform) {
    const auto& [name, axis, angle, vector, turned] = GetParam();
    const Quaternion rotation = Quaternion::fromAxisAngle(axis, angle);
    expectNear(rotation.rotate(vector), turned);
    expectNear(rotation.inverse().rotate(turned), vector);

    KrTransform transform;
    transform.setRotation(rotation);
    expectNear(transform.transformVector(vector), turned);
    expectSameRotation(transform.getRotation(), rotation);
    EXPECT_TRUE(transform.isRigid());
}
INSTANTIATE_TEST_SUITE_P(Axes, Rotation,
                         testing::Values(RotationCase{"XtoZ", {1, 0, 0}, kPi / 2, {0, 1, 0}, {0, 0, 1}},
                                         RotationCase{"ZtoX", {0, 5, 0}, kPi / 2, {0, 0, 1}, {1, 0, 0}},
                                         RotationCase{"XtoY", {0, 0, 1e-200}, kPi / 2, {1, 0, 0}, {0, 1, 0}},
                                         RotationCase{"HalfTurn", {1, 0, 0}, kPi, {0, 2, 3}, {0, -2, -3}},
                                         RotationCase{
                                             "ThirdTurnOfDiagonal", {1, 1, 1}, 2 * kPi / 3, {1, 2, 3}, {3, 1, 2}},
                                         RotationCase{"NoAxis", {0, 0, 0}, 1.0, {1, 2, 3}, {1, 2, 3}},
                                         RotationCase{"NoNumber", {1, 0, 0}, kNaN, {1, 2, 3}, {1, 2, 3}}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(QuaternionProduct, TurnsRightFirst) {
    const Quaternion aboutX = Quaternion::fromAxisAngle({1, 0, 0}, kPi / 2);
    const Quaternion aboutZ = Quaternion::fromAxisAngle({0, 0, 1}, kPi / 2);
    expectNear((aboutZ * aboutX).rotate({0, 1, 0}), {0, 0, 1});
    expectNear((aboutX * aboutZ).rotate({0, 1, 0}), {-1, 0, 0});
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
    EXPECT_EQ((Quaternion{0, 0, 0, 0}).normalized(), Quaternion());
    EXPECT_EQ((Quaternion{0, kNaN, 0, 1}).normalized(), Quaternion());
    EXPECT_EQ((Quaternion{0, 0, 0, 1e300}).normalized(), Quaternion());
}

TEST(MatrixProduct, IsRowByColumn) {
    const Matrix left{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
    const Matrix right{{1, 0, 2, 0, 0, 1, 0, 0, 3, 0, 1, 0, 0, 0, 0, 1}};
    EXPECT_EQ(left * right, (Matrix{{10, 2, 5, 4, 26, 6, 17, 8, 42, 10, 29, 12, 58, 14, 41, 16}}));
    EXPECT_EQ((left * right).transposed(), right.transposed() * left.transposed());
    EXPECT_EQ(left * Vector4(Vector4{1, 0, 0, 1}), (Vector4{5, 13, 21, 29}));
    EXPECT_EQ(left + left, 2.0 * left);
    EXPECT_EQ(left - left, Matrix::zero());
}

TEST(MatrixInverse, UndoesRandomMatricesAndMatchesTheDeterminant) {
    constexpr unsigned kSeed = 20200303;
    std::mt19937 random(kSeed);
    std::uniform_real_distribution<double> element(-10.0, 10.0);
    for (int round = 0; round < 200; ++round) {
        Matrix matrix;
        for (double& each : matrix.m)
            each = element(random);
        if (std::abs(matrix.determinant()) < 1.0) continue;
        Matrix inverse;
        ASSERT_TRUE(matrix.invert(inverse));
        SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", round " << round);
        expectNear(matrix * inverse, Matrix(), 1e-9);
        EXPECT_NEAR(matrix.determinant() * inverse.determinant(), 1.0, 1e-9);
        Matrix inPlace = matrix;
        ASSERT_TRUE(inPlace.invert(inPlace));
        EXPECT_EQ(inPlace, inverse);
    }
}

TEST(MatrixInverse, RefusesWhatHasNoneAndLeavesTheResult) {
    Matrix notFinite;
    notFinite.m[5] = kInfinity;
    const Matrix kept = 3.0 * Matrix();
    for (const Matrix& matrix : {Matrix::zero(), Matrix{{1, 2, 3, 4, 2, 4, 6, 8, 0, 0, 1, 0, 0, 0, 0, 1}}, notFinite}) {
        Matrix result = kept;
        EXPECT_FALSE(matrix.invert(result));
        EXPECT_EQ(result, kept);
    }
}

TEST(Transform, AppliesRotationThenTranslation) {
    const auto transform =
        KrTransform::fromRotationTranslation(Quaternion::fromAxisAngle({0, 0, 1}, kPi / 2), {10, 20, 30});
    expectNear(transform.transformPoint({1, 0, 0}), {10, 21, 30});
    expectNear(transform.transformVector({1, 0, 0}), {0, 1, 0});
    EXPECT_EQ(transform.m[3], 10.0);
    EXPECT_EQ(transform.m[7], 20.0);
    EXPECT_EQ(transform.m[11], 30.0);
    expectNear(transform * transform.inverseRigid(), KrTransform());

    KrTransform moved;
    moved.setTranslation({1, 0, 0});
    expectNear((transform * moved).transformPoint({}), {10, 21, 30});
    expectNear((moved * transform).transformPoint({}), {11, 20, 30});
}

TEST(Transform, GeneralInverseUndoesScaleAndShear) {
    KrTransform transform{{2, 1, 0, 5, 0, 3, 0, 6, 0, 0, 4, 7, 0, 0, 0, 1}};
    KrTransform inverse;
    ASSERT_TRUE(transform.invert(inverse));
    expectNear(transform * inverse, KrTransform());
    transform(2, 2) = 0.0;
    EXPECT_FALSE(transform.invert(inverse));
}

TEST(Transform, HalfTurnsGiveAUnitQuaternionWithPositiveScalar) {
    for (const Vector3& axis : {Vector3{1, 0, 0}, Vector3{0, 1, 0}, Vector3{0, 0, 1}, Vector3{1, -1, 0}}) {
        KrTransform transform;
        const Quaternion rotation = Quaternion::fromAxisAngle(axis, kPi);
        transform.setRotation({-rotation.x, -rotation.y, -rotation.z, -rotation.w});
        expectSameRotation(transform.getRotation(), rotation);
        EXPECT_GE(transform.getRotation().w, 0.0);
    }
}

struct ValidityCase {
    const char* name;
    std::size_t index;
    double value;
    bool isFinite, isValid, isRigid;
};
class TransformValidity : public testing::TestWithParam<ValidityCase> {};
TEST_P(TransformValidity, DependsOnOneElement) {
    KrTransform transform;
    transform.m[GetParam().index] = GetParam().value;
    EXPECT_EQ(transform.isFinite(), GetParam().isFinite);
    EXPECT_EQ(transform.isValid(), GetParam().isValid);
    EXPECT_EQ(transform.isRigid(), GetParam().isRigid);
}
INSTANTIATE_TEST_SUITE_P(Elements, TransformValidity,
                         testing::Values(ValidityCase{"Identity", 0, 1.0, true, true, true},
                                         ValidityCase{"Translation", 3, 1e9, true, true, true},
                                         ValidityCase{"TranslationNaN", 11, kNaN, false, false, false},
                                         ValidityCase{"LastRowInfinite", 15, kInfinity, false, false, false},
                                         ValidityCase{"Projective", 12, 0.5, true, false, false},
                                         ValidityCase{"Flat", 5, 0.0, true, false, false},
                                         ValidityCase{"Mirror", 10, -1.0, true, true, false},
                                         ValidityCase{"Scale", 0, 2.0, true, true, false},
                                         ValidityCase{"Rounding", 1, 1e-11, true, true, true}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(TransformOrthonormalize, DropsScaleAndDriftAndKeepsRotationAndPlace) {
    const Quaternion rotation = Quaternion::fromAxisAngle({1, 2, 3}, 0.7);
    const auto rigid = KrTransform::fromRotationTranslation(rotation, {1, 2, 3});
    for (const double scale : {1e-150, 1.0, 1e150}) {
        KrTransform transform = rigid;
        for (const std::size_t index : {0U, 1U, 2U, 4U, 5U, 6U, 8U, 9U, 10U})
            transform.m[index] *= scale;
        expectSameRotation(transform.getRotation(), rotation);
        ASSERT_TRUE(transform.orthonormalize());
        expectNear(transform, rigid);
    }
    KrTransform drifted = rigid;
    drifted.m[1] += 1e-4;
    ASSERT_TRUE(drifted.orthonormalize());
    EXPECT_TRUE(drifted.isRigid(1e-14));
    expectNear(drifted, rigid, 1e-4);
}

TEST(TransformOrthonormalize, RefusesWhatHasNoClosestRotation) {
    KrTransform flat;
    flat.m[0] = 0.0;
    KrTransform mirror;
    mirror.m[0] = -1.0;
    KrTransform notFinite;
    notFinite.m[3] = kInfinity;
    for (const KrTransform& transform : {flat, mirror, notFinite, KrTransform{{}}}) {
        KrTransform changed = transform;
        EXPECT_FALSE(changed.orthonormalize());
        EXPECT_EQ(changed, transform);
    }
    EXPECT_EQ(mirror.getRotation(), Quaternion());
}

TEST(EigenViews, ReadAndWriteInPlaceInOurOrder) {
    Matrix matrix;
    KrMath::toEigen(matrix)(1, 3) = 7.0;
    EXPECT_EQ(matrix(1, 3), 7.0);
    KrTransform transform;
    KrMath::toEigen(transform).topRightCorner<3, 1>() = Eigen::Vector3d(1, 2, 3);
    EXPECT_EQ(transform.getTranslation(), (Vector3{1, 2, 3}));
    const Quaternion quaternion{0.1, 0.2, 0.3, 0.4};
    EXPECT_EQ(KrMath::toEigen(quaternion).w(), 0.4);
    Vector4 vector;
    KrMath::toEigen(vector) << 1, 2, 3, 4;
    EXPECT_EQ(vector, (Vector4{1, 2, 3, 4}));
}

}  // namespace math_test
