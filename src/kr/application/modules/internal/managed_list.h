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

/// The extensions that a module manages: a plain list for readers. Removing extensions one by one leaves gaps that the
/// next reader closes, and finds each by an index of the places, so that a module loses all its extensions in little
/// more than linear time.
class ManagedList {
public:
    using Holder = Kr::KrSmartPtr<KrExtension>;
    using Extensions = Kr::KrArray<Holder>;

    [[nodiscard]] const Extensions& items();
    /// For changes of the order.
    [[nodiscard]] Extensions& edit();
    [[nodiscard]] bool contains(const KrExtension* extension);
    void append(Holder extension);
    /// Removes the first entry with this extension, which may be null; empty without one.
    [[nodiscard]] std::optional<Holder> take(const KrExtension* extension);
    [[nodiscard]] Extensions takeAll();

private:
    using Place = std::pair<const KrExtension*, std::uint32_t>;

    void _closeGaps();
    void _forgetPlaces();
    void _indexPlaces() noexcept;
    [[nodiscard]] std::optional<std::uint32_t> _find(const KrExtension* extension);

    Extensions _items;
    std::vector<std::uint32_t> _gaps;  // places of removed entries, which are null
    std::vector<Place> _places;        // of all entries that are not null, sorted; empty while few are removed
    std::size_t _takesInARow{0};
};

}  // namespace KrSim::detail
