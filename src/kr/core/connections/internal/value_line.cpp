#include "kr/core/connections/internal/value_line.h"

#include <cmath>

#include "kr/data/field.h"
#include "kr/math/vector2.h"
#include "kr/math/vector3.h"
#include "kr/math/vector4.h"

namespace Kr::detail {

using KrData::Field;
using KrData::FieldBase;

namespace {

double between(double begin, double end, double fraction) {
    return std::lerp(begin, end, fraction);
}
float between(float begin, float end, double fraction) {
    return std::lerp(begin, end, static_cast<float>(fraction));
}
template <class T>
KrMath::Vector2T<T> between(const KrMath::Vector2T<T>& begin, const KrMath::Vector2T<T>& end, double fraction) {
    return {between(begin.x, end.x, fraction), between(begin.y, end.y, fraction)};
}
template <class T>
KrMath::Vector3T<T> between(const KrMath::Vector3T<T>& begin, const KrMath::Vector3T<T>& end, double fraction) {
    return {between(begin.x, end.x, fraction), between(begin.y, end.y, fraction), between(begin.z, end.z, fraction)};
}
template <class T>
KrMath::Vector4T<T> between(const KrMath::Vector4T<T>& begin, const KrMath::Vector4T<T>& end, double fraction) {
    return {between(begin.x, end.x, fraction), between(begin.y, end.y, fraction), between(begin.z, end.z, fraction),
            between(begin.w, end.w, fraction)};
}

template <class T>
class LineOf final : public ValueLine {
public:
    bool begin(const FieldBase& field, const FieldBase& end) override {
        const auto* typed = field.as<T>();
        if (typed == nullptr || !_point.copyValue(end)) return false;
        _begin = typed->getValue();
        _end = _point.getValue();
        return true;
    }
    const FieldBase& at(double fraction) override {
        _point.setValue(fraction < 1.0 ? between(_begin, _end, fraction) : _end);
        return _point;
    }

private:
    Field<T> _point{"Point"};  // converts, and holds the last answer
    T _begin{};
    T _end{};
};

template <class... T>
std::unique_ptr<ValueLine> makeOfOne(const FieldBase& field) {
    std::unique_ptr<ValueLine> made;
    static_cast<void>(((field.as<T>() != nullptr && (made = std::make_unique<LineOf<T>>())) || ...));
    return made;
}

}  // namespace

ValueLine::ValueLine() = default;

ValueLine::~ValueLine() = default;

std::unique_ptr<ValueLine> ValueLine::make(const FieldBase& field) {
    return makeOfOne<double, float, KrMath::Vector2T<double>, KrMath::Vector3T<double>, KrMath::Vector4T<double>,
                     KrMath::Vector3T<float>>(field);
}

}  // namespace Kr::detail
