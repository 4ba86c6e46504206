#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <typeinfo>
#include <vector>

#include "kr/application/context/application_context.h"
#include "kr/content/content_id.h"
#include "kr/core/base.h"
#include "kr/data/field_base.h"
#include "kr/data/types.h"
#include "kr/extension/clone_map.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/fwd.h"
#include "kr/extension/versioning_registry.h"
#include "kr/platform/export.h"
#include "kr/platform/guard.h"
#include "kr/platform/pooled_object.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

/// The framework half of an extension, the unit of simulation content: identity, typed fields, errors and infos, and
/// the owner object. The implementation half, IExtension, has the behaviour; without one, as when its plug-in is
/// missing, an extension is still complete content that is shown, copied and saved without loss.
///
/// Plug-in authors use this class as the proxy of their implementation, hosts as the product of the factory.
///
/// Thread: application; errors and infos may be added on any.
/// Ownership: held by KrSmartPtr; an object holds its extensions, an extension owns its fields and its implementation.
class KR_API KrExtension : public Kr::KrBase, public Kr::KrRefCount, public Kr::PooledObject {
    KR_BASE_CLASS(KrExtension, Kr::KrBase)

    /// As an index argument: after all others.
    static constexpr std::uint64_t kLastIndex = std::numeric_limits<std::uint64_t>::max();

    using Index = std::uint64_t;
    using Observer = KrData::FieldBase::Observer;

    /// A plain extension: unnamed, without type and implementation, with its own content ID.
    KrExtension();
    ~KrExtension() override;

    // --- Virtual operations, in slot order -------------------------------------------------------------------------
    /// Sets the name field and notifies its observers. Null and empty text do not change an existing name, and give an
    /// unnamed extension its default name.
    void setName(const char* name) override;
    /// Removes all inputs with this identifier and returns their number.
    virtual std::size_t removeInput(const Kr::KrID& id);
    virtual std::size_t removeOutput(const Kr::KrID& id);
    virtual std::size_t removeParameter(const Kr::KrID& id);
    /// Adds the state of this extension (an object: and of all extensions below it) to a snapshot. Ignores null.
    virtual void fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const;
    /// All errors, each as "name: message" with a line feed. The argument has no effect, here and below.
    [[nodiscard]] virtual std::string getAllErrors(bool recursive = true) const;
    /// Whether there are errors. An extension whose implementation is not active reports none.
    [[nodiscard]] virtual bool hasError(bool recursive = true) const;
    [[nodiscard]] virtual bool hasInfo(bool recursive = true) const;
    /// All infos, each with a line feed.
    [[nodiscard]] virtual std::string getAllInfos(bool recursive = true) const;
    /// A copy with a new content ID: fields, and the connections between copied extensions, but neither owner nor
    /// application. The filter selects the copied extensions; null when it rejects this one.
    [[nodiscard]] virtual Kr::KrSmartPtr<KrExtension> clone(const KrCloneFilter& filter) const;
    [[nodiscard]] virtual Kr::KrSmartPtr<KrExtension> clone(const KrContentID& id) const;
    [[nodiscard]] virtual Kr::KrSmartPtr<KrExtension> clone() const;
    /// The mode of the application, Editing without one.
    [[nodiscard]] virtual eApplicationMode getApplicationMode() const;

    // --- Identity and place ----------------------------------------------------------------------------------------
    [[nodiscard]] const KrContentID& getContentID() const noexcept { return _contentID; }
    /// The key of the type; null for plain extensions.
    [[nodiscard]] const KrFactoryKey& getCreationKey() const noexcept { return _creationKey; }
    /// The display name of the type; the class name for plain extensions.
    [[nodiscard]] const std::string& getTypeName() const noexcept;
    /// The names from the outermost object down to this extension, joined by "/".
    [[nodiscard]] std::string getPath() const;
    /// The object that holds this extension, or null.
    [[nodiscard]] KrObject* getOwner() const noexcept { return _owner.load(std::memory_order_acquire); }
    [[nodiscard]] ApplicationContext getApplicationContext() const;
    /// Whether it takes part in the simulation: a module manages it, or it belongs to no application.
    [[nodiscard]] bool isActive() const;
    /// Whether there is an implementation that is no placeholder.
    [[nodiscard]] bool hasImplementation() const noexcept { return _hasImplementation; }
    /// Null without one and for a placeholder.
    [[nodiscard]] IExtension* getImplementation() const noexcept { return _implementation; }
    /// The implementation as a T, or null.
    template <class T>
    [[nodiscard]] T* getImplementationAs() const noexcept {
        return _hasImplementation ? dynamic_cast<T*>(_implementation) : nullptr;
    }
    /// Version of the implementation; 0 without one.
    [[nodiscard]] std::int32_t getImplementationVersion() const noexcept { return _implementationVersion; }
    /// Version of the loaded data; -1 before.
    [[nodiscard]] std::int32_t getDataVersion() const noexcept { return _dataVersion; }
    [[nodiscard]] const KrVersioningRegistry::Versions& getVersions() const noexcept { return _versions; }

