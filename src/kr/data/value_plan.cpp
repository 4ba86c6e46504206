#include "kr/data/value_plan.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "kr/data/array_resizes.h"
#include "kr/data/container_access.h"
#include "kr/data/field.h"
#include "kr/data/field_array.h"
#include "kr/data/internal/value_operations.h"
#include "kr/data/vector.h"
#include "kr/data/vector_access.h"

namespace KrData {

namespace {
constexpr std::uint32_t kNoValue = 0xffffffff;

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
                        _enumerations.capacity() * sizeof(Kr::KrEnum) +
                        _references.capacity() * sizeof(ExtensionPointer) + _others.capacity() * sizeof(_others[0]);
    for (const auto& text : _texts)
        bytes += text.capacity() < sizeof(std::string) ? 0 : text.capacity();
    for (const auto& other : _others) {
        const auto* vector = dynamic_cast<const VectorBase*>(other.get());
        bytes +=
            sizeof(VectorBase) + (vector != nullptr ? vector->size() * detail::VectorAccess::getItemBytes(*vector) : 0);
    }
    return bytes;
}

// --- The plan ------------------------------------------------------------------------------------------------------

ValuePlan::ValuePlan() = default;

ValuePlan::ValuePlan(std::span<Container* const> groups) {
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
    // The fields of a group are neighbours in each run, since runs are in the order of the tree.
    for (std::uint32_t group = 0; group < _nodes.size(); group = _nodes[group].end) {
        for (const auto& run : _runs) {
            const auto begin = _nodeOf.begin() + run.first;
            const auto first = std::lower_bound(begin, begin + run.count, group);
            const auto count = std::lower_bound(first, begin + run.count, _nodes[group].end) - first;
            if (count == 0) continue;
            const auto skipped = static_cast<std::uint32_t>(first - begin);
            _groupRuns.push_back({_nodes[group].id,
                                  {run.operations, run.first + skipped, static_cast<std::uint32_t>(count),
                                   run.place + skipped * run.operations->size}});
        }
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

void ValuePlan::fetchLists() const noexcept {
    constexpr std::size_t kLine = 64;
    const auto fetch = [](const void* first, std::size_t bytes) {
        for (std::size_t at = 0; at < bytes; at += kLine)
            __builtin_prefetch(static_cast<const char*>(first) + at);
    };
    // Of long lists the beginning: the rest follows by itself.
    constexpr std::size_t kEnough = 8 * kLine;
    fetch(_fields.data(), std::min(_fields.size() * sizeof(void*), kEnough));
    fetch(_runs.data(), _runs.size() * sizeof(Run));
    fetch(_groupRuns.data(), _groupRuns.size() * sizeof(GroupRun));
}

void ValuePlan::fetchFields() const noexcept {
    constexpr std::size_t kEnough = 64;
    for (std::size_t i = 0; i < std::min(_fields.size(), kEnough); ++i) {
        // The value follows the base class and may extend into the next cache line, or the data after it does.
        const auto* behind = reinterpret_cast<const char*>(_fields[i]) + sizeof(FieldBase);
        __builtin_prefetch(behind - sizeof(void*));
        __builtin_prefetch(behind + 3 * sizeof(double));
    }
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

void ValuePlan::prepare(const FieldValues& values, const ValuePlan& source) const {
    if (this == &source) {
        for (const auto& run : _runs) {
            auto* const prepare = run.operations->prepare;
            if (prepare != nullptr) prepare(_fields.data() + run.first, run.count, run.place, values);
        }
        return;
    }
    source._pair(
        source._allNodes(), *this, _allNodes(),
        [&](std::uint32_t from, std::uint32_t to) {
            const Run* run = nullptr;
            const auto place = source._placeOf(from, run);
            auto* const prepare = run->operations->prepare;
            if (prepare != nullptr && _operationsFor(*_fields[to]) == run->operations) {
                prepare(&_fields[to], 1, place, values);
            }
        },
        [](const Node&) {});
}

std::size_t ValuePlan::restore(const FieldValues& values, const ValuePlan& source, Changed& changed) const {
    if (this != &source) return _restorePairs(_allNodes(), source, source._allNodes(), values, changed);
    for (const auto& run : _runs)
        run.operations->restore(_fields.data() + run.first, run.count, run.place, values, changed);
    return 0;
}

void ValuePlan::restoreGroup(const Kr::KrID& group, const FieldValues& values, const ValuePlan& source,
                             Changed& changed) const {
    const auto below = [&](const ValuePlan& plan) noexcept -> Nodes {
        for (std::uint32_t at = 0; at < plan._nodes.size(); at = plan._nodes[at].end) {
            if (plan._nodes[at].id == group) return {at + 1, plan._nodes[at].end, false};
        }
        return {0, 0, false};
    };
    if (this != &source) {
        _restorePairs(below(*this), source, below(source), values, changed);
        return;
    }
    for (const auto& [id, run] : _groupRuns) {
        if (id == group) run.operations->restore(_fields.data() + run.first, run.count, run.place, values, changed);
    }
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
    auto at = others.first;  // the same fields are mostly in the same order
    for (auto from = own.first; from < own.last; from = _nodes[from].end) {
        const auto& node = _nodes[from];
        if (!own.areItems && (at >= others.last || other._nodes[at].id != node.id)) {
            // Of several with one identifier the one of the same rank.
            auto rank = _countBefore(own.first, from, node.id);
            for (at = others.first; at < others.last; at = other._nodes[at].end) {
                if (other._nodes[at].id == node.id && rank-- == 0) break;
            }
        }
        if (at >= others.last) at = _placeOfFormer(own, other, others, node.id);
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

std::uint32_t ValuePlan::_placeOfFormer(Nodes own, const ValuePlan& other, Nodes others, const Kr::KrID& id) const {
    const auto placeOf = [&](const auto& isWanted) {
        auto place = others.first;
        while (place < others.last && !isWanted(other._nodes[place]))
            place = other._nodes[place].end;
        return place;
    };
    const auto sibling = placeOf([](const Node& each) { return each.index != kNoValue; });
    const auto* parent = sibling < others.last ? other._fields[other._nodes[sibling].index]->getParent() : nullptr;
    if (parent == nullptr) return others.last;
    const auto found = detail::ContainerAccess::findDeprecated(*parent, id);
    if (found == parent->end() || _countBefore(own.first, own.last, (*found)->getID()) != 0) return others.last;
    return placeOf([&](const Node& each) { return each.id == (*found)->getID(); });
}

std::size_t ValuePlan::_countBefore(std::uint32_t first, std::uint32_t last, const Kr::KrID& id) const {
    std::size_t count = 0;
    for (auto at = first; at < last; at = _nodes[at].end) {
        if (_nodes[at].id == id) ++count;
    }
    return count;
}

std::size_t ValuePlan::_countValues(const Node& node) const {
    return static_cast<std::size_t>(
        std::count_if(&node, _nodes.data() + node.end, [](const Node& each) { return each.index != kNoValue; }));
}

bool ValuePlan::contains(const FieldBase* field) const noexcept {
    return std::find(_fields.begin(), _fields.end(), field) != _fields.end();
}

void ValuePlan::resizeArrays(std::span<Container* const> groups, ArrayResizes& resizes) const {
    for (std::uint32_t at = 0; at < _nodes.size(); at = _nodes[at].end) {
        const auto found = std::find_if(groups.begin(), groups.end(),
                                        [&](const Container* group) { return group->getID() == _nodes[at].id; });
        if (found != groups.end()) _resizeBelow(at + 1, _nodes[at].end, **found, resizes);
    }
}

void ValuePlan::_resizeBelow(std::uint32_t first, std::uint32_t last, Container& container,
                             ArrayResizes& resizes) const {
    std::size_t position = 0;
    for (auto at = first; at < last; at = _nodes[at].end, ++position) {
        const auto& node = _nodes[at];
        if (node.index != kNoValue) continue;
        const bool isAligned = container.isFieldArray() || container[position].getID() == node.id;
        auto& child = isAligned ? container[position] : container[node.id];
        if (child.getDataType() != Types::kContainer || child.isFieldArray() != node.isArray) continue;
        auto& below = static_cast<Container&>(child);
        if (node.isArray) {
            std::size_t count = 0;
            for (auto item = at + 1; item < node.end; item = _nodes[item].end)
                ++count;
            // An observer of the array may destroy it.
            if (below.size() != count && !resizes.resize(static_cast<FieldArrayBase&>(below), count)) return;
        }
        _resizeBelow(at + 1, node.end, below, resizes);
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
    return vector != nullptr ? vector->getText() : field->toString();
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
        if (detail::ContainerAccess::addNumberedField(container, child.get(), container.end()))
            static_cast<void>(child.release());
    }
}

}  // namespace KrData
