#include "kr/persistence/content/internal/content_builder.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "kr/content/content_directory.h"
#include "kr/core/connection_base.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/stored_path.h"
#include "kr/data/vector.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/i_object.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/persistence/content/file_identity.h"
#include "kr/persistence/content/internal/connection_restorer.h"
#include "kr/persistence/content/internal/content_access.h"
#include "kr/persistence/content/internal/content_guards.h"
#include "kr/persistence/content/internal/definition_follower.h"
#include "kr/persistence/content/internal/kept_content.h"
#include "kr/persistence/content/internal/loaded_files.h"
#include "kr/persistence/content/internal/obsolete_types.h"
#include "kr/persistence/content/internal/own_paths.h"
#include "kr/persistence/content/internal/reference_paths.h"
#include "kr/persistence/content/internal/saved_fields_check.h"
#include "kr/persistence/content/object_file.h"

namespace KrPersistence::detail {

using Kr::KrSmartPtr;
using KrData::FieldBase;
using KrSim::KrContentID;
using KrSim::KrContentRegistry;
using KrSim::KrExtension;
using KrSim::KrObject;

ContentBuilder::ContentBuilder(ContentRecords content, SourceFile file, Progress progress)
    : _content(std::move(content)),
      _file(std::move(file)),
      _progress(std::move(progress)),
      _stepCount(_content.extensionCount + _content.connections.size()) {}

ContentBuilder::~ContentBuilder() = default;

// --- Extensions ----------------------------------------------------------------------------------------------------

void ContentBuilder::build() {
    _before.emplace();
    _made.reserve(_content.extensionCount);
    _byID.reserve(_content.extensionCount);
    for (auto& record : _content.roots) {
        _roots.push_back(_build(*record));
        record.reset();
    }
    _content.roots.clear();
    _useLiveIDs();
    noteSourceFile(_file.name, _file.path, _roots);
    _reportDoubles();
    for (const auto& [type, count] : _missingTypes) {
        _problems.push_back("Unable to create " + type + ": " + std::to_string(count) +
                            (count == 1 ? " extension keeps" : " extensions keep") + " the data");
    }
    for (const auto& [version, count] : _newerTypes) {
        _problems.push_back(version + ": what is new there is lost in " + std::to_string(count) +
                            (count == 1 ? " extension" : " extensions") + "; load a newer plug-in");
    }
}

void ContentBuilder::_reportDoubles() {
    const auto& [extension, other] = _firstDouble;
    if (!extension) return;
    _problems.push_back(describeWithFile(*extension) + " has the content ID " + extension->getContentID().toString() +
                        " of " + other + ", which is there already; references find the first of them");
    if (_doubleCount > 1) {
        _problems.push_back(std::to_string(_doubleCount - 1) + " more extensions have content IDs that are in use");
    }
    _firstDouble = {};
}

/// An extension that is being built, with the next one to come below it.
struct ContentBuilder::Level {
    KrSmartPtr<KrExtension> extension;
    KrObject* object;  // the same; null where it holds none
    ExtensionRecord& record;
    std::size_t next{0};
    std::uint64_t position{0};
};

/// Without recursion: objects may lie as deep inside one another as they like.
KrSmartPtr<KrExtension> ContentBuilder::_build(ExtensionRecord& root) {
    std::vector<Level> levels;
    levels.push_back(_begin(root));
    for (;;) {
        auto& level = levels.back();
        if (level.object != nullptr && level.next < level.record.children.size()) {
            auto below = _begin(*level.record.children[level.next]);
            levels.push_back(std::move(below));
            continue;
        }
        _end(level);
        const auto made = std::move(level.extension);
        levels.pop_back();
        if (levels.empty()) return made;
        _addBelow(levels.back(), made);
    }
}

ContentBuilder::Level ContentBuilder::_begin(ExtensionRecord& record) {
    auto extension = _make(record);
    _made.push_back(extension);
    // It is found by its ID once it has its fields.
    KrContentRegistry::instance().unregisterExtension(extension.get());
    _load(*extension, record);
    _enter(*extension, record);
    auto* object = asObject(extension.get());
    if (object != nullptr) _define(*object, record);
    return {std::move(extension), object, record};
}

void ContentBuilder::_reportStep() {
    ++_stepsDone;
    if (_progress) _progress(_stepsDone, _stepCount);
}

KrSmartPtr<KrExtension> ContentBuilder::_makeByFactory(ExtensionRecord& record) {
    if (record.isLost || record.key.completed().isNull()) return {};
    const auto type = record.key.toString();
    Kr::KrSmartPtr<KrExtension> made;
    // Asked for once: the factory looks for a plug-in each time.
    if (_missingTypes.count(type) == 0 || isTypeThere(record.key)) made = createOrReplace(record);
    if (made && record.isObject && asObject(made.get()) == nullptr) made.reset();  // has nowhere to keep what is below
    if (!made) ++_missingTypes[type];
    return made;
}

KrSmartPtr<KrExtension> ContentBuilder::_make(ExtensionRecord& record) {
    auto made = _makeByFactory(record);
    if (!made) {
        made = record.isObject ? KrSmartPtr<KrExtension>(Kr::makeSmart<KrObject>()) : Kr::makeSmart<KrExtension>();
        if (record.isLost) made->_createUnknownImplementation();
        made->_setCreationKey(record.key);
    }
    if (const auto* object = asObject(made.get())) {
        // What the implementation puts into every new object comes with the content of this one.
        for (const auto& below : object->_getExtensions())
            const_cast<KrObject*>(object)->_removeExtension(below.get());
    }
    return made;
}

namespace {

/// Takes out a list of what waits and works on each of it, which puts back what must go on waiting. When memory runs
/// out, all of it waits again: what was done already is found done the next time.
template <class GetList, class Work>
void forEachWaiting(const GetList& getList, const Work& work) {
    auto waiting = std::exchange(getList(), {});
    try {
        for (const auto& each : waiting)
            work(each);
    } catch (...) {
        getList() = std::move(waiting);
        throw;
    }
}

/// Fields that only wait for their implementation stay as fixed as they were.
void keepDynamicMarks(const KrData::Container& group, const KrData::Container& saved) {
    for (std::size_t i = 0; i < saved.size(); ++i) {
        const auto* source = &saved[i];
        // Without an implementation nothing else is there, but several may have one identifier.
        const auto found = i < group.size() && group[i].getID() == source->getID()
                               ? group.begin() + static_cast<std::ptrdiff_t>(i)
                               : group.find(source->getID());
        if (found == group.end()) continue;
        (*found)->_setDynamic(source->isDynamic());
        if (source->getDataType() != KrData::Types::kContainer || (*found)->getDataType() != source->getDataType()) {
            continue;
        }
        keepDynamicMarks(static_cast<const KrData::Container&>(**found),
                         static_cast<const KrData::Container&>(*source));
    }
}

}  // namespace

void ContentBuilder::_load(KrExtension& extension, ExtensionRecord& record) {
    if (!record.contentID.isEmpty()) extension._setContentID(record.contentID);
    if (!record.name.empty()) extension.setName(record.name.c_str());
    extension._setDataVersion(record.dataVersion);
    extension._setVersions(std::move(record.versions));
    extension._setExtensionData(std::move(record.data));
    record.fields.add<std::string>("Name", extension.getName());

    // Not from what onLoading makes of them.
    auto& fields = extension.getFieldsContainer();
    if (record.nameMarks) takeMarks(fields.getNameField(), *record.nameMarks);
    for (auto* group : {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()})
        takeMarks(*group, record.fields[group->getID()]);

    {
        const ReferencePaths paths(record.fields, record.references);
        const OwnPaths ownPaths(record.fields, extension);
        SavedFieldsCheck check(extension, record);
        extension._loadImplementation(&record.fields);
        paths.update(record.references);
        ownPaths.update(extension);
        check.addFindings(_file.path, _findings);
    }
    if (extension.hasImplementation() && record.dataVersion > extension.getImplementationVersion()) {
        ++_newerTypes[record.key.toString() + " was saved in version " + std::to_string(record.dataVersion) +
                      ", and here it is of version " + std::to_string(extension.getImplementationVersion())];
    }
    if (!extension.hasImplementation()) {
        for (auto* group : {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()}) {
            const auto& saved = record.fields[group->getID()];
            if (saved.getDataType() != KrData::Types::kContainer) continue;
            keepDynamicMarks(*group, static_cast<const KrData::Container&>(saved));
        }
    }
    // A plain extension lacks nothing.
    if (extension.getCreationKey() == KrSim::KrFactoryKey()) extension.removeError("Unable to create ", false);
    if (record.isLost) extension.addError(KrObject::_describeLost(record.name), false);
    record.fields.clear();
}

void ContentBuilder::_enter(KrExtension& extension, const ExtensionRecord& record) {
    const auto& id = extension.getContentID();
    auto& registry = KrContentRegistry::instance();
    if (auto* other = registry.find(id); other != nullptr && _doubleCount++ == 0) {
        _firstDouble = {KrSmartPtr<KrExtension>(&extension), describeWithFile(*other)};
    }
    registry.registerExtension(&extension);
    const auto place = _made.size() - 1;
    _byID.emplace(id.getRuntimeID(), place);
    if (record.storedID != id.getRuntimeID()) _byStoredID.emplace(record.storedID, place);
    if (!record.references.empty()) KeptContent::of(extension).references = record.references;
}

void ContentBuilder::_addBelow(Level& level, const KrSmartPtr<KrExtension>& made) {
    auto& object = *level.object;
    auto& child = level.record.children[level.next++];
    level.position = child->position.value_or(level.position);
    child.reset();
    if (made->_isSimulatorModule()) {
        throw std::runtime_error("'" + made->getName() + "' in '" + object.getPath() +
                                 "' is a module; objects hold none");
    }
    if (made->getOwner() != nullptr) return;  // a callback has found it another place
    const bool isWelcome = object._isCompatible(made.get());
    object._savePosition(made->getContentID(), level.position++);
    object._addExtensionToList(made.get());
    if (!isWelcome) made->addError("'" + object.getName() + "' does not take it any more", false);
}

void ContentBuilder::_end(Level& level) {
    if (level.object != nullptr) {
        level.record.children.clear();
        if (auto* implementation = level.object->getObjectImplementation()) {
            Kr::callGuarded(
                kBuildHierarchy, [&] { return level.object->getName(); }, [&] { implementation->buildHierarchy(); },
                level.object);
        }
    }
    ++_extensionCount;
    _reportStep();
}

void ContentBuilder::_define(KrObject& object, const ExtensionRecord& record) {
    Kr::KrString<512> fileName;
    if (!record.definition) {
        if (fileName.assign(_file.path)) object._setDefinitionFileName(fileName);
        return;
    }
    if (fileName.assign(record.definition->fileName)) object._setDefinitionFileName(fileName);
    object._setDefinition(record.definition->contentID);
    if (object.isInstance()) KeptContent::of(object).isAwaitingDefinition = true;
}

// --- What lies between them ------------------------------------------------------------------------------------------

/// The IDs by which the file names the ends of its connections mean nothing to other files: those of live content
/// follow.
void ContentBuilder::_useLiveIDs() {
    _content.connections.changeEnds([&](ConnectionEnd& end) {
        const auto found = _byStoredID.find(end.runtimeID);
        if (found != _byStoredID.end()) end = ConnectionEnd(_made[found->second]->getContentID());
    });
    _byStoredID.clear();
}

std::size_t ContentBuilder::_placeOf(const KrContentID::Identifier& id) const {
    const auto found = _byID.find(id);
    return found != _byID.end() ? found->second : _made.size();
}

KrExtension* ContentBuilder::_findMade(const KrContentID::Identifier& id) const {
    const auto place = _placeOf(id);
    return place < _made.size() ? _made[place].get() : nullptr;
}

KrSmartPtr<KrExtension> ContentBuilder::_find(const KrContentID& id) const {
    if (auto* made = _findMade(id.getRuntimeID())) return KrSmartPtr<KrExtension>(made);
    return KrContentRegistry::instance().resolve(id);
}

KrSmartPtr<KrExtension> ContentBuilder::_find(const ConnectionEnd& end) const {
    if (auto* made = _findMade(end.runtimeID)) return KrSmartPtr<KrExtension>(made);
    return KrSmartPtr<KrExtension>(KrSim::KrContentDirectory::_resolve(end.runtimeID, end.rawID).first);
}

void ContentBuilder::followDefinitions() {
    for (const auto& extension : _made) {
        auto* object = asObject(extension.get());
        if (object == nullptr || !object->isInstance()) continue;
        // Of several with one ID the one in the same file is meant.
        const auto id = object->getDefinitionReference().getContentID().getRuntimeID();
        if (auto* definition = asObject(_findMade(id))) object->_setDefinition(definition);
    }
    _setReferences();  // instances take over those of their definitions
    _connectFollowed();
    const RetryPause pause;
    detail::followDefinitions(_made.size(), _problems);
}

/// Parts that were made anew while instances followed are what is meant from now on.
void ContentBuilder::_takeReplaced() {
    std::unordered_set<const KrExtension*> roots;
    for (const auto& root : _roots)
        roots.insert(root.get());
    for (auto& extension : _made) {
        if (extension->getOwner() != nullptr || roots.count(extension.get()) != 0) continue;
        auto now = KrContentRegistry::instance().lock(extension->getContentID());
        if (now && now->getOwner() != nullptr) extension = std::move(now);
    }
}

KrExtension* ContentBuilder::_chooseKeeper(const ConnectionRecord& record) const {
    for (const auto* end : {&record.sink, &record.source}) {
        if (auto* made = _findMade(end->runtimeID)) return made;
    }
    return _roots.empty() ? nullptr : _roots.front().get();
}

// --- Stand-ins -------------------------------------------------------------------------------------------------------

namespace {

KrData::FieldBase* findField(const ConnectionEnd& end, const std::string& path) {
    auto* extension = KrContentRegistry::instance().find(end.runtimeID);
    return extension != nullptr ? KrData::_findStoredPath(extension->getFieldsContainer(), path) : nullptr;
}

}  // namespace

bool ContentBuilder::_isThere(const ConnectionEnd& end) const {
    return _findMade(end.runtimeID) != nullptr || KrContentRegistry::instance().find(end.runtimeID) != nullptr;
}

/// Notes a connection that was made, if the content that is meant is yet to come. Without a keeper, with the content of
/// this file.
void ContentBuilder::_noteStandIn(KrExtension* keeper, const ConnectionRecord& record) {
    if (_isThere(record.source) && _isThere(record.sink)) return;
    const auto source = _find(record.source);
    const auto sink = _find(record.sink);
    if (!source || !sink) return;  // code of implementations has removed it
    if (keeper == nullptr) keeper = _chooseKeeper(record);
    if (keeper == nullptr) return;
    KeptContent::of(*keeper).standInConnections.push_back(
        {record, ConnectionEnd(source->getContentID()), ConnectionEnd(sink->getContentID())});
}

void ContentBuilder::_replaceStandIns(KrExtension& keeper, ConnectionRestorer& restorer) {
    forEachWaiting(
        [&]() -> auto& { return KeptContent::of(keeper).standInConnections; },
        [&](const StandInConnection& each) {
            const auto& meant = each.meant;
            if (!_isThere(each.source) || !_isThere(each.sink)) {  // the connection ended with the stand-in
                if (!restorer.restore(meant)) return KeptContent::of(keeper).connections.push_back(meant);
                return _noteStandIn(&keeper, meant);
            }
            auto best = meant;
            if (!_isThere(meant.source)) best.source = each.source;
            if (!_isThere(meant.sink)) best.sink = each.sink;
            if (best.source == each.source && best.sink == each.sink) {
                return KeptContent::of(keeper).standInConnections.push_back(each);
            }
            KeptBefore::onReplaced(keeper, each);
            if (!Kr::KrConnectionFactory::disconnect(findField(each.source, meant.sourceField),
                                                     findField(each.sink, meant.sinkField))) {
                return;  // other code has ended it meanwhile
            }
            if (!restorer.restore(best)) return KeptContent::of(keeper).connections.push_back(meant);
            if (best.source != meant.source || best.sink != meant.sink) {
                KeptContent::of(keeper).standInConnections.push_back({meant, best.source, best.sink});
            }
        });
}

std::vector<std::size_t> ContentBuilder::_orderConnections(const ConnectionRecords& records) const {
    std::vector<std::pair<std::size_t, std::size_t>> places;  // by the place of the source, then as in the file
    places.reserve(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const bool isAsBefore = i > 0 && records.getSource(i) == records.getSource(i - 1);
        places.emplace_back(isAsBefore ? places.back().first : _placeOf(records.getSource(i).runtimeID), i);
    }
    std::sort(places.begin(), places.end());
    std::vector<std::size_t> order;
    order.reserve(places.size());
    for (const auto& [place, index] : places)
        order.push_back(index);
    return order;
}

namespace {

/// The object and all below it.
void addTree(KrObject& top, std::unordered_set<const KrExtension*>& all) {
    std::vector<KrObject*> open{&top};
    all.insert(&top);
    for (std::size_t i = 0; i < open.size(); ++i) {
        for (const auto& below : open[i]->_getExtensions()) {
            all.insert(below.get());
            if (auto* object = asObject(below.get())) open.push_back(object);
        }
    }
}

}  // namespace

/// Connections of instances and definitions, which those that follow are to take over or to give up.
void ContentBuilder::_connectFollowed() {
    std::unordered_set<const KrExtension*> sources;
    for (const auto& extension : _made) {
        auto* object = asObject(extension.get());
        if (object == nullptr || !object->isInstance() || sources.count(object) != 0) continue;
        auto* definition = object->getDefinition();
        if (definition == nullptr) continue;
        addTree(*object, sources);
        addTree(*definition, sources);
    }
    if (sources.empty()) return;
    ConnectionRestorer restorer([this](const ConnectionEnd& end) { return _find(end); });
    restorer.note(_made);
    // All of a source: they transfer in this order.
    auto& records = _content.connections;
    ConnectionRecord record;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (sources.count(_findMade(records.getSource(i).runtimeID)) == 0) continue;
        records.get(i, record);
        records.setWasMade(i, restorer.restore(record));
    }
}

