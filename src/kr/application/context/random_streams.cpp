#include "kr/application/context/random_streams.h"

#include <functional>
#include <span>

#include "kr/platform/murmur_hash3.h"

namespace KrSim {

RandomStreams::RandomStreams() = default;

RandomStreams::~RandomStreams() = default;

detail::RandomSequence RandomStreams::makeSequence(std::string_view name, std::uint32_t seed) {
    const auto hash = Kr::calculateMurmurHash3(std::as_bytes(std::span(name.data(), name.size()))).first;
    detail::RandomSequence sequence;
    sequence.name = {static_cast<std::uint32_t>(hash), static_cast<std::uint32_t>(hash >> 32U)};
    sequence.seed = seed;
    return sequence;
}

RandomStreams::Stream& RandomStreams::_find(std::string_view name) {
    auto place = _streams.find(name);
    if (place == _streams.end()) {
        Stream made{std::make_shared<const std::string>(name),
                    std::make_shared<detail::RandomSequence>(makeSequence(name, _seed))};
        place = _streams.emplace(name, std::move(made)).first;
    }
    return place->second;
}

RandomStream RandomStreams::find(std::string_view name) {
    const std::lock_guard lock(_mutex);
    return RandomStream(_find(name).sequence);
}

std::uint32_t RandomStreams::getSeed() const {
    const std::lock_guard lock(_mutex);
    return _seed;
}

void RandomStreams::_restart(std::uint32_t seed) noexcept {
    _seed = seed;
    for (const auto& [name, stream] : _streams) {
        const auto names = stream.sequence->name;
        *stream.sequence = {};
        stream.sequence->name = names;
        stream.sequence->seed = seed;
    }
}

void RandomStreams::setSeed(std::uint32_t seed) {
    const std::lock_guard lock(_mutex);
    _restart(seed);
}

RandomPositions RandomStreams::getPositions() const {
    const std::lock_guard lock(_mutex);
    RandomPositions positions;
    positions.seed = _seed;
    for (const auto& [name, stream] : _streams) {
        if (stream.sequence->position != 0) positions.streams.push_back({stream.name, stream.sequence->position});
    }
    return positions;
}

void RandomStreams::setPositions(const RandomPositions& positions) {
    const std::lock_guard lock(_mutex);
    for (const auto& each : positions.streams)
        static_cast<void>(_find(*each.name));  // may find no memory; nothing has changed then
    _restart(positions.seed);
    for (const auto& each : positions.streams)
        _find(*each.name).sequence->position = each.position;
}

}  // namespace KrSim
