#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kr/data/field_base.h"

namespace KrData::detail {

/// Pairs the children of two containers by identifier. Several children with one identifier are paired by internal
/// identifier, then declared with declared and dynamic with dynamic ones, then in order. No child is in two pairs.
///
/// Lists in the same order cost one comparison a child; few children cost no memory.
class ChildPairs {
public:
    using Children = FieldBase::Children;
    /// The target of a source when all targets of its identifier have another source.
    enum class Surplus { kAlone, kSharesFirst };

    /// Both lists are borrowed, and may change meanwhile.
    ChildPairs(const Children& sources, const Children& targets, Surplus surplus = Surplus::kAlone);

    /// The target of the source at `index`, or null.
    [[nodiscard]] FieldBase* find(std::size_t index);
    /// The caller has inserted a target, before those of later sources.
    void noteInserted() noexcept { ++_inserted; }

private:
    static constexpr std::size_t kFew = 16;
    static constexpr std::uint32_t kNone = 0xffffffff;

    struct Entry {
        std::int32_t id;
        std::uint32_t place;
    };
    using Entries = std::span<Entry>;

    void _match();
    void _matchByIdentifier(Entries sources, Entries targets);
    void _matchTwins(Entries sources, Entries targets);
    [[nodiscard]] bool _isAtPlace(std::size_t index, std::size_t place) const;

    const Children& _sources;
    const Children& _targets;
    Surplus _surplus;
    bool _isAligned{false};
    std::size_t _sourceCount{0};
    std::size_t _targetCount{0};
    std::size_t _inserted{0};
    std::array<std::uint32_t, kFew> _fewPlaces{};
    std::vector<std::uint32_t> _manyPlaces;
    std::span<std::uint32_t> _places;  // of the targets, by source; empty while aligned
};

}  // namespace KrData::detail