void ContentBuilder::_connectKept(ConnectionRestorer& restorer) {
    for (const auto& extension : KeptContent::getExtensions(_whose)) {
        // Code of implementations runs: what they do to the list must not be lost.
        forEachWaiting(
            [&]() -> auto& { return KeptContent::of(*extension).connections; },
            [&](const ConnectionRecord& record) {
                if (restorer.restore(record)) {
                    _noteStandIn(extension.get(), record);
                } else {
                    KeptContent::of(*extension).connections.push_back(record);
                }
            });
        _replaceStandIns(*extension, restorer);
    }
}

void ContentBuilder::retryKept() {
    _whose = KeptContent::Whose::kOfThisThread;
    ConnectionRestorer restorer([this](const ConnectionEnd& end) { return _find(end); },
                                ConnectionRestorer::When::kLater);
    _connectKept(restorer);
    resolve();
}

void retryKeptContent() {
    if (!RetryPause::isOn()) ContentBuilder({}, {}, {}).retryKept();
}

void ContentBuilder::connect() {
    _takeReplaced();
    ConnectionRestorer restorer([this](const ConnectionEnd& end) { return _find(end); });
    restorer.note(_made);
    restorer.note(KeptContent::getExtensions());
    _connectKept(restorer);
    std::size_t openCount = 0;
    // Neighbours in the file are neighbours in memory: far fewer waits for it than in the order of IDs.
    const auto records = std::exchange(_content.connections, {});
    ConnectionRecord record;
    for (const auto index : _orderConnections(records)) {
        records.get(index, record);
        _reportStep();
        if (record.wasMade && !restorer.isConnected(record)) continue;  // a definition does not have it any more
        if (restorer.restore(record)) {
            ++_connectionCount;
            _noteStandIn(nullptr, record);
            continue;
        }
        if (openCount++ == 0) {
            _problems.push_back("Connection from " + record.source.runtimeID.toString() + "." + record.sourceField +
                                " to " + record.sink.runtimeID.toString() + "." + record.sinkField +
                                " is kept, but cannot be made now" +
                                describeChoice(record.source.runtimeID, record.source.rawID) +
                                describeChoice(record.sink.runtimeID, record.sink.rawID));
        }
        if (auto* keeper = _chooseKeeper(record)) KeptContent::of(*keeper).connections.push_back(record);
    }
    if (openCount > 1) {
        _problems.push_back(std::to_string(openCount - 1) + " more connections are kept that cannot be made now");
    }
}

