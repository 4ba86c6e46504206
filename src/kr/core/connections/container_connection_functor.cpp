#include "kr/core/connections/container_connection_functor.h"

#include "kr/core/connections/internal/functor_selection.h"
#include "kr/data/field_access.h"
#include "kr/signals/death_watch.h"

namespace Kr {

using KrData::Container;
using KrData::FieldBase;
using KrData::detail::FieldAccess;

namespace {

/// The child of `container` that is `field` or has it below, or null.
const FieldBase* childWith(const Container& container, const FieldBase& field) {
    for (const auto* each = &field; each != nullptr; each = FieldAccess::getHolder(*each)) {
        if (each->getParent() == &container) return each;
    }
    return nullptr;
}

}  // namespace

ContainerConnectionFunctor::ContainerConnectionFunctor(const Container& source, Container& sink)
    : ConnectionFunctor(source, sink),
      _container(source),
      _sinkContainer(sink),
      _containerLife(const_cast<Container*>(&source)),
      _sinkLife(&sink),
      _areArrays(source.isFieldArray() && sink.isFieldArray()) {
    _pairUp();
}

ContainerConnectionFunctor::~ContainerConnectionFunctor() {
    DeathWatch::announce(this);
}

void ContainerConnectionFunctor::setSinkOwner(KrSim::KrExtension* owner) {
    ConnectionFunctor::setSinkOwner(owner);
    for (auto& pair : _pairs) {
        if (pair.functor) pair.functor->setSinkOwner(owner);
    }
}

// --- Pairs ---------------------------------------------------------------------------------------------------------

bool ContainerConnectionFunctor::_isCurrent(const Pair& pair) const {
    const auto* source = pair.source.get();
    const auto* sink = pair.sink.get();
    return source != nullptr && sink != nullptr && source->getParent() == &_container &&
           sink->getParent() == &_sinkContainer && (_areArrays || source->getID() == sink->getID());
}

bool ContainerConnectionFunctor::_isPairedUp() const {
    const auto& children = _container.getChildren();
    if (children.size() != _pairs.size()) return false;
    for (std::size_t i = 0; i < children.size(); ++i) {
        if (_pairs[i].source.get() != children[i] || !_isCurrent(_pairs[i])) return false;
        if (_areArrays && _pairs[i].sink.get() != &_sinkContainer[i]) return false;
    }
    return true;
}

void ContainerConnectionFunctor::_pairUp() {
    std::unordered_map<std::int32_t, FieldBase*> sinks;  // by the numbers of their identifiers
    if (!_areArrays) {
        for (auto* child : _sinkContainer)
            sinks.try_emplace(child->getID().getNumber(), child);
    }
    std::vector<Pair> pairs;
    std::unordered_map<const FieldBase*, std::size_t> places;
    pairs.reserve(_container.size());
    for (std::size_t i = 0; i < _container.size(); ++i) {
        auto* source = _container.getChildren()[i];
        FieldBase* sink = nullptr;
        if (_areArrays) {
            sink = i < _sinkContainer.size() ? &_sinkContainer[i] : nullptr;
        } else if (const auto found = sinks.find(source->getID().getNumber()); found != sinks.end()) {
            sink = found->second;
        }
        auto& pair = pairs.emplace_back();
        pair.source = KrData::FieldReference(source);
        if (sink != nullptr) {
            pair.sink = KrData::FieldReference(sink);
            pair.functor = detail::selectFunctor(*source, *sink, nullptr);
        }
        places.emplace(source, i);
    }
    _pairs.swap(pairs);
    _places.swap(places);
}

const ContainerConnectionFunctor::Pair* ContainerConnectionFunctor::_findPair(const FieldBase& child) {
    for (const bool isAgain : {false, true}) {
        const auto found = _places.find(&child);
        if (found != _places.end()) {
            const auto& pair = _pairs[found->second];
            if (pair.source.get() == &child) {
                if (_isCurrent(pair)) return &pair;
                if (!_areArrays && _sinkContainer.find(child.getID()) == _sinkContainer.end()) return nullptr;
            }
        }
        if (!isAgain) _pairUp();
    }
    return nullptr;
}

// --- Transfer ------------------------------------------------------------------------------------------------------

void ContainerConnectionFunctor::transfer(const FieldBase& changed) {
    if (_isSinkSuspended()) return;
    const DeathWatch watch(this);
    _wasBlocked = false;
    _child = &changed != &_container ? childWith(_container, changed) : nullptr;
    if (_child == nullptr || (_areArrays && _container.size() != _sinkContainer.size())) {
        _transferAll();
    } else if (const auto* pair = _findPair(*_child); pair != nullptr && pair->functor) {
        pair->functor->run(changed);
    }
    if (watch.died() || !_wasBlocked) return;
    // Once: what changes in return has had its turn.
    if (_containerLife.isAlive() && _sinkLife.isAlive()) _transferAll();
}

void ContainerConnectionFunctor::_onBlocked(const FieldBase& changed) {
    // A change of a child because of its own transfer must be stopped by the guard.
    const auto* child = childWith(_container, changed);
    if (child == nullptr || child != _child) _wasBlocked = true;
}

void ContainerConnectionFunctor::_transferAll() {
    const DeathWatch watch(this);
    if (_areArrays && _container.size() != _sinkContainer.size()) {
        _sinkContainer.copyValue(_container);
        if (watch.died() || !_containerLife.isAlive() || !_sinkLife.isAlive()) return;
    }
    if (!_isPairedUp()) _pairUp();
    // By place, and read again each time: observers of the sink may change both containers.
    for (std::size_t i = 0; i < _pairs.size(); ++i) {
        const auto& pair = _pairs[i];
        if (!pair.functor || !_isCurrent(pair)) continue;
        _child = pair.source.get();
        pair.functor->run(*_child);
        if (watch.died()) return;
    }
}

}  // namespace Kr
