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
#include "kr/data/field_merge.h"
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
class InstanceSync;
class OutsideConnections;
}  // namespace detail

/// An extension that holds others: its components and child objects. Objects form the tree of content.
///
/// An object is a definition, which is content of its own, or an instance of one: a placement that follows its
/// definition (sync) and keeps what its user has changed. docs/objects.md has the whole picture.
///
/// Thread: the application thread. add and remove may be called from any thread while the application runs: they are
/// done later, on its thread, and so they are while it updates its modules. This holds from the moment at which the
/// application takes the object in until it gives the object up; before and after that one thread may use it.
/// Ownership: an object holds its extensions; only one that is itself held by a KrSmartPtr can be changed later.
/// Objects may lie as deep inside one another as memory allows, but an application calls its way down a tree that is
/// added to it: some ten thousand levels exhaust the stack.
class KR_API KrObject : public KrExtension {
    KR_BASE_CLASS(KrObject, KrExtension)

    class Listener;
    struct InstanceDataItem;

    KrObject();
    ~KrObject() override;

    // --- Adding and removing ---------------------------------------------------------------------------------------
    /// Adds an extension that belongs to no object yet, and makes its name unique here. False, with a debug line, when
    /// it belongs to an object, is a module, or holds this object; false when this object is not made for it. While the
    /// object is busy it answers true, and the rules are asked again when the addition is done. Throws std::bad_alloc
    /// when memory runs out, also in a listener: the extension is out again then.
    bool add(KrExtension* extension);
    bool add(const KrSmartInterface<IExtension>& extension);
    /// Nothing happens when it is not here.
    void remove(KrExtension* extension);
    void remove(const KrSmartInterface<IExtension>& extension);

    // --- Access ----------------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t getExtensionCount() const;
    /// In the order of positions; null past the end. Borrowed.
    [[nodiscard]] KrExtension* getExtension(std::size_t index) const;
    /// All of them, held, in the order of positions.
    [[nodiscard]] HeldExtensions getExtensions() const;
    /// The first with this name, or null. The own ones come before those of child objects.
    [[nodiscard]] KrExtension* findExtensionByName(const std::string& name, bool recursive) const;
    /// All whose type has the uuid of this key.
    [[nodiscard]] Kr::KrArray<KrExtension*> findExtensionsByKey(const KrFactoryKey& key, bool recursive) const;
    /// The high-level interfaces among the extensions.
    [[nodiscard]] std::size_t getVHLInterfaceCount() const;
    [[nodiscard]] KrExtension* getVHLInterface(std::size_t index) const;
    [[nodiscard]] Kr::KrArray<KrExtension*> getAllVHLInterfaces() const;
    /// One of them by name; null, with a debug line, when there is none.
    [[nodiscard]] KrExtension* findInterface(const std::string& name) const;
    /// Whether it is the root of an application, which holds what was added and belongs to no path.
    [[nodiscard]] bool isApplicationRoot() const noexcept { return _isRoot; }
    /// The implementation as IObject; null when there is none.
    [[nodiscard]] IObject* getObjectImplementation() const noexcept;

    /// Registering twice is registering once. The listener is borrowed: unregister it before it dies. A recursive one
    /// is registered on all child objects, too, those that come later included. docs/notification.md has the rules of a
    /// delivery.
    void registerListener(Listener* listener);
    void unregisterListener(Listener* listener);
    /// The same for a listener that is shared, and may be given up on any thread: it lives until the handle ends the
    /// registration and the calls under way have ended. An empty handle when it is registered already. Only for an
    /// object that is held by a KrSmartPtr.
    [[nodiscard]] KrData::DelegateConnection holdListener(std::shared_ptr<Listener> listener);

