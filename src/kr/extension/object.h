#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/application/context/application_context.h"
#include "kr/content/content_id.h"
#include "kr/content/content_reference.h"
#include "kr/data/fwd.h"
#include "kr/extension/extension.h"
#include "kr/extension/held_extensions.h"
#include "kr/extension/i_object.h"
#include "kr/extension/smart_interface.h"
#include "kr/platform/array.h"
#include "kr/platform/export.h"
#include "kr/platform/fixed_string.h"
#include "kr/platform/unique_names.h"
#include "kr/signals/delegate_connection.h"
#include "kr/signals/listener_list.h"

namespace KrSim {

namespace detail {
class DefinitionSnapshot;
class ExtensionList;
class OutsideConnections;
}  // namespace detail

/// An extension that contains others: its components and child objects. Objects form the tree of content.
///
/// An object is a definition, which is independent content, or an instance of one: a placement that follows its
/// definition (sync) and keeps the changes of its user. Overview: docs/objects.md.
///
/// Thread: application. add and remove may be called on any thread while the application runs: they are deferred to its
/// thread, and also while it updates its modules. This holds from the moment at which the application adds the object
/// until it removes it; before and afterwards one thread may use the object.
/// Ownership: an object holds its extensions; deferred changes need an object that is itself held by a KrSmartPtr.
/// Objects may be nested as deep as memory allows, but an application calls its way down a tree that is added to it:
/// some ten thousand levels exhaust the stack.
class KR_API KrObject : public KrExtension {
    KR_BASE_CLASS(KrObject, KrExtension)

    class Listener;
    struct InstanceDataItem;

    KrObject();
    ~KrObject() override;

    // --- Adding and removing ---------------------------------------------------------------------------------------
    /// Adds an extension that belongs to no object, and makes its name unique here. False, with a debug line, when it
    /// belongs to an object, is a module, or contains this object; false when this object does not accept it. While the
    /// object is busy it returns true, and the rules are checked again when the extension is added. Throws
    /// std::bad_alloc when memory runs out, also in a listener: the extension is not added then.
    bool add(KrExtension* extension);
    bool add(const KrSmartInterface<IExtension>& extension);
    /// Does nothing for an extension of another object.
    void remove(KrExtension* extension);
    void remove(const KrSmartInterface<IExtension>& extension);

    // --- Access ----------------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t getExtensionCount() const;
    /// In the order of positions; null past the end. Borrowed.
    [[nodiscard]] KrExtension* getExtension(std::size_t index) const;
    /// All of them, held, in the order of positions.
    [[nodiscard]] HeldExtensions getExtensions() const;
    /// The first with this name, or null. Own extensions are searched before those of child objects.
    [[nodiscard]] KrExtension* findExtensionByName(const std::string& name, bool recursive) const;
    /// All extensions whose type has the uuid of this key.
    [[nodiscard]] Kr::KrArray<KrExtension*> findExtensionsByKey(const KrFactoryKey& key, bool recursive) const;
    /// The high-level interfaces among the extensions.
    [[nodiscard]] std::size_t getVHLInterfaceCount() const;
    [[nodiscard]] KrExtension* getVHLInterface(std::size_t index) const;
    [[nodiscard]] Kr::KrArray<KrExtension*> getAllVHLInterfaces() const;
    /// One of them by name; null, with a debug line, without one.
    [[nodiscard]] KrExtension* findInterface(const std::string& name) const;
    /// Whether it is the root of an application, which contains added extensions and is part of no path.
    [[nodiscard]] bool isApplicationRoot() const noexcept { return _isRoot; }
    /// The implementation as IObject; null without one.
    [[nodiscard]] IObject* getObjectImplementation() const noexcept;

    /// Ignores a listener that is registered already. The listener is borrowed: unregister it before it dies. A
    /// recursive one is registered for all child objects, too, including later ones. Rules of a delivery:
    /// docs/notification.md.
    void registerListener(Listener* listener);
    void unregisterListener(Listener* listener);
    /// The same for a shared listener, which may be released on any thread: it lives until the handle ends the
    /// registration and the calls in progress have ended. An empty handle when it is registered already. Only for an
    /// object that is held by a KrSmartPtr.
    [[nodiscard]] KrData::DelegateConnection holdListener(std::shared_ptr<Listener> listener);

