#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "kr/extension/extension.h"
#include "kr/platform/array.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim::detail {

/// The extensions that a module manages: a plain list for readers. Removal of many, one by one,
/// leaves gaps that the next reader closes, and finds each by an index of the places, so that a module loses all its
/// extensions in little more than linear time.
class ManagedList {
public:
    using Holder = Kr::KrSmartPtr<KrExtension>;
    using Extensions = Kr::KrArray<Holder>;

    [[nodiscard]] const Extensions& items();
    /// To be put into another order.
    [[nodiscard]] Extensions& edit();
    [[nodiscard]] bool contains(const KrExtension* extension);
    void append(Holder extension);
    /// Takes the first entry with this extension out, null too; nothing when there is none.
    [[nodiscard]] std::optional<Holder> take(const KrExtension* extension);
    [[nodiscard]] Extensions takeAll();

private:
    using Place = std::pair<const KrExtension*, std::uint32_t>;

    void _closeGaps();
    void _forgetPlaces();
    void _indexPlaces() noexcept;
    [[nodiscard]] std::optional<std::uint32_t> _find(const KrExtension* extension);

    Extensions _items;
    std::vector<std::uint32_t> _gaps;  // places of entries that were taken; null there
    std::vector<Place> _places;        // of all entries but null ones, sorted; empty while few are taken
    std::size_t _takesInARow{0};
};

}  // namespace KrSim::detail