    // --- Definitions and instances ---------------------------------------------------------------------------------
    /// An instance of this definition, brought in line with it. Null, with an error, for an instance, for an ID that
    /// registered content carries, and when the type makes something that is no object.
    [[nodiscard]] Kr::KrSmartPtr<KrObject> instantiate();
    [[nodiscard]] Kr::KrSmartPtr<KrObject> instantiate(const KrContentID& id);
    /// Takes over what the definition has changed since this instance last followed it. What the user of the instance
    /// has changed stays, and so does its state: values of outputs and the bytes of implementations. Extensions that
    /// the definition has no more go; where they held own data, a lost extension takes their place and keeps it.
    /// Extensions that were added to the instance by hand stay.
    /// False for a definition, while the definition is not there, and when a sync of this instance is under way; false,
    /// with an error, while the object is busy.
    bool sync();
    /// Makes this an instance of another definition. Errors for null, for an instance, and when this is no instance.
    void replaceDefinition(KrObject* definition);
    [[nodiscard]] bool isInstance() const { return !_definition.isEmpty(); }
    /// Null for a definition, and while the definition is not there.
    [[nodiscard]] KrObject* getDefinition() const;
    [[nodiscard]] const KrContentReference& getDefinitionReference() const noexcept { return _definition; }
    /// Marks the value of a field as an instance's own, even where it is that of the definition: sync leaves it. The
    /// mark is saved with the field. Values that differ from those of the definition need none.
    static void setInstanceData(const KrData::FieldBase& field);
    /// Whether the field is marked.
    [[nodiscard]] static bool isInstanceData(const KrData::FieldBase& field);
    /// The file that the definition was loaded from.
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
    /// Whether changes must wait for the application: it runs, and updates its modules or has another thread. Any
    /// thread.
    [[nodiscard]] bool _isBusy() const;
    /// Whether the extension is this object, or lies below it at any depth.
    [[nodiscard]] bool _holds(const KrExtension& extension) const noexcept;
    [[nodiscard]] bool _isCompatible(KrExtension* extension) const;
    void _addExtension(KrExtension* extension);
    void _addExtensionToList(KrExtension* extension);
    void _removeExtension(KrExtension* extension);
    /// Called by an extension of this object that has a new name.
    void _onExtensionRenamed(KrExtension& extension, const std::string& before);
    /// New content IDs for this object and all below it.
    void _regenerateIDs();
    void _setContentID(const KrContentID& id) override;
    void _copyTo(KrExtension* target, bool copyFields) const override;
    Kr::KrSmartPtr<KrExtension> _clone(const KrCloneRequest& request) const override;
    void _createUnknownImplementation() override;
    void _setApplicationContext(const ApplicationContext& context) override;
    /// Where the extension with this ID will stand when it is added.
    void _savePosition(const KrContentID& id, std::uint64_t position);
    /// Puts an extension of this object elsewhere among its siblings; no callback, no listener.
    void _moveExtension(KrExtension& extension, std::uint64_t position);
    /// One of the extensions, held; null past the end. For walks that must not allocate: they go on while the list
    /// changes.
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> _hold(std::size_t index) const noexcept;
    /// Differs from that of before when extensions have come or gone since.
    [[nodiscard]] std::size_t _getChangeCount() const noexcept;
    /// Extensions that come from now on stand at this position or behind it, unless their position was saved.
    [[nodiscard]] std::uint64_t _getNextPosition() const noexcept;
    /// The connections that are kept while the definition lacks their parts or fields; made on first call.
    [[nodiscard]] detail::OutsideConnections& _getOutsideConnections();
    /// The own data of this instance and of all below it.
    [[nodiscard]] std::vector<InstanceDataItem> _getInternalInstanceData() const;
    /// Puts own data back where their extensions are, by runtime ID, else by raw ID; the others stay in `items`. All do
    /// when memory runs out.
    void _restoreInternalInstanceData(std::vector<InstanceDataItem>& items);
    /// Keeps own data of extensions that are gone in placeholders of their names and IDs.
    void _createLostExtensionsFromInternalInstanceData(const std::vector<InstanceDataItem>& items);
    /// The definition as it is now; shared until it changes.
    [[nodiscard]] std::shared_ptr<const detail::DefinitionSnapshot> _takeSnapshot() const;
    /// For a clone that follows another definition than its original: its names carry what is own, as after a load.
    void _takeOwnRecords(const KrObject& original, const KrCloneMap& clones);
    /// Whether the extension is this instance, or a part of it that came from the definition.
    [[nodiscard]] bool _holdsCopy(const KrExtension& extension) const;
    /// For a copy of an inner instance: follows what its original follows.
    void _followSource(const KrObject& source);
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> _makeClone() const override;

private:
    friend class KrCloneMap;
    friend class KrExtension;
    friend class detail::InstanceSync;
    friend class detail::OutsideConnections;
    friend struct detail::ObjectAccess;

    /// The own data of this instance as content keeps it, as hidden field of the name of each extension. Has an entry,
    /// which may be null, for each extension that follows the definition; none before the first sync after a load, when
    /// the names carry it themselves.
    using OwnRecords = std::unordered_map<const KrExtension*, std::unique_ptr<KrData::Container>>;
    [[nodiscard]] OwnRecords _getOwnRecords() const;

    using Positions = std::unordered_map<KrContentID::Identifier, std::uint64_t>;
    /// An extension whose removal is under way, and the one around it.
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
    /// \param held  the listener, to be kept while it is registered; null where it is borrowed.
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
    Positions _savedPositions;  // of extensions that will come back
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
    const KrExtension* _givenName{nullptr};  // whose next renaming comes from here
    bool _isDying{false};
    bool _isSyncing{false};
    bool _isRoot{false};
};

/// Is notified of additions and removals. Called on the thread that makes the change, without a lock; may change the
/// object and its listeners. An exception of a listener is logged as a warning.
class KR_API KrObject::Listener {
public:
    explicit Listener(bool recursive = false) noexcept : _isRecursive(recursive) {}
    virtual ~Listener();
    virtual void onExtensionAdded(KrObject* object, KrExtension* extension);
    virtual void onExtensionRemoved(KrObject* object, KrExtension* extension);

    [[nodiscard]] bool isRecursive() const noexcept { return _isRecursive; }

private:
    bool _isRecursive;
};

/// The own data of one extension of an instance.
struct KR_API KrObject::InstanceDataItem {
    InstanceDataItem();
    InstanceDataItem(InstanceDataItem&&) noexcept;
    InstanceDataItem& operator=(InstanceDataItem&&) noexcept;
    ~InstanceDataItem();

    KrContentID contentID;  ///< of the extension in the instance
    std::string name;
    KrFactoryKey key;
    std::uint64_t position{0};
    bool isObject{false};
    bool wasLost{false};                 ///< the extension was a lost one
    Kr::KrSmartPtr<KrExtension> holder;  ///< the extension; null for one without a holder
    KrData::OwnFields::Paths own;        ///< what is own, by the paths of fields; "Name" for the name
    /// "Inputs", "Outputs" and "Parameters" with the own fields only; containers above an own field come along. Null
    /// when there are none.
    std::unique_ptr<KrData::Container> fields;
    /// What was added to the extension, an object below the instance, by hand.
    std::vector<Kr::KrSmartPtr<KrExtension>> content;
};

}  // namespace KrSim
