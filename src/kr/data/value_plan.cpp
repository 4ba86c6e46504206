#include "kr/data/value_plan.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "kr/core/base.h"
#include "kr/data/extension_functions.h"
#include "kr/data/field.h"
#include "kr/data/field_array.h"
#include "kr/data/field_reference.h"
#include "kr/data/vector.h"

namespace KrData {

namespace {
constexpr std::uint32_t kNoValue = 0xffffffff;

using Fields = FieldBase* const*;

template <class T>
void makeRoom(std::vector<T>& store, std::size_t count, const T& value) {
    if (store.size() != count) store.resize(count, value);
}
}  // namespace

FieldValues::FieldValues() noexcept = default;
FieldValues::FieldValues(FieldValues&&) noexcept = default;
FieldValues& FieldValues::operator=(FieldValues&&) noexcept = default;
FieldValues::~FieldValues() = default;

std::size_t FieldValues::getSizeBytes() const {
    std::size_t bytes = _plain.capacity() + _texts.capacity() * sizeof(std::string) +
                        _enumerations.capacity() * sizeof(Kr::KrEnum) + _references.capacity() * sizeof(Reference) +
                        _others.capacity() * sizeof(_others[0]);
    for (const auto& text : _texts)
        bytes += text.capacity() < sizeof(std::string) ? 0 : text.capacity();
    for (const auto& other : _others) {
        const auto* vector = dynamic_cast<const VectorBase*>(other.get());
        bytes += sizeof(VectorBase) + (vector != nullptr ? vector->size() * vector->_getItemBytes() : 0);
    }
    return bytes;
}

// --- What is done with the fields of one type ----------------------------------------------------------------------

/// `place` is that of the first field in the store of its type.
struct ValuePlan::Operations {
    Types::DataTypeEnum dataType;
    std::size_t ValuePlan::*total;  // what counts the room in the store
    std::size_t size;               // of one value there
    void (*take)(Fields fields, std::size_t count, std::size_t place, FieldValues& values);
    void (*restore)(Fields fields, std::size_t count, std::size_t place, const FieldValues& values, Changed& changed);
    bool (*isSame)(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace);
    std::unique_ptr<FieldBase> (*make)(const Kr::KrID& id, std::size_t place, const FieldValues& values);
};

namespace {

template <class T, class Value>
void restoreOne(FieldBase* field, const Value& value, ValuePlan::Changed& changed) {
    if (static_cast<Field<T>*>(field)->_restoreValue(value)) changed.push_back(field);
}

}  // namespace

template <class T>
struct ValuePlan::PlainOperations {
    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        auto* out = values._plain.data() + place;
        for (std::size_t i = 0; i < count; ++i)
            std::memcpy(out + i * sizeof(T), &static_cast<const Field<T>*>(fields[i])->getValue(), sizeof(T));
    }
    static T at(std::size_t place, const FieldValues& values) {
        T value;
        std::memcpy(&value, values._plain.data() + place, sizeof(T));
        return value;
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i)
            restoreOne<T>(fields[i], at(place + i * sizeof(T), values), changed);
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return std::memcmp(first._plain.data() + place, second._plain.data() + otherPlace, sizeof(T)) == 0;
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::make_unique<Field<T>>(id, nullptr, at(place, values));
    }
    static constexpr Operations kAll{
        ValueTraits<T>::kDataType, &ValuePlan::_plainBytes, sizeof(T), take, restore, isSame, make};
};

struct ValuePlan::TextOperations {
    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i)
            values._texts[place + i] = static_cast<const Field<std::string>*>(fields[i])->getValue();
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i)
            restoreOne<std::string>(fields[i], values._texts[place + i], changed);
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return first._texts[place] == second._texts[otherPlace];
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::make_unique<Field<std::string>>(id, nullptr, values._texts[place]);
    }
    static constexpr Operations kAll{Types::kString, &ValuePlan::_textCount, 1, take, restore, isSame, make};
};

struct ValuePlan::EnumerationOperations {
    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i) {
            // Values of different enumerations refuse assignment.
            const auto& value = static_cast<const Field<Kr::KrEnum>*>(fields[i])->getValue();
            std::construct_at(&values._enumerations[place + i], value);
        }
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i)
            restoreOne<Kr::KrEnum>(fields[i], values._enumerations[place + i], changed);
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return first._enumerations[place] == second._enumerations[otherPlace];
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::make_unique<Field<Kr::KrEnum>>(id, nullptr, values._enumerations[place]);
    }
    static constexpr Operations kAll{
        Types::kEnumeration, &ValuePlan::_enumerationCount, 1, take, restore, isSame, make};
};

