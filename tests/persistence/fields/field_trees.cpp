#include "tests/persistence/fields/field_trees.h"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "kr/core/physical_dimension.h"
#include "kr/data/extension_field.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_internal.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/data/vector.h"

namespace field_trees {

using KrData::Container;
using KrData::Field;
using KrData::FieldBase;
using KrData::Types;
using KrData::detail::FieldAccess;
using KrData::detail::ProxyAccess;

namespace {

using Hint = Kr::KrPhysicalDimension::eDimensionHint;

constexpr Types::DataTypeEnum kValueTypes[] = {
    Types::kInteger,         Types::kBoolean,      Types::kDouble,   Types::kVector3,   Types::kColor,
    Types::kString,          Types::kTransform,    Types::kShort,    Types::kVector2,   Types::kVector4,
    Types::kUnsignedInteger, Types::kEnumeration,  Types::kFilename, Types::kExtension, Types::kQuaternion,
    Types::kUnsignedShort,   Types::kMaterial,     Types::kMatrix44, Types::kFloat,     Types::kVector3Float,
    Types::kQuaternionFloat, Types::kMatrix44Float};

/// An item of an array with a child that it declares.
class Wheel final : public Container {
public:
    explicit Wheel(const Kr::KrID& id) : Container(id), radius("Radius", this) {}
    ~Wheel() override { _detachFromEverything(); }
    Field<double> radius;
};

}  // namespace

double Random::number() {
    using Limits = std::numeric_limits<double>;
    constexpr double kSpecial[] = {0.0, -0.0, 1.0, 0.1, Limits::infinity(), Limits::denorm_min(), Limits::max()};
    if (oneIn(3)) return kSpecial[below(std::size(kSpecial))];
    const double plain = static_cast<double>(_engine()) - 2e9;
    return oneIn(20) ? std::numeric_limits<double>::quiet_NaN() : plain / 7;
}

std::string Random::text() {
    std::string text(below(oneIn(8) ? 700 : 9), ' ');
    const bool isPlain = !oneIn(3);
    for (auto& each : text)
        each = static_cast<char>(isPlain ? 'a' + below(26) : below(256));
    return text;
}

template <class T>
T Random::value() {
    if constexpr (std::is_pointer_v<T>) {
        return nullptr;
    } else if constexpr (std::is_integral_v<T>) {
        return static_cast<T>(std::is_same_v<T, bool> ? below(2) : _engine());
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(std::is_same_v<T, float> ? std::fmod(number(), 1e30) : number());
    } else if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, Kr::KrString<512>>) {
        return T(text());
    } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        if (oneIn(3)) return Kr::KrEnum();
        return oneIn(2) ? Kr::KrEnum(Hint::kMetre) : Kr::KrEnum::_fromStored("Gone::eGear", 7, text());
    } else {
        constexpr bool isFloat = std::is_same_v<T, Kr::KrColor> || std::is_same_v<T, KrMath::Vector3T<float>> ||
                                 std::is_same_v<T, KrMath::QuaternionT<float>> ||
                                 std::is_same_v<T, KrMath::Matrix44T<float>>;
        using Number = std::conditional_t<isFloat, float, double>;
        std::array<Number, sizeof(T) / sizeof(Number)> numbers{};
        for (auto& each : numbers)
            each = value<Number>();
        T made{};
        std::memcpy(static_cast<void*>(&made), numbers.data(), sizeof(made));
        return made;
    }
}

std::unique_ptr<Container> TreeMaker::make() {
    auto root = std::make_unique<Container>(_id());
    _fill(*root, 0);
    _decorate(*root, 0);
    return root;
}

void TreeMaker::change(Container& container) {
    _hasUniqueIDs = true;
    for (auto* field : container) {
        const bool isDynamic = field->isDynamic();
        _decorate(*field, 0);
        field->_setDynamic(isDynamic);
        KrData::withValueType(field->getDataType(), [&]<class T>(std::type_identity<T>) {
            auto& typed = *field->as<T>();
            if constexpr (KrData::ValueTraits<T>::kHasRange) typed.setRange(_random.value<T>(), _random.value<T>());
            if constexpr (!std::is_pointer_v<T>) FieldAccess::initializeValue(typed, _random.value<T>());
        });
    }
    _fill(container, 0);
}

void TreeMaker::_fill(Container& container, int depth) {
    for (auto count = _random.below(7); count > 0; --count) {
        auto* field = _makeField(depth);
        _decorate(*field, depth);
        if (_random.oneIn(4)) FieldAccess::setInternalIdentifier(*field, _random.below(40));
        container._addField(field);
    }
}

