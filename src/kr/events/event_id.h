#pragma once

#include <compare>
#include <cstdint>

#include "kr/platform/export.h"

namespace KrSim {

/// The number of an event, assigned by the event-id list; 0, which no name has, before that. The event manager makes
/// numbers from names: compare ids, and use the event-id list to get the name.
/// Thread: value. Ownership: value.
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
