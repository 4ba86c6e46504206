#include "kr/data/value_conversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/data/field_array.h"
#include "kr/data/vector.h"
#include "kr/data/vector_item.h"
#include "tests/support/case_name.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace value_conversion_test {

using namespace test_support;
using KrData::ApplyTransferFunction;
using KrData::CanApplyTransferFunction;
using KrData::CanConvert;
using KrData::FieldArray;
using KrData::TransferValueConverter;
using testing::ElementsAre;
using Dimension = Kr::KrPhysicalDimension::ePhysicalDimension;
using FileName = Kr::KrString<512>;
using Vector2 = KrMath::Vector2T<double>;
using Vector3 = KrMath::Vector3T<double>;
using Vector4 = KrMath::Vector4T<double>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const std::string kRefused = "refused";

using Made = std::unique_ptr<FieldBase>;
using Maker = std::function<Made()>;

template <class T>
Maker value(const T& value) {
    return [value] { return std::make_unique<Field<T>>("Source", nullptr, value); };
}

template <class T>
Maker array(const std::vector<T>& values) {
    return [values] {
        auto made = std::make_unique<FieldArray<Field<T>>>("Array");
        for (const auto& each : values)
            made->append()->setValue(each);
        return made;
    };
}

/// The value as text; the items of an array with commas.
std::string textOf(const FieldBase& field) {
    if (!field.isFieldArray()) return field.toString();
    std::string text;
    for (const auto* item : field.getChildren())
        text += item->toString() + ",";
    return text;
}

struct Case {
    const char* name;
    Maker source;
    Maker sink;
    std::string expected;  // as text
};

class ValueConversion : public testing::TestWithParam<Case> {};

TEST_P(ValueConversion, SetsTheSinkOrLeavesItAlone) {
    const auto& [name, makeSource, makeSink, expected] = GetParam();
    const auto source = makeSource();
    const auto sink = makeSink();
    const auto before = textOf(*sink);
    EXPECT_EQ(sink->copyValue(*source), expected != kRefused);
    EXPECT_EQ(textOf(*sink), expected == kRefused ? before : expected);
}

const Maker kInteger = value(7), kUnsigned = value(7U), kShort = value<short>(7), kUShort = value<unsigned short>(7);
const Maker kDouble = value(7.0), kFloat = value(7.0F), kFalse = value(false), kTrue = value(true);
const Maker kText = value(std::string("seven")), kFile = value(FileName("seven"));
const Maker kForce = value(Kr::KrEnum(Dimension::kForce)), kUntyped = value(Kr::KrEnum());

Maker text(const char* text) {
    return value(std::string(text));
}

const Case kNumbers[] = {
    {"HalfDownToEven", value(2.5), kInteger, "2"},
    {"HalfUpToEven", value(-3.5), kInteger, "-4"},
    {"SaturatesAbove", value(1e300), kInteger, "2147483647"},
    {"SaturatesBelow", value(-kInfinity), kInteger, "-2147483648"},
    {"IntegerToShort", value(40000), kShort, "32767"},
    {"IntegerToUnsignedShort", value(-40000), kUShort, "0"},
    {"UnsignedToInteger", value(4000000000U), kInteger, "2147483647"},
    {"NanToInteger", value(kNan), kInteger, "0"},
    {"NanToBoolean", value(kNan), kTrue, "false"},
    {"TooLargeForFloat", value(-1e300), kFloat, "-3.4028235e+38"},
    {"WithinEpsilon", value(1e-12), kTrue, "false"},
    {"BeyondEpsilon", value(-1.1e-12), kFalse, "true"},
    {"FloatToBoolean", value(0.25F), kFalse, "true"},
    {"EnumerationToNumber", kForce, kDouble, std::to_string(static_cast<int>(Dimension::kForce))},
    {"NumberToEnumeration", value(0.4), kForce, Kr::KrEnum(Dimension{}).toString()},
    {"NumberThatTheEnumerationLacks", value(100000), kForce, kRefused},
    {"NumberToUntypedEnumeration", kInteger, kUntyped, kRefused},
};
INSTANTIATE_TEST_SUITE_P(Numbers, ValueConversion, testing::ValuesIn(kNumbers), caseName);

