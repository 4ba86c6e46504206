#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "kr/extension/extension_state.h"

namespace KrSim::detail {

/// What taking, restoring and storing states of the simulation uses of them.
struct StateAccess {
    // --- Of one extension
    [[nodiscard]] static const KrData::ValuePlan& getPlan(const KrExtensionState& state) { return state._getPlan(); }
    [[nodiscard]] static const KrData::FieldValues& getValues(const KrExtensionState& state) { return state._values; }
    static void setImplementationData(KrExtensionState& state, std::string data) {
        state._setImplementationData(std::move(data));
    }
    [[nodiscard]] static bool isOf(const KrExtensionState& state, const KrExtension& extension) {
        return state._isOf(extension);
    }
    /// For a restore of many states, which restores all values before it calls the first implementation.
    static void setValuesAreBack(const KrExtensionState& state, bool areBack) { state._valuesAreBack = areBack; }

    // --- Of many
    /// Call it for each of many states, in order, before it is taken or restored. `at` returns a pointer to the state
    /// at an index below `count`, or null.
    template <class StateAt>
    static void fetchAhead(std::size_t index, std::size_t count, const StateAt& at,
                           int steps = KrExtensionState::kFetchSteps) {
        constexpr std::size_t kApart = 2;
        for (int step = 0; step < steps; ++step) {
            const auto ahead = index + kApart * static_cast<std::size_t>(KrExtensionState::kFetchSteps - step);
            if (ahead >= count) continue;
            if (const KrExtensionState* state = at(ahead)) state->_fetch(step);
        }
    }
    [[nodiscard]] static const KrExtensionState* findStateOfItem(const KrSimulationState& states,
                                                                 const KrContentID& id) {
        return states._findStateOfItem(id);
    }
    /// Whether states are added by a module from now on.
    static void setAddedByModule(KrSimulationState& states, bool added) { states._isModuleAdding = added; }
    static void recycle(KrSimulationState& states) { states._recycle(); }
};

}  // namespace KrSim::detail
