#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/data/array_resizes.h"
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
///
/// prepare() takes all the memory. Only modules that go before the content get their states there, since they may make
/// content; unless restore() follows, they get back what they had.
class StateRestorer {
public:
    /// Both live as long as this.
    StateRestorer(KrSim::KrApplication& application, const KrSim::KrSimulationState& state);
    StateRestorer(const StateRestorer&) = delete;
    StateRestorer& operator=(const StateRestorer&) = delete;
    ~StateRestorer();

    /// Throws std::bad_alloc. Callable once.
    void prepare();
    /// After prepare() only. Takes memory only where callbacks of content change its fields meanwhile.
    void restore(RestoreReport& report);

private:
    using Priority = KrSim::IExtensionState::eRestoreStatePriority;
    struct Entry {
        KrSim::KrExtension* extension;
        const KrSim::KrExtensionState* state;
    };
    using Entries = std::vector<Entry>;
    using Stage = std::span<const Entry>;

    /// Pairs states with the extensions that are here, which mostly stand in the order of the states.
    class Matcher;

    /// For the entries from here to the last one.
    void _takeMemory(std::size_t first);
    void _keepStates();
    void _giveBack() noexcept;
    void _restoreStage(Stage stage);
    /// Values only. Answers whether any observer was told.
    template <class AfterEach>
    bool _restoreValues(Stage entries, const AfterEach& afterEach);
    void _collectModules(Matcher& matcher, Priority priority);
    void _collectContent(const KrSim::KrObject& object, Matcher& matcher);

    KrSim::KrApplication& _application;
    const KrSim::KrSimulationState& _state;
    KrData::ArrayResizes _resizes;
    Entries _all;  // one stage after the other
    std::size_t _contentBegin{0};
    std::size_t _contentEnd{0};
    std::size_t _untouched{0};
    // What the modules of the first stage had.
    std::vector<Kr::KrSmartPtr<KrSim::KrExtensionState>> _keptStates;
    Entries _kept;

    /// An extension with changed fields, and the place of the first of them.
    struct Range {
        KrSim::KrExtension* extension;
        std::size_t first;
    };
    std::vector<KrData::FieldBase*> _changed;
    std::vector<KrData::FieldBase*> _changedOutputs;  // of one extension
    std::vector<Range> _ranges;
    std::size_t _valueCount{0};  // of all entries so far
    std::size_t _missingFields{0};
    // Whatever goes meanwhile, the entries stay good.
    std::vector<KrSim::HeldExtensions> _heldBelow;
    std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> _held;
};

}  // namespace KrPersistence::detail
