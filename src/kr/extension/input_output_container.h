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

/// The fields of one extension: its name, inputs, outputs, parameters, errors and infos, in this order. Also the place
/// where the extension's link to its application and its activation are kept.
///
/// The six children are fixed: they cannot be removed, and none can be added beside them.
/// Thread: the application thread, but for adding errors and infos.
class KR_API KrInputOutputContainer final : public KrData::Container, public KrData::IFieldOwner {
public:
    explicit KrInputOutputContainer(KrSim::KrExtension& owner);
    ~KrInputOutputContainer() override;

    // --- The fixed children ----------------------------------------------------------------------------------------
    [[nodiscard]] KrData::Field<std::string>& getNameField() noexcept { return _name; }
    [[nodiscard]] const KrData::Field<std::string>& getNameField() const noexcept { return _name; }
    [[nodiscard]] KrData::Container& getInputs() noexcept { return _inputs; }
    [[nodiscard]] const KrData::Container& getInputs() const noexcept { return _inputs; }
    [[nodiscard]] KrData::Container& getOutputs() noexcept { return _outputs; }
    [[nodiscard]] const KrData::Container& getOutputs() const noexcept { return _outputs; }
    [[nodiscard]] KrData::Container& getParameters() noexcept { return _parameters; }
    [[nodiscard]] const KrData::Container& getParameters() const noexcept { return _parameters; }
    [[nodiscard]] KrSim::KrMessageList& getErrors() noexcept { return _errors; }
    [[nodiscard]] const KrSim::KrMessageList& getErrors() const noexcept { return _errors; }
    [[nodiscard]] KrSim::KrMessageList& getInfos() noexcept { return _infos; }
    [[nodiscard]] const KrSim::KrMessageList& getInfos() const noexcept { return _infos; }

    // --- Application and activation --------------------------------------------------------------------------------
    [[nodiscard]] const KrSim::ApplicationContext& getApplicationContext() const noexcept { return _context; }
    /// Above zero while modules manage the extension.
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
    /// The last one clears that mark, then calls onInactive. Nothing happens at zero.
    void _deactivate();
    void _setApplicationContext(const KrSim::ApplicationContext& context);
    /// Whether a module manages the extension, or the application keeps no count of that.
    [[nodiscard]] bool _isActiveInApplication() const noexcept;

    /// Takes over the fields of a container with "Inputs", "Outputs" and "Parameters" among its children: the values of
    /// fields that are here, clones of those that are not. Also the name, errors and infos that it holds.
    void _loadFrom(const KrData::Container& saved, KrData::FieldLoading how = {});
    /// The same for the three groups only.
    void _loadGroupsFrom(const KrData::Container& saved, KrData::FieldLoading how = {});

    /// The fields of the three groups that have values; the same plan as long as their trees do not change.
    [[nodiscard]] const std::shared_ptr<const KrData::ValuePlan>& _getValuePlan() const;
    [[nodiscard]] std::array<KrData::Container*, 3> _getGroups() noexcept {
        return {&_inputs, &_outputs, &_parameters};
    }

    /// Keeps a connection of these fields until the extension dies; one that became invalid goes at the next call.
    void _ownConnection(std::unique_ptr<KrConnectionBase> connection);
    /// Hands back a connection that is kept here; null for any other. Destroying it disconnects.
    [[nodiscard]] std::unique_ptr<KrConnectionBase> _releaseConnection(const KrConnectionBase& connection);
    /// Ends connections and observers of all fields, before the implementation goes.
    void _release();

    [[nodiscard]] bool _mayRemove(std::size_t count) const override;
    [[nodiscard]] bool _accepts(const KrData::FieldBase& field) const override;
    [[nodiscard]] KrData::IFieldOwner* _getFieldOwner() const override;
    void _onOutputCountsChanged(int connectedDelta, int watchedDelta) override;
    void _onFieldTreeChanged() noexcept override { _valuePlan.reset(); }
    KrSim::KrExtension* _asExtension() noexcept override { return &_owner; }

    void _endKept() noexcept;
    void _numberKept() noexcept;

    /// Tells the extension of its new name before all other observers.
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
    std::vector<std::unique_ptr<KrConnectionBase>> _connections;  // each knows its place; null where one was released
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