    // --- Definitions and instances ---------------------------------------------------------------------------------
    /// A new instance of this definition, synchronised with it. Null, with an error, for an instance, for an ID that
    /// registered content has, and when the type creates something that is no object.
    [[nodiscard]] Kr::KrSmartPtr<KrObject> instantiate();
    [[nodiscard]] Kr::KrSmartPtr<KrObject> instantiate(const KrContentID& id);
    /// Applies the changes of the definition since this instance last followed it. Changes of the user are kept, and so
    /// is the state: values of outputs and the bytes of implementations. Extensions that the definition has no more are
    /// removed; if they have own data, a lost extension replaces them and keeps it. Extensions that were added to the
    /// instance by hand are kept.
    /// False for a definition, while the definition does not exist, and while a sync of this instance is in progress;
    /// false, with an error, while the object is busy.
    bool sync();
    /// Makes this an instance of another definition. Errors: null, an instance, or this is no instance.
    void replaceDefinition(KrObject* definition);
    [[nodiscard]] bool isInstance() const { return !_definition.isEmpty(); }
    /// Null for a definition, and while the definition does not exist.
    [[nodiscard]] KrObject* getDefinition() const;
    [[nodiscard]] const KrContentReference& getDefinitionReference() const noexcept { return _definition; }
    /// Marks the value of a field as own data of the instance, even when it equals that of the definition: sync does
    /// not change it. The mark is saved with the field. Values that differ from those of the definition need none.
    static void setInstanceData(const KrData::FieldBase& field);
    /// Whether the field is marked.
    [[nodiscard]] static bool isInstanceData(const KrData::FieldBase& field);
    /// The file from which the definition was loaded.
    [[nodiscard]] const Kr::KrString<512>& getDefinitionFileName() const noexcept { return _definitionFileName; }
    void _setDefinitionFileName(const Kr::KrString<512>& name) { _definitionFileName = name; }

    // --- The extension ---------------------------------------------------------------------------------------------
    using KrExtension::clone;
    void fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const override;
    [[nodiscard]] std::string getAllErrors(bool recursive = true) const override;
    [[nodiscard]] bool hasError(bool recursive = true) const override;
    [[nodiscard]] bool hasInfo(bool recursive = true) const override;
    [[nodiscard]] std::string getAllInfos(bool recursive = true) const override;

protected:
    // --- For the framework -----------------------------------------------------------------------------------------
    /// Whether changes are deferred: the application is running, updating modules or on another thread. Any thread.
    [[nodiscard]] bool _isBusy() const;
    /// Whether the extension is this object, or below it at any depth.
    [[nodiscard]] bool _holds(const KrExtension& extension) const noexcept;
    [[nodiscard]] bool _isCompatible(KrExtension* extension) const;
    void _addExtension(KrExtension* extension);
    void _addExtensionToList(KrExtension* extension);
    void _removeExtension(KrExtension* extension);
    /// Called by an extension of this object whose name has changed.
    void _onExtensionRenamed(KrExtension& extension, const std::string& before);
    /// Sets new content IDs for this object and all extensions below it.
    void _regenerateIDs();
    void _setContentID(const KrContentID& id) override;
    void _copyTo(KrExtension* target, bool copyFields) const override;
    Kr::KrSmartPtr<KrExtension> _clone(const KrCloneRequest& request) const override;
    void _createUnknownImplementation() override;
    void _setApplicationContext(const ApplicationContext& context) override;
    /// The position for the extension with this ID when it is added.
    void _savePosition(const KrContentID& id, std::uint64_t position);
    /// Moves an extension of this object among its siblings, without callbacks and listeners.
    void _moveExtension(KrExtension& extension, std::uint64_t position);
    /// One of the extensions, held; null past the end. For walks that must not allocate, also while the list changes.
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> _hold(std::size_t index) const noexcept;
    /// Changes when extensions are added or removed.
    [[nodiscard]] std::size_t _getChangeCount() const noexcept;
    /// Extensions that are added from now on get this position or a later one, unless their position was saved.
    [[nodiscard]] std::uint64_t _getNextPosition() const noexcept;
    /// The connections kept while the definition lacks their parts or fields; created by the first call.
    [[nodiscard]] detail::OutsideConnections& _getOutsideConnections();
    /// The own data of this instance and of all extensions below it.
    [[nodiscard]] std::vector<InstanceDataItem> _getInternalInstanceData() const;
    /// Restores own data of existing extensions, found by runtime ID, else by raw ID; the others remain in `items`. All
    /// of them remain when memory runs out.
    void _restoreInternalInstanceData(std::vector<InstanceDataItem>& items);
    /// Keeps own data of removed extensions in placeholders with their names and IDs.
    void _createLostExtensionsFromInternalInstanceData(const std::vector<InstanceDataItem>& items);
    /// The current definition; shared until it changes.
    [[nodiscard]] std::shared_ptr<const detail::DefinitionSnapshot> _takeSnapshot() const;
    /// For a clone that follows another definition than its original: its names contain the own data, as after a load.
    void _takeOwnRecords(const KrObject& original, const KrCloneMap& clones);
    /// Whether the extension is this instance, or a part of it that came from the definition.
    [[nodiscard]] bool _holdsCopy(const KrExtension& extension) const;
    /// For a copy of an inner instance: follows the definition of its original.
    void _followSource(const KrObject& source);
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> _makeClone() const override;

private:
    friend class KrCloneMap;
    friend class KrExtension;
    friend class detail::InstanceSync;
    friend class detail::OutsideConnections;
    friend struct detail::ObjectAccess;