struct ValuePlan::ReferenceOperations {
    using Reference = FieldValues::Reference;
    using ReferenceField = Field<KrSim::KrExtension*>;

    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i) {
            values._references[place + i] = referenceTo(static_cast<const ReferenceField*>(fields[i])->getValue());
        }
    }
    static Reference referenceTo(KrSim::KrExtension* extension) {
        if (extension == nullptr) return {};
        const auto* base = ExtensionFunctions::baseOf(extension);
        return Kr::KrBase::isKrBaseValid(base) ? Reference{extension, base, base->getCreationIndex()} : Reference{};
    }
    /// Null for one that has died, even where another one stands in its place.
    static KrSim::KrExtension* get(const Reference& reference) {
        if (reference.base == nullptr || !Kr::KrBase::isKrBaseValid(reference.base)) return nullptr;
        return reference.base->getCreationIndex() == reference.creationIndex ? reference.extension : nullptr;
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i)
            restoreOne<KrSim::KrExtension*>(fields[i], get(values._references[place + i]), changed);
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return get(first._references[place]) == get(second._references[otherPlace]);
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::make_unique<ReferenceField>(id, nullptr, get(values._references[place]));
    }
    static constexpr Operations kAll{Types::kExtension, &ValuePlan::_referenceCount, 1, take, restore, isSame, make};
};

/// Vectors. Items that refer to extensions are remembered like fields that do.
struct ValuePlan::OtherOperations {
    using Extensions = Vector<KrSim::KrExtension*>;

    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto& vector = static_cast<const VectorBase&>(*fields[i]);
            auto& copy = values._others[place + i];
            if (copy == nullptr) {
                copy.reset(vector._duplicate());
            } else {
                static_cast<VectorBase&>(*copy)._restoreItems(vector);
            }
            if (const auto* extensions = Extensions::from(vector)) takeReferences(*extensions, place + i, values);
        }
    }
    static void takeReferences(const Extensions& vector, std::size_t place, FieldValues& values) {
        values._otherReferences.resize(values._others.size());
        auto& references = values._otherReferences[place];
        references.clear();
        for (auto* extension : vector.getItems())
            references.push_back(ReferenceOperations::referenceTo(extension));
    }
    static const VectorBase& at(std::size_t place, const FieldValues& values) {
        auto& vector = static_cast<VectorBase&>(*values._others[place]);
        if (auto* extensions = Extensions::from(vector)) {
            std::vector<KrSim::KrExtension*> living;
            for (const auto& reference : values._otherReferences[place])
                living.push_back(ReferenceOperations::get(reference));
            extensions->setItems(std::move(living));
        }
        return vector;
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i) {
            if (static_cast<VectorBase*>(fields[i])->_restoreItems(at(place + i, values))) changed.push_back(fields[i]);
        }
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return at(place, first)._hasIdenticalItems(at(otherPlace, second));
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::unique_ptr<FieldBase>(at(place, values).clone(id, nullptr));
    }
    static constexpr Operations kAll{Types::kVector, &ValuePlan::_otherCount, 1, take, restore, isSame, make};
};

const ValuePlan::Operations* ValuePlan::_operationsFor(const FieldBase& field) {
    switch (field.getDataType()) {
#define KR_PLAIN(T)                 \
    case ValueTraits<T>::kDataType: \
        return &PlainOperations<T>::kAll;
        KR_PLAIN(bool)
        KR_PLAIN(int)
        KR_PLAIN(unsigned int)
        KR_PLAIN(short)
        KR_PLAIN(unsigned short)
        KR_PLAIN(double)
        KR_PLAIN(float)
        KR_PLAIN(Kr::KrString<512>)
        KR_PLAIN(Kr::KrColor)
        KR_PLAIN(Kr::KrTransform)
        KR_PLAIN(KrMath::Vector2T<double>)
        KR_PLAIN(KrMath::Vector3T<double>)
        KR_PLAIN(KrMath::Vector4T<double>)
        KR_PLAIN(KrMath::QuaternionT<double>)
        KR_PLAIN(KrMath::Matrix44T<double>)
        KR_PLAIN(KrMath::Vector3T<float>)
        KR_PLAIN(KrMath::QuaternionT<float>)
        KR_PLAIN(KrMath::Matrix44T<float>)
        KR_PLAIN(KrGraphics::Material*)
#undef KR_PLAIN
        case Types::kString:
            return &TextOperations::kAll;
        case Types::kEnumeration:
            return &EnumerationOperations::kAll;
        case Types::kExtension:
            return &ReferenceOperations::kAll;
        case Types::kVector:
            return dynamic_cast<const VectorBase*>(&field) != nullptr ? &OtherOperations::kAll : nullptr;
        default:
            return nullptr;
    }
}

