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
/// the owner object. The behaviour is in the implementation half, IExtension; without one, as when its plug-in is
/// missing, an extension is still whole content that is shown, copied and saved without loss.
///
/// Plug-in authors meet this class as the proxy of their implementation, hosts as what the factory makes.
///
/// Thread: the application thread; errors and infos may be added from any.
/// Ownership: held by KrSmartPtr; an object holds its extensions, an extension owns its fields and its implementation.
class KR_API KrExtension : public Kr::KrBase, public Kr::KrRefCount, public Kr::PooledObject {
    KR_BASE_CLASS(KrExtension, Kr::KrBase)

    /// As an index argument: behind all others.
    static constexpr std::uint64_t kLastIndex = std::numeric_limits<std::uint64_t>::max();

    using Index = std::uint64_t;
    using Observer = KrData::FieldBase::Observer;

    /// A plain extension: unnamed, without type and implementation, with a content ID of its own.
    KrExtension();
    ~KrExtension() override;

    // --- Virtual operations, in slot order -------------------------------------------------------------------------
    /// Sets the name field and tells its observers. Null and empty text leave a name as it is, and give an extension
    /// without one its default name.
    void setName(const char* name) override;
    /// Removes all inputs with this identifier and answers how many there were.
    virtual std::size_t removeInput(const Kr::KrID& id);
    virtual std::size_t removeOutput(const Kr::KrID& id);
    virtual std::size_t removeParameter(const Kr::KrID& id);
    /// Adds the state of this extension (an object: and of all below it) to a snapshot. Null is ignored.
    virtual void fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const;
    /// All errors, each as "name: message" with a line feed. The argument has no effect, here and below.
    [[nodiscard]] virtual std::string getAllErrors(bool recursive = true) const;
    /// Whether there are errors. An extension with an implementation that is not active has none to report.
    [[nodiscard]] virtual bool hasError(bool recursive = true) const;
    [[nodiscard]] virtual bool hasInfo(bool recursive = true) const;
    /// All infos, each with a line feed.
    [[nodiscard]] virtual std::string getAllInfos(bool recursive = true) const;
    /// A copy with a new content ID: fields, and the connections between copied extensions, but neither owner nor
    /// application. The filter decides which extensions are copied; null when it rejects this one.
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
    /// Whether it takes part in the simulation: a module manages it, or it is outside an application.
    [[nodiscard]] bool isActive() const;
    /// Whether there is an implementation that is no placeholder.
    [[nodiscard]] bool hasImplementation() const noexcept { return _hasImplementation; }
    /// Null when there is none; a placeholder, too.
    [[nodiscard]] IExtension* getImplementation() const noexcept { return _implementation; }
    /// The implementation as a T, or null.
    template <class T>
    [[nodiscard]] T* getImplementationAs() const noexcept {
        return _hasImplementation ? dynamic_cast<T*>(_implementation) : nullptr;
    }
    /// Of the implementation; 0 when there is none.
    [[nodiscard]] std::int32_t getImplementationVersion() const noexcept { return _implementationVersion; }
    /// Of the data that was loaded; -1 before that.
    [[nodiscard]] std::int32_t getDataVersion() const noexcept { return _dataVersion; }
    [[nodiscard]] const KrVersioningRegistry::Versions& getVersions() const noexcept { return _versions; }

    // --- Fields ----------------------------------------------------------------------------------------------------
    /// A new field before the one at `index`; its identifier gets a number where it is taken. Null for a type that
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
    /// Null when there is none.
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
    /// By its path below the fields container, such as "Inputs.Force"; null when there is none.
    [[nodiscard]] KrData::FieldBase* findFieldFromPath(const std::string& path) const;
    /// Calls the function with each field of this extension that changed its value, until the answer ends.
    [[nodiscard]] KrData::DelegateConnection addObserver(Observer observer);
    /// Likewise for identifiers, descriptions and other properties.
    [[nodiscard]] KrData::DelegateConnection addPropertyObserver(Observer observer);

    // --- Errors and infos; any thread ------------------------------------------------------------------------------
    /// Adds a message that is not there yet; an empty one is ignored. With `log`, a new one is logged as a warning. An
    /// extension without a name gets one then, so name it before other threads add messages.
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
    /// An empty text past the end. The reference is good until the list changes.
    [[nodiscard]] const std::string& getError(std::size_t index) const;
    [[nodiscard]] const std::string& getInfo(std::size_t index) const;
    /// The errors of this extension alone, as getAllErrors has them.
    [[nodiscard]] std::string getError() const;

