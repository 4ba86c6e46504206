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

/// The state of one extension at one moment of the simulation: the values of its inputs, outputs and parameters, and
/// the bytes that its implementation wrote in onStateSave.
///
/// Thread: application. Ownership: shared; owns its values.
class KR_API KrExtensionState final : public Kr::KrRefCount {
public:
    /// Takes the values of the fields; fillSimulationState adds the bytes.
    explicit KrExtensionState(const KrExtension& extension);
    /// A state from elsewhere: takes the values of the fields of the plan, which are not needed afterwards.
    KrExtensionState(const KrContentID& id, const KrFactoryKey& creationKey, const std::string& name,
                     std::shared_ptr<const KrData::ValuePlan> plan);
    ~KrExtensionState() override;

    /// The ID of the extension when the state was taken.
    [[nodiscard]] const KrContentID& getContentID() const noexcept;
    [[nodiscard]] const KrFactoryKey& getCreationKey() const noexcept;
    [[nodiscard]] const std::string& getName() const noexcept;  ///< The name of the extension when the state was taken.
    /// Copies of "Inputs", "Outputs" and "Parameters" with the values, without descriptions, ranges and metadata.
    /// Created by the first call and kept.
    [[nodiscard]] const KrData::Container& getFields() const;
    /// Empty also when there was no implementation or onStateSave has thrown.
    [[nodiscard]] const std::string& getImplementationData() const noexcept { return _implementationData; }
    [[nodiscard]] bool hasImplementationData() const noexcept { return _hasImplementationData; }
    /// Whether a module has added it itself, for an extension that need not be content.
    [[nodiscard]] bool isAddedByModule() const noexcept { return _isAddedByModule; }
    /// Memory of this state in bytes, without data shared with other states of the extension.
    [[nodiscard]] std::size_t getSizeBytes() const;

    /// Steps of prefetching a state, and those before its fields.
    static constexpr int kFetchSteps = 5;
    static constexpr int kStepsBeforeFields = 3;

private:
    friend class KrExtension;
    friend class KrSimulationState;
    friend struct detail::StateAccess;

    [[nodiscard]] const KrData::ValuePlan& _getPlan() const noexcept;
    void _setImplementationData(std::string data);
    /// Whether it was taken of this extension, and the data shared with new states has not changed since.
    [[nodiscard]] bool _isOf(const KrExtension& extension) const;
    /// Takes the values again; only when _isOf() is true. Drops the bytes.
    void _retake();
    /// Prefetches the memory for taking or restoring this state, in kFetchSteps steps, with some time between two
    /// steps: memory behind a pointer can be fetched only when the pointer is there.
    void _fetch(int step) const noexcept;

    std::shared_ptr<const detail::StateHeader> _header;
    KrData::FieldValues _values;
    std::string _implementationData;
    bool _hasImplementationData{false};
    bool _isAddedByModule{false};
    mutable bool _valuesAreBack{false};
    mutable std::unique_ptr<KrData::Container> _fields;
};

/// The states of many extensions at one moment.
/// Thread: application, between frames. Ownership: shared; shares the states.
class KR_API KrSimulationState final : public Kr::KrRefCount {
public:
    KrSimulationState();
    ~KrSimulationState() override;

    /// Ignores null. A second state of one content ID replaces the first.
    void addExtensionState(Kr::KrSmartPtr<KrExtensionState> state);
    /// Null without such a state.
    [[nodiscard]] const KrExtensionState* findExtensionState(const KrContentID& id) const;
    /// In the order in which they were added.
    [[nodiscard]] const std::vector<Kr::KrSmartPtr<KrExtensionState>>& getExtensionStates() const;
    /// Memory of the states in bytes.
    [[nodiscard]] std::size_t getSizeBytes() const;

private:
    friend class KrExtension;
    friend struct detail::StateAccess;
    struct Index;

    /// The only one with this raw ID; null for none and for several.
    [[nodiscard]] const KrExtensionState* _findStateOfItem(const KrContentID& id) const;
    /// Drops the states, but keeps their memory for states of the same extensions in the same order.
    void _recycle();
    /// A new state of the extension, without bytes: a recycled one that fits, unless it has another holder.
    [[nodiscard]] Kr::KrSmartPtr<KrExtensionState> _makeState(const KrExtension& extension);
    void _bringIndexUpToDate() const;

    mutable std::vector<Kr::KrSmartPtr<KrExtensionState>> _states;
    mutable std::unique_ptr<Index> _index;  // created by the first search for a single state
    std::vector<Kr::KrSmartPtr<KrExtensionState>> _spare;
    std::size_t _nextSpare{0};
    bool _isModuleAdding{false};
};

}  // namespace KrSim