// --- The plan ------------------------------------------------------------------------------------------------------

ValuePlan::ValuePlan() = default;

ValuePlan::ValuePlan(const std::vector<Container*>& groups) {
    for (auto* group : groups)
        _add(*group);
    _sort();
}

ValuePlan::~ValuePlan() = default;

std::uint32_t ValuePlan::_beginContainer(const Kr::KrID& id, Types::FieldTypeEnum fieldType, bool isArray) {
    _nodes.push_back({id, 0, kNoValue, fieldType, isArray});
    return static_cast<std::uint32_t>(_nodes.size() - 1);
}

void ValuePlan::_add(FieldBase& field) {
    if (field.getDataType() != Types::kContainer) {
        if (_operationsFor(field) != nullptr) _addValue(field);
        return;
    }
    const auto place = _beginContainer(field.getID(), field.getFieldType(), field.isFieldArray());
    for (auto* child : field.getChildren())
        _add(*child);
    _nodes[place].end = static_cast<std::uint32_t>(_nodes.size());
}

void ValuePlan::_addValue(FieldBase& field) {
    const auto place = static_cast<std::uint32_t>(_nodes.size());
    const auto index = static_cast<std::uint32_t>(_fields.size());
    _nodes.push_back({field.getID(), place + 1, index, field.getFieldType(), false});
    _fields.push_back(&field);
    _nodeOf.push_back(place);
}

void ValuePlan::_sort() {
    const auto fields = std::exchange(_fields, {});
    const auto nodeOf = std::exchange(_nodeOf, {});
    std::vector<std::uint32_t> order(fields.size());
    for (std::uint32_t i = 0; i < order.size(); ++i)
        order[i] = i;
    const auto typeOf = [&](std::uint32_t i) { return fields[i]->getDataType(); };
    std::stable_sort(order.begin(), order.end(), [&](auto one, auto other) { return typeOf(one) < typeOf(other); });
    for (const auto i : order) {
        const auto* operations = _operationsFor(*fields[i]);
        const auto index = static_cast<std::uint32_t>(_fields.size());
        if (_runs.empty() || _runs.back().operations != operations)
            _runs.push_back({operations, index, 0, this->*operations->total});
        ++_runs.back().count;
        this->*operations->total += operations->size;
        _fields.push_back(fields[i]);
        _nodeOf.push_back(nodeOf[i]);
        _nodes[nodeOf[i]].index = index;
    }
}

void ValuePlan::take(FieldValues& values) const {
    makeRoom(values._plain, _plainBytes, std::byte{});
    makeRoom(values._texts, _textCount, {});
    makeRoom(values._enumerations, _enumerationCount, {});
    makeRoom(values._references, _referenceCount, {});
    values._others.resize(_otherCount);
    for (const auto& run : _runs)
        run.operations->take(_fields.data() + run.first, run.count, run.place, values);
}

std::size_t ValuePlan::_placeOf(std::size_t index, const Run*& run) const {
    const auto behind = std::upper_bound(_runs.begin(), _runs.end(), index,
                                         [](std::size_t value, const Run& each) { return value < each.first; });
    run = &*std::prev(behind);
    return run->place + (index - run->first) * run->operations->size;
}

ValuePlan::Builder::Builder() : _plan(new ValuePlan) {}
ValuePlan::Builder::~Builder() = default;

void ValuePlan::Builder::begin(const Kr::KrID& id, bool isArray) {
    _open.push_back(_plan->_beginContainer(id, Types::kField, isArray));
}

