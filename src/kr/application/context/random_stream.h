#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/platform/export.h"

namespace KrSim {

namespace detail {

/// The numbers of one name. The position is all that changes, so it is all that a snapshot keeps.
struct RandomSequence {
    /// The first half of the name's hash and the second one tell the sequences of one seed apart.
    std::array<std::uint32_t, 2> name{};
    std::uint32_t seed{0};
    std::uint64_t position{0};  ///< 64-bit words that were taken
    // The block of the position before the last one
    std::uint64_t block{~std::uint64_t{0}};
    std::array<std::uint64_t, 2> words{};
};

}  // namespace detail

/// The seed and the places of all streams that have given numbers: what a snapshot keeps of them.
struct RandomPositions {
    struct Stream {
        std::shared_ptr<const std::string> name;
        std::uint64_t position{0};
    };

    std::uint32_t seed{0};
    std::vector<Stream> streams;  ///< by name
};

/// Random numbers of one name, which depend on the seed of the application, the name and their place in the sequence,
/// and on nothing else: not on other streams, not on the order in which these are made, not on the machine. Snapshots,
/// rewind and state files restore the place.
///
///     KrSim::RandomStream noise = getApplicationContext().getRandomStream("Road/" + getName());
///     height = noise.getNormal(0.0, 0.01);
///
/// Take one stream for each purpose and extension, so that one that takes more numbers changes no other. Handles of one
/// name continue one sequence. Without an application the seed is 0, and each handle begins its own sequence.
///
/// Each number takes one place, getInteger rarely more; 2^64 are different. Generator: Philox4x32-10 of Salmon, Moraes,
/// Dror and Shaw (2011), with the seed as key and the hash of the name in the counter.
/// Thread: one at a time for all handles of a name. Taking a number allocates nothing.
/// Ownership: shares its place in the sequence; good for longer than the application.
class KR_API RandomStream {
public:
    /// As one without an application, of the empty name.
    RandomStream();
    /// For the application.
    explicit RandomStream(std::shared_ptr<detail::RandomSequence> sequence) noexcept;
    /// Also for moving, so that no stream is without a sequence.
    RandomStream(const RandomStream& other) noexcept;
    RandomStream& operator=(const RandomStream& other) noexcept;
    ~RandomStream();

    /// 64 random bits.
    std::uint64_t getBits();
    /// Evenly in [0, 1): a multiple of 2^-53.
    double getUniform();
    /// Evenly in [minimum, maximum), but for rounding; `minimum` where the range is empty.
    double getUniform(double minimum, double maximum);
    /// Each whole number in [minimum, maximum] with the same probability; `minimum` where the range is empty.
    std::int64_t getInteger(std::int64_t minimum, std::int64_t maximum);
    /// True with this probability: never for 0 and below, always for 1 and above.
    bool getBoolean(double probability);
    /// Normally distributed, by the inverse of the distribution: Wichura, algorithm AS 241, Applied Statistics 37
    /// (1988), accurate to about 1 part in 10^16. Beyond 1.4 deviations the last bit depends on log() of the C library.
    double getNormal(double mean = 0.0, double deviation = 1.0);

    /// How many words of 64 bits were taken.
    [[nodiscard]] std::uint64_t getPosition() const noexcept { return _sequence->position; }

private:
    std::shared_ptr<detail::RandomSequence> _sequence;  // never null
};

}  // namespace KrSim