FieldBase* TreeMaker::_makeField(int depth) {
    const auto id = _id();
    const auto kind = _random.below(12);
    if (kind == 0) return _makeVector(id);
    if (kind == 1) return _makeProxy(id);
    if (kind == 2) return _refer(*new KrData::ExtensionField(id, _id()));
    if (depth < 5 && kind == 3) return _makeArray(id, depth);
    if (depth < 5 && kind < 6) {
        auto* container = new Container(id, nullptr, static_cast<Types::FieldTypeEnum>(_random.below(5)));
        _fill(*container, depth + 1);
        return container;
    }
    FieldBase* made = nullptr;
    KrData::withValueType(kValueTypes[_random.below(std::size(kValueTypes))], [&]<class T>(std::type_identity<T>) {
        auto* field = new Field<T>(id, nullptr, _random.value<T>());
        if constexpr (std::is_same_v<T, KrSim::KrExtension*>) _refer(*field);
        if constexpr (KrData::ValueTraits<T>::kHasRange) {
            if (_random.oneIn(2)) field->setRange(_random.value<T>(), _random.value<T>());
            if (_random.oneIn(4)) field->clearRange();
        }
        made = field;
    });
    return made;
}

FieldBase* TreeMaker::_makeVector(const Kr::KrID& id) {
    FieldBase* made = nullptr;
    KrData::withValueType(kValueTypes[_random.below(std::size(kValueTypes))], [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_same_v<T, KrGraphics::Material*>) {
            made = new KrData::Vector<T>(id);
        } else {
            auto* vector = new KrData::Vector<T>(id);
            for (auto count = _random.below(5); count > 0; --count) {
                vector->append(_random.value<T>());
                if constexpr (std::is_same_v<T, KrSim::KrExtension*>) vector->append(_extension());
            }
            if constexpr (std::is_same_v<T, KrSim::KrExtension*>) _setUniqueID(*vector);
            vector->enableIncrementalDataTransfer(_random.oneIn(2));
            made = vector;
        }
    });
    return made;
}

FieldBase* TreeMaker::_makeArray(const Kr::KrID& id, int depth) {
    const auto fill = [&](auto* array) {
        for (auto count = _random.below(4); count > 0; --count)
            _decorate(*array->append(), depth);
        if (array->size() > 1 && _random.oneIn(2)) array->remove(0);
        if (_random.oneIn(2)) array->setSizeRange(_random.below(2), 2 + _random.below(3));
        if (_random.oneIn(4)) array->clearSizeRange();
        return array;
    };
    if (_random.oneIn(2)) return fill(new KrData::FieldArray<Wheel>(id));
    return fill(new KrData::FieldArray<Field<double>>(id, nullptr, Types::kInput));
}

FieldBase* TreeMaker::_makeProxy(const Kr::KrID& id) {
    auto* proxy = new KrData::Proxy(id, _random.oneIn(2) ? Types::kDouble : Types::kUnknown);
    for (auto count = _random.below(3); count > 0; --count) {
        ProxyAccess::addStoredLink(
            *proxy, _random.oneIn(2) ? KrSim::KrContentReference() : KrSim::KrContentReference(_contentID()),
            "Inputs." + _random.text());
    }
    return proxy;
}

FieldBase* TreeMaker::_refer(Field<KrSim::KrExtension*>& field) {
    field.setValue(_extension());
    _setUniqueID(field);
    return &field;
}

/// References are found again by their path, so two must not have the same.
void TreeMaker::_setUniqueID(FieldBase& field) {
    field._setDynamic(true);
    field.setID("Reference" + std::to_string(++_references));
}

void TreeMaker::_decorate(FieldBase& field, int depth) {
    if (_random.oneIn(3)) field.setDescription(_random.text());
    if (_random.oneIn(3)) field.setPhysicalDimension(Kr::KrPhysicalDimension::ePhysicalDimension::kForce);
    if (_random.oneIn(4)) field.setVisible(false);
    if (_random.oneIn(4)) field.setPhysicalDimensionHint(Hint::kMetre);
    if (_random.oneIn(4)) FieldAccess::setForcingObservers(field, true);
    field._setDynamic(_hasUniqueIDs || _random.oneIn(2));
    if (depth < 3 && _random.oneIn(8)) {
        if (auto* hidden = field.getInternal().addField(_id(), Types::kContainer)) {
            _fill(static_cast<Container&>(*hidden), 4);
        }
    }
}

Kr::KrID TreeMaker::_id() {
    static const std::string kNames[] = {"", "Listening Port", "a.b", "Value", std::string("x\0y", 3), "\xff\n<&\"",
                                         "é"};
    if (_hasUniqueIDs) return Kr::KrID("Field." + std::to_string(++_references));
    if (_random.oneIn(2)) return Kr::KrID(kNames[_random.below(std::size(kNames))]);
    return Kr::KrID("Field" + std::to_string(_random.below(50)));
}

KrSim::KrContentID TreeMaker::_contentID(int depth) {
    auto id = KrSim::KrContentID::createFromWords(_random.below(1000), _random.below(1000));
    if (_random.oneIn(3)) id.setFile(_random.text());
    if (depth < 4 && _random.oneIn(3)) return KrSim::KrContentID::createFromParentInstance(_contentID(depth + 1), id);
    return id;
}

KrSim::KrExtension* TreeMaker::_extension() {
    if (_random.oneIn(3)) return nullptr;
    return _extensions.add(_contentID());
}

}  // namespace field_trees