bool ValuePlan::Builder::add(FieldBase& field) {
    if (_operationsFor(field) == nullptr) return false;
    _plan->_addValue(field);
    return true;
}

void ValuePlan::Builder::end() {
    _plan->_nodes[_open.back()].end = static_cast<std::uint32_t>(_plan->_nodes.size());
    _open.pop_back();
}

std::shared_ptr<const ValuePlan> ValuePlan::Builder::build(std::vector<std::size_t>& places) {
    const auto nodes = _plan->_nodeOf;
    _plan->_sort();
    places.clear();
    for (const auto node : nodes)
        places.push_back(_plan->_nodes[node].index);
    return std::move(_plan);
}

ValuePlan::Children ValuePlan::getChildren(Place place) const {
    Children children;
    const auto last = place == kTop ? static_cast<std::uint32_t>(_nodes.size()) : _nodes.at(place).end;
    for (auto at = place == kTop ? 0 : place + 1; at < last; at = _nodes[at].end) {
        if (_nodes[at].index != kNoValue) {
            children.values.push_back(_nodes[at].index);
        } else {
            children.containers.push_back(at);
        }
    }
    return children;
}

// --- Restoring -----------------------------------------------------------------------------------------------------

std::size_t ValuePlan::restore(const FieldValues& values, const ValuePlan& source, Changed& changed) const {
    if (this != &source) return _restorePairs(_allNodes(), source, source._allNodes(), values, changed);
    for (const auto& run : _runs)
        run.operations->restore(_fields.data() + run.first, run.count, run.place, values, changed);
    return 0;
}

void ValuePlan::restoreGroup(const Kr::KrID& group, const FieldValues& values, const ValuePlan& source,
                             Changed& changed) const {
    const auto below = [&](const ValuePlan& plan) -> Nodes {
        for (std::uint32_t at = 0; at < plan._nodes.size(); at = plan._nodes[at].end) {
            if (plan._nodes[at].id == group) return {at + 1, plan._nodes[at].end, false};
        }
        return {0, 0, false};
    };
    _restorePairs(below(*this), source, below(source), values, changed);
}

std::size_t ValuePlan::_restorePairs(Nodes own, const ValuePlan& source, Nodes others, const FieldValues& values,
                                     Changed& changed) const {
    std::size_t missing = 0;
    source._pair(
        others, *this, own,
        [&](std::uint32_t from, std::uint32_t to) {
            const Run* run = nullptr;
            const auto place = source._placeOf(from, run);
            if (_operationsFor(*_fields[to]) == run->operations) {
                run->operations->restore(&_fields[to], 1, place, values, changed);
            } else {
                ++missing;
            }
        },
        [&](const Node& node) { missing += source._countValues(node); });
    return missing;
}

std::optional<std::size_t> ValuePlan::findDifference(const FieldValues& values, const ValuePlan& other,
                                                     const FieldValues& otherValues) const {
    std::optional<std::size_t> difference;
    _pair(
        _allNodes(), other, other._allNodes(),
        [&](std::uint32_t index, std::uint32_t otherIndex) {
            if (difference) return;
            const Run* run = nullptr;
            const Run* otherRun = nullptr;
            const auto place = _placeOf(index, run);
            const auto otherPlace = other._placeOf(otherIndex, otherRun);
            const bool isSame = run->operations == otherRun->operations &&
                                run->operations->isSame(values, place, otherValues, otherPlace);
            if (!isSame) difference = index;
        },
        [&](const Node& node) {
            const auto* first = &node;
            while (first->index == kNoValue && first + 1 < _nodes.data() + node.end)
                ++first;
            if (!difference && first->index != kNoValue) difference = first->index;
        });
    return difference;
}

template <class Match, class Miss>
void ValuePlan::_pair(Nodes own, const ValuePlan& other, Nodes others, const Match& match, const Miss& miss) const {
    auto at = others.first;  // the same fields mostly stand in the same order
    for (auto from = own.first; from < own.last; from = _nodes[from].end) {
        const auto& node = _nodes[from];
        if (!own.areItems && (at >= others.last || other._nodes[at].id != node.id)) {
            for (at = others.first; at < others.last && other._nodes[at].id != node.id;)
                at = other._nodes[at].end;
        }
        if (at >= others.last) {
            miss(node);
            continue;
        }
        const auto& found = other._nodes[at];
        if ((node.index == kNoValue) != (found.index == kNoValue)) {
            miss(node);
        } else if (node.index != kNoValue) {
            match(node.index, found.index);
        } else {
            _pair({from + 1, node.end, node.isArray && found.isArray}, other, {at + 1, found.end, found.isArray}, match,
                  miss);
        }
        at = found.end;
    }
}