const Case kTexts[] = {
    {"Exponent", text("+1.5e3"), kUShort, "1500"},
    {"ShortestFloat", text("0.1"), kFloat, "0.1"},
    {"TooLargeForDouble", text("-1e999"), kDouble, "-1.7976931348623157e+308"},
    {"TooLargeForDoubleWithLongMantissa", text("0.001e99999999999999999999"), kInteger, "2147483647"},
    {"TooSmallInManyDigits", text("0.00001e-320"), kDouble, "0"},
    {"NanToInteger", text("nan"), kInteger, kRefused},
    {"Empty", text(""), kInteger, kRefused},
    {"TwoSigns", text("+-1"), kDouble, kRefused},
    {"NumberAndMore", text("1.5 m"), kDouble, kRefused},
    {"Hexadecimal", text("0x10"), kInteger, kRefused},
    {"ZeroByteBehind", value(std::string("1\0", 2)), kInteger, kRefused},
    {"TrueText", text("true"), kFalse, "true"},
    {"NumberToBoolean", text("0.0"), kTrue, "false"},
    {"FileNameToNumber", value(FileName("12")), kShort, "12"},
    {"TextToFileName", text("other"), kFile, "other"},
    {"DisplayText", value(Kr::KrEnum(Dimension::kForce).toString()), value(Kr::KrEnum(Dimension{})),
     Kr::KrEnum(Dimension::kForce).toString()},
    {"UnknownDisplayText", text("gear"), kForce, kRefused},
    {"BooleanToText", kTrue, kText, "true"},
    {"UnsignedToFileName", value(4294967295U), kFile, "4294967295"},
    {"EnumerationToText", kForce, kText, Kr::KrEnum(Dimension::kForce).toString()},
    {"NamelessEnumerationToText", value(Kr::KrEnum(typeid(Dimension), 100000)), kText, "100000"},
};
INSTANTIATE_TEST_SUITE_P(Texts, ValueConversion, testing::ValuesIn(kTexts), caseName);

const Case kStructures[] = {
    {"Vector3ToFloats", value(Vector3{1.5, -1e300, kNan}), value(KrMath::Vector3T<float>{}), "1.5 -3.4028235e+38 nan"},
    {"Vector3FromFloats", value(KrMath::Vector3T<float>{0.5F, 2, 3}), value(Vector3{}), "0.5 2 3"},
    {"ArrayToVector2", array<int>({-1, 2}), value(Vector2{}), "-1 2"},
    {"ArrayToVector3", array<double>({1.5, 2, 3}), value(Vector3{}), "1.5 2 3"},
    {"ArrayToVector4", array<unsigned int>({1, 2, 3, 4294967295U}), value(Vector4{}), "1 2 3 4294967295"},
    {"ArrayToTransform", array<int>({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}), value(Kr::KrTransform{}),
     "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15"},
    {"ArrayTooShort", array<double>({1, 2}), value(Vector3{}), kRefused},
    {"ArrayTooLong", array<double>({1, 2, 3, 4}), value(Vector3{}), kRefused},
    {"ArrayOfFloats", array<float>({1, 2, 3}), value(Vector3{}), kRefused},
    {"ArrayToFloatVector", array<double>({1, 2, 3}), value(KrMath::Vector3T<float>{}), kRefused},
    {"VectorToArray", value(Vector3{0.5, 1.5, -7}), array<int>({9, 9, 9}), "0,2,-7,"},
    {"ArrayOfTexts", array<std::string>({"1", "2"}), array<double>({}), "1,2,"},
    {"ArrayWithATextThatIsNoNumber", array<std::string>({"1", "x"}), array<double>({7}), kRefused},
    {"ColorToVector4", value(Kr::KrColor()), value(Vector4{}), kRefused},
};
INSTANTIATE_TEST_SUITE_P(Structures, ValueConversion, testing::ValuesIn(kStructures), caseName);