    // --- Fields ----------------------------------------------------------------------------------------------------
    /// A new field before the one at `index`; its identifier gets a number when it is taken. Null for a type that
    /// cannot be produced and for an index past the end. The extension owns the field.
    KrData::FieldBase* addInput(const Kr::KrID& name, KrData::Types::DataTypeEnum type, Index index = kLastIndex);
    KrData::FieldBase* addInput(const Kr::KrID& name, const std::type_info& type, Index index = kLastIndex);
    /// A field that refers to an extension of this interface.
    KrData::FieldBase* addInput(const Kr::KrID& name, const Kr::KrID& type, Index index = kLastIndex);
    KrData::FieldBase* addOutput(const Kr::KrID& name, KrData::Types::DataTypeEnum type, Index index = kLastIndex);
    KrData::FieldBase* addOutput(const Kr::KrID& name, const std::type_info& type, Index index = kLastIndex);
    KrData::FieldBase* addOutput(const Kr::KrID& name, const Kr::KrID& type, Index index = kLastIndex);
    KrData::FieldBase* addParameter(const Kr::KrID& name, KrData::Types::DataTypeEnum type, Index index = kLastIndex);
    KrData::FieldBase* addParameter(const Kr::KrID& name, const std::type_info& type, Index index = kLastIndex);
    KrData::FieldBase* addParameter(const Kr::KrID& name, const Kr::KrID& type, Index index = kLastIndex);
    /// Null without such an input.
    [[nodiscard]] KrData::FieldBase* getInput(const Kr::KrID& id) const;
    [[nodiscard]] KrData::FieldBase* getOutput(const Kr::KrID& id) const;
    [[nodiscard]] KrData::FieldBase* getParameter(const Kr::KrID& id) const;
    [[nodiscard]] KrData::Container& getInputContainer();
    [[nodiscard]] const KrData::Container& getInputContainer() const;
    [[nodiscard]] KrData::Container& getOutputContainer();
    [[nodiscard]] const KrData::Container& getOutputContainer() const;
    [[nodiscard]] KrData::Container& getParameterContainer();
    [[nodiscard]] const KrData::Container& getParameterContainer() const;
    [[nodiscard]] Kr::KrInputOutputContainer& getFieldsContainer() noexcept { return *_fields; }
    [[nodiscard]] const Kr::KrInputOutputContainer& getFieldsContainer() const noexcept { return *_fields; }
    /// By its path below the fields container, such as "Inputs.Force"; null without such a field.
    [[nodiscard]] KrData::FieldBase* findFieldFromPath(const std::string& path) const;
    /// Calls the function with each field of this extension whose value changed, until the returned handle ends.
    [[nodiscard]] KrData::DelegateConnection addObserver(Observer observer);
    /// The same for identifiers, descriptions and other properties.
    [[nodiscard]] KrData::DelegateConnection addPropertyObserver(Observer observer);

    // --- Errors and infos; any thread ------------------------------------------------------------------------------
    /// Adds a new message; ignores an empty or existing one. With `log`, a new one is logged as a warning. An unnamed
    /// extension gets a name then, so name it before other threads add messages.
    void addError(const std::string& message, bool log);
    void addInfo(const std::string& message, bool log);
    void removeError(std::size_t index);
    void removeError(const std::string& message, bool log);
    void removeInfo(std::size_t index);
    void removeInfo(const std::string& message, bool log);
    void clearErrors();
    void clearInfos();
    [[nodiscard]] std::size_t getErrorCount() const;
    [[nodiscard]] std::size_t getInfoCount() const;
    /// An empty text past the end. The reference is valid until the list changes.
    [[nodiscard]] const std::string& getError(std::size_t index) const;
    [[nodiscard]] const std::string& getInfo(std::size_t index) const;
    /// The errors of this extension alone, in the form of getAllErrors.
    [[nodiscard]] std::string getError() const;

