#pragma once

#include <compare>
#include <cstdint>

#include "kr/platform/export.h"

namespace KrSim {

/// The number of an event as the event-id list assigned it; 0, which no name has, until one is assigned.
/// Numbers are made by the event manager from names; compare ids, and ask the event-id list for the name.
class KR_API EventId {
public:
    constexpr EventId() noexcept = default;

    [[nodiscard]] static constexpr EventId _fromNumber(std::int32_t number) noexcept {
        EventId id;
        id._value = number;
        return id;
    }
    [[nodiscard]] constexpr std::int32_t _getNumber() const noexcept { return _value; }

    friend constexpr bool operator==(EventId, EventId) noexcept = default;

private:
    std::int32_t _value{0};
};

}  // namespace KrSim
