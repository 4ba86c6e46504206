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

/// Restores the states of extensions and modules in an application, between two frames.
///
/// Order: modules before the content, then content and the other modules, then modules after the content. In each stage
/// all values are set first, so that implementations find the fields of others restored; values that are set meanwhile
/// by observers, implementations and transfers are restored at the end.
///
/// prepare() allocates all memory. Only modules before the content get their states there, since they may create
/// content; unless restore() follows, they get their previous values again.
class StateRestorer {
public:
    /// Both are borrowed.
    StateRestorer(KrSim::KrApplication& application, const KrSim::KrSimulationState& state);
    StateRestorer(const StateRestorer&) = delete;
    StateRestorer& operator=(const StateRestorer&) = delete;
    ~StateRestorer();

    /// Throws std::bad_alloc. Callable once.
    void prepare();
    /// After prepare() only. Allocates only when callbacks of content change its fields meanwhile.
    void restore(RestoreReport& report);

private:
    using Priority = KrSim::IExtensionState::eRestoreStatePriority;
    struct Entry {
        KrSim::KrExtension* extension;
        const KrSim::KrExtensionState* state;
    };
    using Entries = std::vector<Entry>;
    using Stage = std::span<const Entry>;

    /// Pairs states with existing extensions, which are mostly in the order of the states.
    class Matcher;

    /// For the entries from `first` on.
    void _takeMemory(std::size_t first);
    void _keepStates();
    void _giveBack() noexcept;
    void _restoreStage(Stage stage);
    /// Values only. Returns whether an observer was notified.
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
    // The previous state of the modules of the first stage.
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
    // Keeps the entries valid when content is removed meanwhile.
    std::vector<KrSim::HeldExtensions> _heldBelow;
    std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> _held;
};

}  // namespace KrPersistence::detail
