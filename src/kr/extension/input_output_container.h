#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/application/context/application_context.h"
#include "kr/data/container.h"
#include "kr/data/field_loading.h"
#include "kr/data/i_field_owner.h"
#include "kr/extension/fwd.h"
#include "kr/extension/message_list.h"

namespace Kr {

/// The fields of one extension: its name, inputs, outputs, parameters, errors and infos, in this order. Also contains
/// the extension's link to its application and its activation.
///
/// The six children are fixed: they cannot be removed, and no others can be added.
/// Thread: application, except adding errors and infos. Ownership: owned by its extension; owns its fields.
class KR_API KrInputOutputContainer final : public KrData::Container, public KrData::IFieldOwner {
public:
    explicit KrInputOutputContainer(KrSim::KrExtension& owner);
    ~KrInputOutputContainer() override;

    // --- The fixed children ----------------------------------------------------------------------------------------
    [[nodiscard]] KrData::Field<std::string>& getNameField() noexcept { return _name; }
    [[nodiscard]] const KrData::Field<std::string>& getNameField() const noexcept { return _name; }
    [[nodiscard]] KrData::Container& getInputs() noexcept { return _inputs; }  ///< Fields may be added and removed.
    [[nodiscard]] const KrData::Container& getInputs() const noexcept { return _inputs; }
    [[nodiscard]] KrData::Container& getOutputs() noexcept { return _outputs; }  ///< Fields may be added and removed.
    [[nodiscard]] const KrData::Container& getOutputs() const noexcept { return _outputs; }
    /// Fields may be added and removed.
    [[nodiscard]] KrData::Container& getParameters() noexcept { return _parameters; }
    [[nodiscard]] const KrData::Container& getParameters() const noexcept { return _parameters; }
    [[nodiscard]] KrSim::KrMessageList& getErrors() noexcept { return _errors; }  ///< Any thread may add messages.
    [[nodiscard]] const KrSim::KrMessageList& getErrors() const noexcept { return _errors; }
    [[nodiscard]] KrSim::KrMessageList& getInfos() noexcept { return _infos; }  ///< Any thread may add messages.
    [[nodiscard]] const KrSim::KrMessageList& getInfos() const noexcept { return _infos; }

    // --- Application and activation --------------------------------------------------------------------------------
    [[nodiscard]] const KrSim::ApplicationContext& getApplicationContext() const noexcept { return _context; }
    /// Number of modules that manage the extension.
    [[nodiscard]] std::uint32_t getActivationCount() const noexcept { return _activationCount; }

    // --- The field -------------------------------------------------------------------------------------------------
    [[nodiscard]] KrSim::KrExtension* getOwnerExtension() const override { return &_owner; }

private:
    friend class KrSim::KrCloneMap;
    friend class KrSim::KrExtension;
    friend class KrSim::KrObject;
    friend struct KrSim::detail::FieldsAccess;

    /// One more module manages the extension. The first one marks all fields as active, then calls onActive.
    void _activate();
    /// One module less. The last one clears that mark, then calls onInactive. Does nothing at zero.
    void _deactivate();
    void _setApplicationContext(const KrSim::ApplicationContext& context);
    /// Whether a module manages the extension, or the application does not track that.
    [[nodiscard]] bool _isActiveInApplication() const noexcept;

    /// Loads the fields of a container with the children "Inputs", "Outputs" and "Parameters": values into existing
    /// fields, clones of missing ones. Also its name, errors and infos.
    void _loadFrom(const KrData::Container& saved, KrData::FieldLoading how = {});
    /// The same for the three groups only.
    void _loadGroupsFrom(const KrData::Container& saved, KrData::FieldLoading how = {});

    /// The fields of the three groups that have values; the same plan until their trees change.
    [[nodiscard]] const std::shared_ptr<const KrData::ValuePlan>& _getValuePlan() const;
    [[nodiscard]] std::array<KrData::Container*, 3> _getGroups() noexcept {
        return {&_inputs, &_outputs, &_parameters};
    }

    /// Owns a connection of these fields until the extension dies; an invalid one is destroyed in the next call.
    void _ownConnection(std::unique_ptr<KrConnectionBase> connection);
    /// Returns a connection that is owned here; null for any other. Destroying it disconnects.
    [[nodiscard]] std::unique_ptr<KrConnectionBase> _releaseConnection(const KrConnectionBase& connection);
    /// The step group whose units include the extension, or null.
    [[nodiscard]] StepBoundary* _getStepBoundary() const noexcept { return _stepBoundary; }
    void _setStepBoundary(StepBoundary* boundary);
    /// A connection that acts between steps begins or ends here: it depends on application and step group.
    void _setHasSteppedConnections() noexcept { _hasSteppedConnections = true; }
    /// Ends connections and observers of all fields, before the implementation is destroyed.
    void _release();

    [[nodiscard]] bool _mayRemove(std::size_t count) const override;
    [[nodiscard]] bool _accepts(const KrData::FieldBase& field) const override;
    [[nodiscard]] KrData::IFieldOwner* _getFieldOwner() const override;
    void onOutputCountsChanged(int connectedDelta, int watchedDelta) override;
    void onFieldTreeChanged() noexcept override { _valuePlan.reset(); }
    KrSim::KrExtension* asExtension() noexcept override { return &_owner; }

    void _endKept() noexcept;
    void _numberKept() noexcept;

    /// Notifies the extension of its new name before all other observers.
    class NameField final : public KrData::Field<std::string> {
    public:
        NameField(KrSim::KrExtension& owner, KrData::Container* parent);
        ~NameField() override;
        void _notifyChanged(const KrData::FieldBase& changed) const override;

    private:
        KrSim::KrExtension& _owner;
    };

    KrSim::KrExtension& _owner;
    KrSim::ApplicationContext _context;
    std::uint32_t _activationCount{0};
    std::atomic<int> _connectedOutputs{0};
    std::atomic<int> _watchedOutputs{0};  // changed by all threads that observe
    bool _isComplete{false};
    bool _hasSteppedConnections{false};  // or had
    StepBoundary* _stepBoundary{nullptr};
    std::vector<std::unique_ptr<KrConnectionBase>> _connections;  // each knows its place; null for released ones
    std::size_t _releasedCount{0};                                // nulls among them
    mutable std::shared_ptr<const KrData::ValuePlan> _valuePlan;  // outlives the fields, whose end resets it
    NameField _name;
    KrData::Container _inputs;
    KrData::Container _outputs;
    KrData::Container _parameters;
    KrSim::KrMessageList _errors;
    KrSim::KrMessageList _infos;
};

}  // namespace Kr