    /// How much of an extension taking and restoring states touches, from its beginning.
    static constexpr std::size_t kHotBytes = 128;
    /// The sorter's number of an extension that is not registered there.
    static constexpr std::uint32_t kNoSlot = 0xffffffff;

protected:
    // --- For the framework: objects, factory, modules, loaders -----------------------------------------------------
    /// Adds the bytes of the implementation to a state that holds the values of the fields.
    virtual void _fillState(KrExtensionState& state) const;
    /// Puts back field values, as they are and without a transfer over connections, tells their observers, and hands
    /// the bytes to the implementation.
    virtual void _restoreState(const KrExtensionState& state);
    /// Puts back outputs only; what implements positions adds them. `changed` lends its memory and is empty before and
    /// after.
    virtual void _restorePositionsAndOutputs(const KrExtensionState& state, std::vector<KrData::FieldBase*>& changed);
    /// Gives field arrays as many items as they had, and takes the memory that putting back the field values of this
    /// state needs, so that it cannot end half way. Answers how many values there are.
    std::size_t _prepareRestore(const KrExtensionState& state, KrData::ArrayResizes& resizes);
    /// Puts back field values and tells nobody; `changed` gets the fields whose observers would hear of it. Answers
    /// how many values found no field here. Field arrays get as many items as they had.
    std::size_t _restoreFieldValues(const KrExtensionState& state, std::vector<KrData::FieldBase*>& changed);
    /// Tells the observers of these fields, those that are here still, but no connections.
    void _tellRestored(std::span<KrData::FieldBase* const> changed);
    /// What states of this extension share, made anew when it has changed.
    [[nodiscard]] const std::shared_ptr<const detail::StateHeader>& _getStateHeader() const;
    /// Prepares the implementation for data that is about to be loaded. False when the data can only be kept.
    virtual bool _onPreLoadImplementation(KrData::Container* saved);
    virtual void _onPostLoadImplementation(KrData::Container* saved);
    virtual void _setContentID(const KrContentID& id);
    virtual void _copyTo(KrExtension* target, bool copyFields) const;
    /// Null when the source was cloned before, when the filter rejects it and when the owner does not take the clone.
    virtual Kr::KrSmartPtr<KrExtension> _clone(const KrCloneRequest& request) const;
    /// Attaches a placeholder, which marks an extension of unknown type: nothing reaches it, and no error tells that it
    /// could not be made.
    virtual void _createUnknownImplementation();
    /// Whether the implementation is a module, which objects do not take.
    [[nodiscard]] virtual bool _isSimulatorModule() const noexcept;
    /// Links this extension (an object: and all below it) to an application, or with an empty context to none.
    virtual void _setApplicationContext(const ApplicationContext& context);

    void _setOwner(KrObject* owner);
    /// Owns the implementation from now on and destroys the one before. Called by the constructor of IExtension.
    void _setIExtension(IExtension* implementation);
    void _setCreationKey(const KrFactoryKey& key);
    void _updateVersionInfo();
    void _synchronizeImplementation(const IExtension* source);
    /// Loads the saved fields; whatever goes wrong, the data is kept. Null when nothing was saved.
    void _loadImplementation(KrData::Container* saved);
    /// Keeps saved inputs, outputs and parameters that nothing can interpret.
    void _onNoLoadPossible(const KrData::Container* saved);
    [[nodiscard]] KrData::FieldLoading _howToLoad() const;
    /// Names an extension that has no name: by its name field, else by its type and creation index.
    void _setDefaultName();
    /// Names an extension that has no name "default" and its creation index.
    void _ensureName();
    /// Called by a dying implementation; forgets it if it is the current one.
    void _forgetImplementation(const IExtension* implementation) noexcept;
    /// Called by the name field when it has a new value.
    void _onNameFieldChanged();

    /// onStateSave and onStateRestore; what they throw is logged with these texts. One that throws leaves no bytes, and
    /// is not called back for that state.
    void _saveImplementationState(KrExtensionState& state, const Kr::GuardTexts& texts) const;
    void _restoreImplementationState(const KrExtensionState& state, const Kr::GuardTexts& texts);
    /// A new one of this type; plain where the factory makes none. Null, logged, when that does not fit.
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

    /// The place among the living extensions that the factory made of one type; the factory sets and guards it.
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

    // What a frame reads of every extension, and what a snapshot does: the first kHotBytes of the object.
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