void ContentBuilder::keep() noexcept {
    if (_before) _before->keep();
}

void ContentBuilder::release() {
    _content = {};
    _progress = {};
    _roots.clear();
    _made.clear();
    _byID.clear();
}

namespace {

/// Whether there is nothing left to do for the reference.
bool setReference(const KrExtension& extension, const ExtensionReference& reference, KrExtension* target) {
    auto* field = KrData::_findStoredPath(extension.getFieldsContainer(), reference.fieldPath);
    if (field == nullptr) return true;
    if (reference.item == ExtensionReference::kNoItem) {
        if (field->getDataType() != KrData::Types::kExtension || field->toExtension() != nullptr) return true;
        return target != nullptr && field->set<KrExtension*>(target);
    }
    auto* items = KrData::Vector<KrExtension*>::from(*field);
    if (items == nullptr || reference.item >= items->size() || items->getItem(reference.item) != nullptr) return true;
    return target != nullptr && items->setItem(reference.item, target);
}

/// Makes the reference show other content, unless the field was set meanwhile.
void replaceReference(const KrExtension& extension, const ExtensionReference& reference,
                      const KrContentID::Identifier& shown, KrExtension& target) {
    const auto isShown = [&](const KrExtension* now) {
        return now != nullptr && now->getContentID().getRuntimeID() == shown;
    };
    auto* field = KrData::_findStoredPath(extension.getFieldsContainer(), reference.fieldPath);
    if (field == nullptr) return;
    if (reference.item == ExtensionReference::kNoItem) {
        if (isShown(field->toExtension())) field->set<KrExtension*>(&target);
        return;
    }
    auto* items = KrData::Vector<KrExtension*>::from(*field);
    if (items != nullptr && reference.item < items->size() && isShown(items->getItem(reference.item))) {
        items->setItem(reference.item, &target);
    }
}

}  // namespace