    /// Number of bytes, from the beginning of an extension, that taking and restoring states reads.
    static constexpr std::size_t kHotBytes = 128;
    /// The sorter's number of an extension that is not registered there.
    static constexpr std::uint32_t kNoSlot = 0xffffffff;

protected:
    // --- For the framework: objects, factory, modules, loaders -----------------------------------------------------
    /// Adds the bytes of the implementation to a state with the values of the fields.
    virtual void _fillState(KrExtensionState& state) const;
    /// Restores field values without a transfer over connections, notifies their observers, and passes the bytes to the
    /// implementation.
    virtual void _restoreState(const KrExtensionState& state);
    /// Restores outputs only; implementations of positions add them. `changed` is memory for reuse, empty outside.
    virtual void _restorePositionsAndOutputs(const KrExtensionState& state, std::vector<KrData::FieldBase*>& changed);
    /// Restores the sizes of field arrays, and allocates the memory for restoring the field values of this state, so
    /// that it cannot fail half way. Returns the number of values.
    std::size_t _prepareRestore(const KrExtensionState& state, KrData::ArrayResizes& resizes);
    /// Restores field values without notification; `changed` receives the fields whose observers must be notified.
    /// Returns the number of values without a field here. Field arrays get their former sizes.
    std::size_t _restoreFieldValues(const KrExtensionState& state, std::vector<KrData::FieldBase*>& changed);
    /// Notifies the observers of those fields that still exist, but no connections.
    void _tellRestored(std::span<KrData::FieldBase* const> changed);
    /// The data shared by states of this extension, created again after a change.
    [[nodiscard]] const std::shared_ptr<const detail::StateHeader>& _getStateHeader() const;
    /// Prepares the implementation for loading data. False when the data can only be kept.
    virtual bool _onPreLoadImplementation(KrData::Container* saved);
    virtual void _onPostLoadImplementation(KrData::Container* saved);
    virtual void _setContentID(const KrContentID& id);
    virtual void _copyTo(KrExtension* target, bool copyFields) const;
    /// Null when the source was cloned before, when the filter rejects it and when the owner refuses the clone.
    virtual Kr::KrSmartPtr<KrExtension> _clone(const KrCloneRequest& request) const;
    /// Attaches a placeholder, which marks an extension of unknown type: no callback reaches it, and no error reports
    /// that the type cannot be created.
    virtual void _createUnknownImplementation();
    /// Whether the implementation is a module, which objects refuse.
    [[nodiscard]] virtual bool _isSimulatorModule() const noexcept;
    /// Links this extension (an object: and all extensions below it) to an application; an empty context ends that.
    virtual void _setApplicationContext(const ApplicationContext& context);

    void _setOwner(KrObject* owner);
    /// Owns the implementation from now on and destroys the previous one. Called by the constructor of IExtension.
    void _setIExtension(IExtension* implementation);
    void _setCreationKey(const KrFactoryKey& key);
    void _updateVersionInfo();
    void _synchronizeImplementation(const IExtension* source);
    /// Loads the saved fields; after any failure the data is kept. Null when nothing was saved.
    void _loadImplementation(KrData::Container* saved);
    /// Keeps saved inputs, outputs and parameters that cannot be interpreted.
    void _onNoLoadPossible(const KrData::Container* saved);
    [[nodiscard]] KrData::FieldLoading _howToLoad() const;
    /// Names an unnamed extension: by its name field, else by its type and creation index.
    void _setDefaultName();
    /// Names an unnamed extension "default" and its creation index.
    void _ensureName();
    /// Called by a dying implementation; drops it if it is the current one.
    void _forgetImplementation(const IExtension* implementation) noexcept;
    /// Called by the name field after a change of its value.
    void _onNameFieldChanged();

    /// Calls onStateSave and onStateRestore; exceptions are logged with these texts. An implementation that throws
    /// leaves no bytes, and is not called to restore that state.
    void _saveImplementationState(KrExtensionState& state, const Kr::GuardTexts& texts) const;
    void _restoreImplementationState(const KrExtensionState& state, const Kr::GuardTexts& texts);
    /// A new extension of this type; plain when the factory creates none. Null, logged, when that does not fit.
    [[nodiscard]] virtual Kr::KrSmartPtr<KrExtension> _makeClone() const;
    void _setUnknownPlaceholder() noexcept { _isUnknown = true; }

private:
    friend class detail::ObjectMap;
    friend class IExtension;
    friend class KrCloneMap;
    friend class KrExtensionState;
    friend class Kr::KrInputOutputContainer;
    friend class KrObject;
    friend struct detail::ExtensionAccess;

    /// The link to the other living extensions of one type; set and guarded by the factory.
    struct InstanceLink {
        void* list{nullptr};
        KrExtension* previous{nullptr};
        KrExtension* next{nullptr};
    };

    void _addPending(int count) noexcept {
        _pendingCount += count;
        _isRefusingValues = _isSuspended && _pendingCount <= 0;
    }
    void _addMessage(KrMessageList& list, const std::string& message, bool log);
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> _cloneAll(const KrContentID& id, const KrCloneFilter* filter) const;

    // The data that a frame, and a snapshot, reads of every extension: the first kHotBytes of the object.
    IExtension* _implementation{nullptr};
    int _pendingCount{0};
    bool _isSuspended{false};
    bool _isRefusingValues{false};
    bool _hasImplementation{false};
    bool _isUnknown{false};
    std::unique_ptr<Kr::KrInputOutputContainer> _fields;
    mutable std::shared_ptr<const detail::StateHeader> _stateHeader;
    std::atomic<KrObject*> _owner{nullptr};  // read by threads that add and remove
    std::uint64_t _position{0};
    KrFactoryKey _creationKey;
    KrContentID _contentID;
    std::int32_t _implementationVersion{0};
    std::int32_t _dataVersion{-1};
    KrVersioningRegistry::Versions _versions;
    std::string _extensionData;
    std::unique_ptr<IKeptContent> _keptContent;
    InstanceLink _instanceLink;
    std::atomic<std::uint32_t> _sorterSlot{kNoSlot};  // written under the sorter's lock
};

}  // namespace KrSim
