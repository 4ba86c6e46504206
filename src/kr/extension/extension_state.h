#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/data/container.h"
#include "kr/data/value_plan.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// What one extension was at one moment of the simulation: the values of its inputs, outputs and parameters, and the
/// bytes that its implementation wrote in onStateSave.
///
/// Thread: the application thread.
class KR_API KrExtensionState final : public Kr::KrRefCount {
public:
    /// Takes the values of the fields now; fillSimulationState adds the bytes.
    explicit KrExtensionState(const KrExtension& extension);
    /// A state that was kept elsewhere: takes the values of the fields of the plan, which may go then.
    KrExtensionState(const KrContentID& id, const KrFactoryKey& creationKey, const std::string& name,
                     std::shared_ptr<const KrData::ValuePlan> plan);
    ~KrExtensionState() override;

    [[nodiscard]] const KrContentID& getContentID() const noexcept;
    [[nodiscard]] const KrFactoryKey& getCreationKey() const noexcept;
    [[nodiscard]] const std::string& getName() const noexcept;
    /// Likenesses of "Inputs", "Outputs" and "Parameters" with the values, without descriptions, ranges and metadata.
    /// Made at the first call and kept.
    [[nodiscard]] const KrData::Container& getFields() const;
    /// Empty, too, when there was no implementation or onStateSave has thrown.
    [[nodiscard]] const std::string& getImplementationData() const noexcept { return _implementationData; }
    [[nodiscard]] bool hasImplementationData() const noexcept { return _hasImplementationData; }
    void _setImplementationData(std::string data);
    /// Whether a module has added it on its own account, of an extension that need not be content.
    [[nodiscard]] bool isAddedByModule() const noexcept { return _isAddedByModule; }
    /// Memory that this state takes, but for what it shares with other states of the extension.
    [[nodiscard]] std::size_t getSizeBytes() const;

    [[nodiscard]] const KrData::ValuePlan& _getPlan() const noexcept;
    [[nodiscard]] const KrData::FieldValues& _getValues() const noexcept { return _values; }
    /// Whether it was taken of this extension, and what it shares with new states has not changed since.
    [[nodiscard]] bool _isOf(const KrExtension& extension) const;
    /// Takes the values again; for _isOf() only. The bytes go.
    void _retake();
    /// A restore of many states puts the values of all of them back before the first implementation is called.
    void _setValuesAreBack(bool areBack) const noexcept { _valuesAreBack = areBack; }
    [[nodiscard]] bool _areValuesBack() const noexcept { return _valuesAreBack; }
    /// Has the processor fetch what taking or restoring this state will touch, in kFetchSteps steps, each some time
    /// after the one before: what lies in memory behind a pointer is found when the pointer is there.
    void _fetch(int step) const noexcept;
    static constexpr int kFetchSteps = 5;
    static constexpr int kStepsBeforeFields = 3;
    /// To be called for each of many states, in order, before it is taken or restored. `at` answers a pointer to the
    /// state at an index below `count`, or null.
    template <class StateAt>
    static void _fetchAhead(std::size_t index, std::size_t count, const StateAt& at, int steps = kFetchSteps) {
        constexpr std::size_t kApart = 2;
        for (int step = 0; step < steps; ++step) {
            const auto ahead = index + kApart * static_cast<std::size_t>(kFetchSteps - step);
            if (ahead >= count) continue;
            if (const KrExtensionState* state = at(ahead)) state->_fetch(step);
        }
    }

private:
    friend class KrSimulationState;

    std::shared_ptr<const detail::StateHeader> _header;
    KrData::FieldValues _values;
    std::string _implementationData;
    bool _hasImplementationData{false};
    bool _isAddedByModule{false};
    mutable bool _valuesAreBack{false};
    mutable std::unique_ptr<KrData::Container> _fields;
};

/// The states of many extensions at one moment.
/// Thread: the application thread, between frames.
class KR_API KrSimulationState final : public Kr::KrRefCount {
public:
    KrSimulationState();
    ~KrSimulationState() override;

    /// Null is ignored. A second state of one content ID replaces the first.
    void addExtensionState(Kr::KrSmartPtr<KrExtensionState> state);
    /// Null when there is none.
    [[nodiscard]] const KrExtensionState* findExtensionState(const KrContentID& id) const;
    /// The only one of this raw ID; null for none and for several.
    [[nodiscard]] const KrExtensionState* _findStateOfItem(const KrContentID& id) const;
    /// In the order in which they were added.
    [[nodiscard]] const std::vector<Kr::KrSmartPtr<KrExtensionState>>& getExtensionStates() const;
    /// Memory that the states take.
    [[nodiscard]] std::size_t getSizeBytes() const;

    /// What is added until the next call was added by a module, or not.
    void _setAddedByModule(bool added) noexcept { _isModuleAdding = added; }
    /// Forgets the states, but keeps their memory for states of the same extensions in the same order.
    void _recycle();
    /// A state of the extension now, without bytes: a recycled one where it fits, unless it has another holder.
    [[nodiscard]] Kr::KrSmartPtr<KrExtensionState> _makeState(const KrExtension& extension);

private:
    struct Index;

    void _bringIndexUpToDate() const;

    mutable std::vector<Kr::KrSmartPtr<KrExtensionState>> _states;
    mutable std::unique_ptr<Index> _index;  // made with the first question for a single state
    std::vector<Kr::KrSmartPtr<KrExtensionState>> _spare;
    std::size_t _nextSpare{0};
    bool _isModuleAdding{false};
};

}  // namespace KrSim