TEST(ValueConversions, AreOfferedAsFarAsTheTypesTell) {
    EXPECT_TRUE(kForce()->canConvertTo(Types::kFilename));
    EXPECT_TRUE(text("x")()->canConvertTo(Types::kBoolean));
    const auto ints = array<int>({})();
    EXPECT_TRUE(CanConvert(*ints, Types::kTransform));
    EXPECT_TRUE(CanConvert(*value(Vector2{})(), *ints));
    EXPECT_FALSE(kInteger()->canConvertTo(*kUntyped()));
    EXPECT_FALSE(kInteger()->canConvertTo(Types::kVector2));
    EXPECT_FALSE(CanConvert(*kInteger(), Types::kInvalid));
    EXPECT_FALSE(CanConvert(FieldBase::getInvalidField(), *kInteger()));
    KrData::Vector<double> items("Items", nullptr, {1.0});
    const KrData::VectorItem<double> item(items, 0);
    EXPECT_FALSE(CanConvert(item, Types::kVectorItem));
    EXPECT_FALSE(CanConvert(item, *kDouble()));
    EXPECT_TRUE(CanConvert(items, KrData::Vector<double>("Same")));
    EXPECT_FALSE(CanConvert(items, KrData::Vector<float>("Other")));
}

TEST(ValueConversions, SurviveAnObserverThatDestroysTheArray) {
    auto sink = std::make_unique<FieldArray<Field<double>>>("Sink");
    sink->resize(3);
    const auto connection = sink->item(0)->addObserver([&](const FieldBase&) { sink.reset(); });
    EXPECT_FALSE(TransferValueConverter(*value(Vector3{1, 2, 3})(), *sink));
    EXPECT_EQ(sink, nullptr);
}

TEST(TransferFunctions, WorkOnEachComponentBetweenTypes) {
    const auto half = [](double x) { return x / 2.0; };
    const auto apply = [&](const Maker& source, const Maker& sink) {
        const auto from = source(), result = sink();
        const bool can = CanApplyTransferFunction(*from, *result);
        EXPECT_EQ(ApplyTransferFunction(*from, *result, half), can);
        return can ? result->toString() : kRefused;
    };
    EXPECT_EQ(apply(value(3), kDouble), "1.5");
    EXPECT_EQ(apply(value(5.0), kShort), "2");
    EXPECT_EQ(apply(kTrue, kFloat), "0.5");
    EXPECT_EQ(apply(value(KrMath::Vector3T<float>{1, 2, 3}), value(Vector3{})), "0.5 1 1.5");
    EXPECT_EQ(apply(value(Vector4{1, 2, 3, 4}), value(Vector4{})), "0.5 1 1.5 2");
    EXPECT_EQ(apply(value(Vector2{1, 2}), value(Vector3{})), kRefused);
    EXPECT_EQ(apply(value(Kr::KrTransform{}), value(Kr::KrTransform{})), kRefused);
    EXPECT_EQ(apply(text("1"), kDouble), kRefused);
    EXPECT_FALSE(CanApplyTransferFunction(FieldBase::getInvalidField(), *kDouble()));
}

TEST(TransferFunctions, MayThrowAnswerNanOrDestroyTheFields) {
    const LogCapture log;
    Field<int> sink("Sink", nullptr, 7);
    EXPECT_FALSE(ApplyTransferFunction(*kDouble(), sink, {}));
    EXPECT_FALSE(ApplyTransferFunction(*kDouble(), sink, [](double) -> double { throw std::runtime_error("jam"); }));
    EXPECT_FALSE(ApplyTransferFunction(*kDouble(), sink, [](double) -> double { throw 1; }));
    EXPECT_EQ(sink.getValue(), 7);
    EXPECT_TRUE(ApplyTransferFunction(*kDouble(), sink, [](double) { return kNan; }));
    EXPECT_EQ(sink.getValue(), 0);
    auto dying = kDouble();
    EXPECT_FALSE(ApplyTransferFunction(sink, *dying, [&](double x) {
        dying.reset();
        return x;
    }));
    EXPECT_THAT(log.lines(), ElementsAre("3 ApplyTransferFunction: fatal error in 'Sink' transfer function [jam]\n",
                                         "3 ApplyTransferFunction: unhandled exception in 'Sink' transfer function\n"));
}

}  // namespace value_conversion_test
