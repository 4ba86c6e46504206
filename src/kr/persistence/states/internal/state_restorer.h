#pragma once

#include <cstddef>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/data/fwd.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/held_extensions.h"
#include "kr/extension/i_extension_state.h"
#include "kr/persistence/states/restore_report.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

/// Puts the states of extensions and modules back into an application, between two frames.
///
/// Modules that go before the content, then content and the other modules, then those that go after it. Of each stage
/// all values come first, so that implementations find the fields of others as they were; values that are set
/// meanwhile, by observers, implementations and the transfers that follow, are put back in the end.
class StateRestorer {
public:
    StateRestorer(KrSim::KrApplication& application, const KrSim::KrSimulationState& state);

    void run(RestoreReport& report);

private:
    using Priority = KrSim::IExtensionState::eRestoreStatePriority;
    struct Entry {
        KrSim::KrExtension* extension;
        const KrSim::KrExtensionState* state;
    };
    using Entries = std::vector<Entry>;

    /// Pairs states with the extensions that are here, which mostly stand in the order of the states.
    class Matcher;

    void _prepare(const Entries& entries);
    void _restoreStage(const Entries& stage);
    /// Values only. Answers whether any observer was told.
    template <class AfterEach>
    bool _restoreValues(const Entries& entries, const AfterEach& afterEach);
    void _collectModules(Matcher& matcher, Priority priority, Entries& entries);
    void _collectContent(const KrSim::KrObject& object, Matcher& matcher, Entries& entries);

    KrSim::KrApplication& _application;
    const KrSim::KrSimulationState& _state;
    /// An extension with changed fields, and the place of the first of them.
    struct Range {
        KrSim::KrExtension* extension;
        std::size_t first;
    };
    std::vector<KrData::FieldBase*> _changed;
    std::vector<Range> _ranges;
    std::size_t _valueCount{0};  // of all entries so far
    std::size_t _entryCount{0};
    std::size_t _missingFields{0};
    // Whatever goes meanwhile, the entries stay good.
    std::vector<KrSim::HeldExtensions> _heldBelow;
    std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> _held;
};

}  // namespace KrPersistence::detail