    /// The own data of this instance in the form of content, as hidden field of the name of each extension. Has an
    /// entry, which may be null, for each extension that follows the definition; no entries before the first sync after
    /// a load, when the names contain the data themselves.
    using OwnRecords = std::unordered_map<const KrExtension*, std::unique_ptr<KrData::Container>>;
    [[nodiscard]] OwnRecords _getOwnRecords() const;

    using Positions = std::unordered_map<KrContentID::Identifier, std::uint64_t>;
    /// An extension that is being removed, and the enclosing removal.
    struct Leaving {
        const KrExtension* extension;
        Leaving* outer;
    };

    bool _mayAdd(KrExtension* extension) const;
    [[nodiscard]] bool _insert(KrExtension* extension);
    void _logAddingFailed(KrExtension* extension);
    [[nodiscard]] ApplicationContext _holdApplication() const;
    void _setContextAndAdd(KrExtension* extension);
    Kr::KrSmartPtr<KrExtension> _takeFromList(KrExtension* extension);
    void _takeBack(KrExtension& extension, const std::string& name) noexcept;
    /// \param held  a holder of the listener, kept while it is registered; null for a borrowed one.
    void _register(Listener& listener, const std::shared_ptr<Listener>& held);
    void _registerBelow(Listener& listener, const std::shared_ptr<Listener>& held);
    /// False when memory ran out in a listener.
    template <class Call, class IfRecursive>
    bool _notifyListeners(const Call& call, const IfRecursive& ifRecursive) noexcept;
    void _dismiss(KrExtension& extension) noexcept;
    [[nodiscard]] Kr::KrSmartPtr<KrObject> _makeOfSameType(const char* errorFormat) const;
    bool _sync(KrCloneMap::Values values);
    void _putBack(KrObject& owner);
    /// Puts an instance back into this object, its owner, when there was no memory to add it; without callbacks.
    /// \param place  has an entry of the instance with its position.
    void _reinstate(KrObject& instance, detail::ExtensionList& place) noexcept;
    void _takeContent(const InstanceDataItem& item);
    [[nodiscard]] bool _mayChangeNow() const;

    std::unique_ptr<detail::ExtensionList> _extensions;
    mutable std::shared_ptr<const HeldExtensions::List> _held;  // the same, in a row; null after a change
    std::uint64_t _nextPosition{0};
    Positions _savedPositions;  // of extensions that will be added again
    StringUtils::UniqueNamesCollection _names;
    std::size_t _changeCount{0};
    ApplicationContext _application;  // that of the fields, for threads that add and remove
    mutable std::mutex _listMutex;    // guards the seven above
    Kr::ListenerList<Listener> _listeners;
    Kr::KrString<512> _definitionFileName;
    KrContentReference _definition;
    std::unique_ptr<detail::OutsideConnections> _outsideConnections;
    std::shared_ptr<const detail::DefinitionSnapshot> _base;
    std::vector<InstanceDataItem> _unplacedData;
    mutable std::weak_ptr<const detail::DefinitionSnapshot> _latestSnapshot;  // of this definition
    Leaving* _leaving{nullptr};
    const KrExtension* _givenName{nullptr};  // whose next renaming is done by this object
    bool _isDying{false};
    bool _isSyncing{false};
    bool _isRoot{false};
};

/// Notified of additions and removals; may change the object and its listeners. An exception is logged as a warning.
/// Thread: the one that makes the change, without a lock. Ownership: borrowed, or shared by holdListener.
class KR_API KrObject::Listener {
public:
    /// \param recursive  also for extensions of child objects.
    explicit Listener(bool recursive = false) noexcept : _isRecursive(recursive) {}
    virtual ~Listener();
    /// After IExtension::onAddToOwner and IObject::onExtensionAdded.
    virtual void onExtensionAdded(KrObject* object, KrExtension* extension);
    /// After the removal; the extension is alive during the call.
    virtual void onExtensionRemoved(KrObject* object, KrExtension* extension);

    [[nodiscard]] bool isRecursive() const noexcept { return _isRecursive; }

private:
    bool _isRecursive;
};

}  // namespace KrSim
