#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "kr/application/context/random_stream.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The random streams of an application.
/// Thread: any for finding streams; the rest is for the thread that takes numbers, between two of them.
/// Ownership: part of the state of the application; shares the sequences with the handles.
class KR_API RandomStreams {
public:
    RandomStreams();
    RandomStreams(const RandomStreams&) = delete;
    RandomStreams& operator=(const RandomStreams&) = delete;
    ~RandomStreams();

    [[nodiscard]] RandomStream find(std::string_view name);
    /// The sequence of a name from its beginning.
    [[nodiscard]] static detail::RandomSequence makeSequence(std::string_view name, std::uint32_t seed);

    [[nodiscard]] std::uint32_t getSeed() const;
    /// All streams begin anew, with numbers of this seed.
    void setSeed(std::uint32_t seed);
    [[nodiscard]] RandomPositions getPositions() const;
    /// Streams that are not among them begin anew.
    void setPositions(const RandomPositions& positions);

private:
    struct Stream {
        std::shared_ptr<const std::string> name;
        std::shared_ptr<detail::RandomSequence> sequence;
    };

    Stream& _find(std::string_view name);
    void _restart(std::uint32_t seed) noexcept;

    mutable std::mutex _mutex;  // guards the map and the seed
    std::map<std::string, Stream, std::less<>> _streams;
    std::uint32_t _seed{0};
};

}  // namespace KrSim
