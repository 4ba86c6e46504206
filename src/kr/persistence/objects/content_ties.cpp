// Relations between the extensions that a builder has made: definitions, connections, references, and stand-ins for
// missing content.

#include "kr/persistence/objects/internal/content_builder.h"

#include <algorithm>
#include <utility>

#include "kr/core/connections/connection_factory.h"
#include "kr/data/stored_path.h"
#include "kr/data/vector.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/own_record.h"
#include "kr/persistence/objects/internal/connection_restorer.h"
#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/definition_follower.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/persistence/objects/internal/loaded_files.h"

namespace KrPersistence::detail {

using KrSim::KrContentID;
using KrSim::KrContentRegistry;
using KrSim::KrExtension;
using KrSim::KrObject;
using KrSim::detail::ObjectAccess;

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

}  // namespace

void ContentBuilder::followDefinitions() {
    for (const auto& extension : _made) {
        auto* object = asObject(extension.get());
        if (object == nullptr || !object->isInstance()) continue;
        // Of several with one ID take the one in the same file.
        const auto id = object->getDefinitionReference().getContentID().getRuntimeID();
        if (auto* definition = asObject(_findMade(id))) ObjectAccess::setDefinition(*object, definition);
    }
    _setReferences();  // instances take over those of their definitions
    _connectFollowed();
    const RetryPause pause;
    detail::followDefinitions(_made.size(), _problems);
}

/// Parts that were created again while instances followed replace the earlier ones; those that left them are no ends of
/// connections any more.
void ContentBuilder::_takeReplaced() {
    std::unordered_set<const KrExtension*> roots;
    for (const auto& root : _roots)
        roots.insert(root.get());
    std::unordered_set<const KrExtension*> gone;
    for (auto& extension : _made) {
        const auto* owner = extension->getOwner();
        const bool isGone = owner != nullptr ? gone.count(owner) != 0 : roots.count(extension.get()) == 0;
        if (!isGone) continue;
        gone.insert(extension.get());
        auto now = KrContentRegistry::instance().lock(extension->getContentID());
        const bool isReplaced = now && now != extension && now->getOwner() != nullptr;
        extension = isReplaced ? std::move(now) : nullptr;
    }
    if (std::erase(_made, nullptr) == 0) return;
    _byID.clear();
    for (std::size_t i = 0; i < _made.size(); ++i)
        _byID.emplace(_made[i]->getContentID().getRuntimeID(), i);
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

/// Records a connection that was made, if its saved content does not exist yet. Without a keeper, with the content of
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
        for (const auto& below : open[i]->getExtensions()) {
            all.insert(below.get());
            if (auto* object = asObject(below.get())) open.push_back(object);
        }
    }
}

}  // namespace

namespace {

/// Whether connections that end there have other settings than in the definition.
bool hasChanged(const KrExtension* sink) {
    return sink != nullptr && !KrSim::OwnRecord::of(*sink).changed.empty();
}

}  // namespace

/// Connections of instances and definitions, which those that follow are to take over or to give up.
void ContentBuilder::_connectFollowed() {
    std::unordered_set<const KrExtension*> sources;
    std::unordered_set<const KrExtension*> ownOnly;
    for (const auto& extension : _made) {
        auto* object = asObject(extension.get());
        if (object == nullptr || !object->isInstance() || sources.count(object) != 0) continue;
        if (KrSim::OwnRecord::of(*object).isOwnOnly) addTree(*object, ownOnly);
        auto* definition = object->getDefinition();
        if (definition == nullptr) continue;
        addTree(*object, sources);
        if (sources.count(definition) == 0) addTree(*definition, sources);
    }
    for (const auto& extension : KeptContent::getExtensions()) {  // also of earlier loads
        auto* object = asObject(extension.get());
        if (object == nullptr || !KeptContent::find(*object)->isAwaitingDefinition) continue;
        auto* definition = object->getDefinition();
        if (definition != nullptr && sources.count(definition) == 0) addTree(*definition, sources);
    }
    if (sources.empty()) return;
    ConnectionRestorer restorer([this](const ConnectionEnd& end) { return _find(end); });
    restorer.note(_made);
    // All of a source: they transfer in this order.
    auto& records = _content.connections;
    ConnectionRecord record;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto* source = _findMade(records.getSource(i).runtimeID);
        if (sources.count(source) == 0) continue;
        records.get(i, record);
        // Behind those of the definition, but for one that it has with other settings.
        const bool isLater = ownOnly.count(source) != 0 && !hasChanged(_findMade(record.sink.runtimeID));
        if (isLater) continue;
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
        if (openCount++ == 0)
            _problems.push_back("Connection " + describeEnds(record, " is kept, but cannot be made now"));
        if (auto* keeper = _chooseKeeper(record)) KeptContent::of(*keeper).connections.push_back(record);
    }
    if (openCount > 1) {
        _problems.push_back(std::to_string(openCount - 1) + " more connections are kept that cannot be made now");
    }
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