std::size_t ValuePlan::_countValues(const Node& node) const {
    return static_cast<std::size_t>(
        std::count_if(&node, _nodes.data() + node.end, [](const Node& each) { return each.index != kNoValue; }));
}

bool ValuePlan::contains(const FieldBase* field) const noexcept {
    return std::find(_fields.begin(), _fields.end(), field) != _fields.end();
}

void ValuePlan::resizeArrays(const std::vector<Container*>& groups) const {
    for (std::uint32_t at = 0; at < _nodes.size(); at = _nodes[at].end) {
        const auto found = std::find_if(groups.begin(), groups.end(),
                                        [&](const Container* group) { return group->getID() == _nodes[at].id; });
        if (found != groups.end()) _resizeBelow(at + 1, _nodes[at].end, **found);
    }
}

void ValuePlan::_resizeBelow(std::uint32_t first, std::uint32_t last, Container& container) const {
    std::size_t position = 0;
    for (auto at = first; at < last; at = _nodes[at].end, ++position) {
        const auto& node = _nodes[at];
        if (node.index != kNoValue) continue;
        auto& child = container.isFieldArray() ? container[position] : container[node.id];
        if (child.getDataType() != Types::kContainer || child.isFieldArray() != node.isArray) continue;
        auto& below = static_cast<Container&>(child);
        if (node.isArray) {
            std::size_t count = 0;
            for (auto item = at + 1; item < node.end; item = _nodes[item].end)
                ++count;
            // An observer of the array may destroy it.
            const FieldReference alive(&below);
            if (below.size() != count) static_cast<FieldArrayBase&>(below).resize(count);
            if (!alive.isAlive()) return;
        }
        _resizeBelow(at + 1, node.end, below);
    }
}

// --- Single values -------------------------------------------------------------------------------------------------

std::string ValuePlan::getPath(std::size_t index) const {
    std::string path;
    std::uint32_t first = 0;
    auto last = static_cast<std::uint32_t>(_nodes.size());
    for (bool isArray = false; first < last;) {
        std::uint32_t position = 0;
        while (_nodes[first].end <= _nodeOf[index]) {
            first = _nodes[first].end;
            ++position;
        }
        if (!path.empty()) path += '.';
        path += isArray ? std::to_string(position) : _nodes[first].id.str();
        isArray = _nodes[first].isArray;
        last = _nodes[first].end;
        if (first == _nodeOf[index]) break;
        ++first;
    }
    return path;
}

std::unique_ptr<FieldBase> ValuePlan::makeField(std::size_t index, const FieldValues& values) const {
    const Run* run = nullptr;
    const auto place = _placeOf(index, run);
    return run->operations->make(_nodes[_nodeOf[index]].id, place, values);
}

std::string ValuePlan::getText(std::size_t index, const FieldValues& values) const {
    const auto field = makeField(index, values);
    const auto* vector = dynamic_cast<const VectorBase*>(field.get());
    return vector != nullptr ? vector->_getText() : field->toString();
}

std::unique_ptr<Container> ValuePlan::makeContainer(const Kr::KrID& id, const FieldValues& values) const {
    auto made = std::make_unique<Container>(id);
    _fill(*made, 0, static_cast<std::uint32_t>(_nodes.size()), values);
    return made;
}

void ValuePlan::_fill(Container& container, std::uint32_t first, std::uint32_t last, const FieldValues& values) const {
    for (auto at = first; at < last; at = _nodes[at].end) {
        const auto& node = _nodes[at];
        std::unique_ptr<FieldBase> child;
        if (node.index == kNoValue) {
            auto below = std::make_unique<Container>(node.id, nullptr, node.fieldType);
            _fill(*below, at + 1, node.end, values);
            child = std::move(below);
        } else {
            child = makeField(node.index, values);
        }
        child->_setDynamic(true);
        if (container._addNumberedField(child.get(), container.end())) static_cast<void>(child.release());
    }
}

}  // namespace KrData
