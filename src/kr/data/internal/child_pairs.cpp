#include "kr/data/internal/child_pairs.h"

#include <algorithm>

namespace KrData::detail {

ChildPairs::ChildPairs(const Children& sources, const Children& targets, Surplus surplus)
    : _sources(sources), _targets(targets), _surplus(surplus) {
    _match();
}

bool ChildPairs::_isAtPlace(std::size_t index, std::size_t place) const {
    return place < _targets.size() && _targets[place]->getID() == _sources[index]->getID();
}

FieldBase* ChildPairs::find(std::size_t index) {
    if (_sources.size() != _sourceCount || _targets.size() != _targetCount + _inserted) _match();
    for (const bool isAgain : {false, true}) {
        if (index >= _sourceCount || _targetCount == 0) return nullptr;
        const auto place = _isAligned ? index : _places[index];
        if (place == kNone) return nullptr;
        if (_isAtPlace(index, place + _inserted)) return _targets[place + _inserted];
        if (!isAgain) _match();  // the order differs, or observers have moved children
    }
    return nullptr;
}

void ChildPairs::_match() {
    _inserted = 0;
    _sourceCount = _sources.size();
    _targetCount = _targets.size();
    _places = {};
    _isAligned = std::equal(_sources.begin(), _sources.end(), _targets.begin(), _targets.end(),
                            [](const auto* source, const auto* target) { return source->getID() == target->getID(); });
    if (_isAligned || _targetCount == 0) return;

    std::array<Entry, 2 * kFew> few{};
    std::vector<Entry> many;
    Entries entries(few);
    const bool areFew = _sourceCount <= kFew && _targetCount <= kFew;
    if (!areFew) {
        many.resize(_sourceCount + _targetCount);
        entries = many;
        _manyPlaces.resize(_sourceCount);
    }
    _places = areFew ? std::span(_fewPlaces).first(_sourceCount) : std::span(_manyPlaces);
    std::fill(_places.begin(), _places.end(), kNone);
    const auto fill = [](Entries list, const Children& children) {
        for (std::uint32_t i = 0; i < children.size(); ++i)
            list[i] = {children[i]->getID().getNumber(), i};
        std::sort(list.begin(), list.end(), [](const Entry& one, const Entry& other) {
            return one.id != other.id ? one.id < other.id : one.place < other.place;
        });
        return list;
    };
    _matchByIdentifier(fill(entries.first(_sourceCount), _sources),
                       fill(entries.subspan(_sourceCount, _targetCount), _targets));
}

void ChildPairs::_matchByIdentifier(Entries sources, Entries targets) {
    const auto takeRun = [](Entries& list) {
        const auto end =
            std::find_if(list.begin(), list.end(), [&](const Entry& each) { return each.id != list[0].id; });
        const auto run = list.first(static_cast<std::size_t>(end - list.begin()));
        list = list.subspan(run.size());
        return run;
    };
    while (!sources.empty() && !targets.empty()) {
        if (sources[0].id < targets[0].id) {
            sources = sources.subspan(1);
        } else if (targets[0].id < sources[0].id) {
            targets = targets.subspan(1);
        } else {
            const auto sourceRun = takeRun(sources);
            const auto targetRun = takeRun(targets);
            const auto first = targetRun[0].place;
            _matchTwins(sourceRun, targetRun);
            if (_surplus == Surplus::kAlone) continue;
            for (const auto& each : sourceRun) {
                if (_places[each.place] == kNone) _places[each.place] = first;
            }
        }
    }
}

void ChildPairs::_matchTwins(Entries sources, Entries targets) {
    // So many of one identifier are in no tree but a damaged one: the order has to do.
    constexpr std::size_t kManyTwins = 256;
    const auto matchWhere = [&](const auto& belongTogether) {
        for (const auto& source : sources) {
            if (_places[source.place] != kNone) continue;
            for (auto& target : targets) {
                if (target.place == kNone || !belongTogether(*_sources[source.place], *_targets[target.place]))
                    continue;
                _places[source.place] = target.place;
                target.place = kNone;  // taken
                break;
            }
        }
    };
    if (sources.size() > kManyTwins || targets.size() > kManyTwins) {
        for (std::size_t i = 0; i < std::min(sources.size(), targets.size()); ++i)
            _places[sources[i].place] = targets[i].place;
        return;
    }
    if (sources.size() > 1 || targets.size() > 1) {
        matchWhere([](const FieldBase& source, const FieldBase& target) {
            return source.getInternalIdentifier() == target.getInternalIdentifier() &&
                   source.isDynamic() == target.isDynamic();
        });
        matchWhere(
            [](const FieldBase& source, const FieldBase& target) { return source.isDynamic() == target.isDynamic(); });
    }
    matchWhere([](const FieldBase&, const FieldBase&) { return true; });
}

}  // namespace KrData::detail