void ContentBuilder::_replaceStandIns(KrExtension& extension) {
    forEachWaiting(
        [&]() -> auto& { return KeptContent::of(extension).standIns; },
        [&](const auto& each) {
            const auto meant = KrContentRegistry::instance().lock(each.reference.extension);
            if (meant) {
                KeptBefore::onReplaced(extension, each);
                replaceReference(extension, each.reference, each.shown, *meant);
            } else {
                KeptContent::of(extension).standIns.push_back(each);
            }
        });
}

void ContentBuilder::_setReferences() {
    for (const auto& extension : KeptContent::getExtensions(_whose)) {
        _replaceStandIns(*extension);
        forEachWaiting(
            [&]() -> auto& { return KeptContent::of(*extension).references; },
            [&](const ExtensionReference& reference) {
                const auto target = _find(reference.extension);
                if (!setReference(*extension, reference, target.get())) {
                    KeptContent::of(*extension).references.push_back(reference);
                } else if (target && target->getContentID() != reference.extension) {
                    KeptContent::of(*extension).standIns.push_back({reference, target->getContentID().getRuntimeID()});
                }
            });
    }
}

void ContentBuilder::resolve() {
    _setReferences();
    for (const auto& extension : KeptContent::getExtensions(_whose)) {
        KeptContent::dropIfEmpty(*extension);
        const auto* kept = KeptContent::find(*extension);
        if (kept == nullptr || _byID.count(extension->getContentID().getRuntimeID()) == 0) continue;
        for (const auto& reference : kept->references) {
            _problems.push_back("'" + describePath(*extension) + "' refers to " + reference.extension.toString() +
                                " in its field " + reference.fieldPath + ", which is not there" +
                                describeChoice(reference.extension.getRuntimeID(), reference.extension.getRawID()));
        }
    }
}

}  // namespace KrPersistence::detail
