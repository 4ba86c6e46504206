#include "kr/experiments/content_editor.h"

#include <algorithm>
#include <memory>

#include "kr/core/connections/connection_checks.h"
#include "kr/data/field_base.h"
#include "kr/experiments/field_search.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/text.h"
#include "kr/platform/unique_names.h"

namespace KrExperiments {
namespace {

using KrSim::KrExtension;
using KrSim::KrObject;
using Roots = std::span<const Kr::KrSmartPtr<KrExtension>>;

constexpr std::size_t kMostInstances = 1'000'000;

void addAll(KrExtension& extension, std::vector<KrExtension*>& all) {
    all.push_back(&extension);
    if (auto* object = KrSim::detail::asObject(&extension)) {
        for (const auto& each : object->getExtensions())
            addAll(*each, all);
    }
}

std::vector<KrExtension*> getAll(Roots roots) {
    std::vector<KrExtension*> all;
    for (const auto& each : roots)
        addAll(*each, all);
    return all;
}

/// By its path or, where that means one extension, by the end of it.
KrExtension* findExtension(Roots roots, std::string_view wanted, std::string& problem) {
    const std::string end = std::string("/").append(wanted);
    std::vector<KrExtension*> found;
    std::vector<std::string> known;
    for (auto* each : getAll(roots)) {
        const auto path = each->getPath();
        if (path == wanted) return each;
        if (path.ends_with(end)) found.push_back(each);
        known.push_back(path);
        known.push_back(each->getName());
    }
    if (found.size() == 1) return found.front();
    problem = found.empty() ? "there is no extension " + Kr::quote(wanted) + Kr::suggestName(wanted, known)
                            : Kr::quote(wanted) + " is the end of " + std::to_string(found.size()) +
                                  " paths; write more of it, " + Kr::quote(found.front()->getPath());
    return nullptr;
}

struct Ends {
    KrData::FieldBase* source{nullptr};
    KrData::FieldBase* sink{nullptr};
    std::string problem{};
};

Ends findEnds(Roots roots, std::string_view source, std::string_view sink) {
    const auto all = getAll(roots);
    const auto from = findOneField(all, source);
    if (!from.problem.empty()) return {.problem = from.problem};
    const auto to = findOneField(all, sink);
    if (!to.problem.empty()) return {.problem = to.problem};
    return {from.fields.front().field, to.fields.front().field};
}

Kr::KrConnectionBase* make(const Ends& ends, Kr::eConnectionKind kind) {
    using Kr::KrConnectionFactory;
    switch (kind) {
        case Kr::eConnectionKind::kQueued:
            return KrConnectionFactory::connectQueued(ends.source, ends.sink);
        case Kr::eConnectionKind::kUnitDelay:
            return KrConnectionFactory::connectUnitDelay(ends.source, ends.sink);
        case Kr::eConnectionKind::kInterpolated:
            return KrConnectionFactory::connectInterpolated(ends.source, ends.sink);
        default:
            return KrConnectionFactory::connect(ends.source, ends.sink);
    }
}

}  // namespace

AssignmentResult ContentEditor::set(std::span<const Assignment> assignments) const {
    return assignFields(getAll(_section.getObjects()), assignments);
}

std::string ContentEditor::_place(KrExtension& extension, const std::string& name, std::string_view parent) {
    std::string problem;
    KrObject* object = nullptr;
    if (!parent.empty()) {
        auto* found = findExtension(_section.getObjects(), parent, problem);
        if (found == nullptr) return problem;
        object = KrSim::detail::asObject(found);
        if (object == nullptr) return Kr::quote(found->getPath()) + " is no object, which could hold others";
    }
    KrSim::StringUtils::UniqueNamesCollection names;
    if (object == nullptr) {
        for (const auto& each : _section.getObjects())
            names.add(each->getName());
    }
    extension.setName(object == nullptr ? names.add(name).c_str() : name.c_str());  // an object makes it unique
    if (object == nullptr) {
        _section.addObject(&extension);
    } else if (!object->add(&extension)) {
        return Kr::quote(object->getPath()) + " accepts no extension of this type";
    }
    return {};
}

std::string ContentEditor::add(const KrSim::KrFactoryKey& type, const std::string& name, std::string_view parent) {
    const auto made = KrSim::KrExtensionFactory::create(type);
    if (!made) return "no plug-in makes " + type.toString();
    return _place(*made, name.empty() ? type.name : name, parent);
}

std::string ContentEditor::remove(std::string_view path) {
    std::string problem;
    auto* found = findExtension(_section.getObjects(), path, problem);
    if (found == nullptr) return problem;
    if (_section.removeObject(found)) return {};
    if (auto* parent = found->getOwner()) parent->remove(found);
    return {};
}

std::string ContentEditor::connect(std::string_view source, std::string_view sink, Kr::eConnectionKind kind) const {
    const auto ends = findEnds(_section.getObjects(), source, sink);
    if (!ends.problem.empty()) return ends.problem;
    auto refusal = Kr::explainRefusal(*ends.source, *ends.sink, kind == Kr::eConnectionKind::kQueued);
    if (!refusal.empty()) return refusal;
    // A stored value is no concern of the connection, which transfers when the source changes.
    const std::unique_ptr<KrData::FieldBase> before(ends.sink->clone(nullptr));
    const bool isMade = make(ends, kind) != nullptr;
    if (before) ends.sink->copyValue(*before);
    if (isMade) return {};
    return Kr::quote(getFullPath(*ends.source)) + " and " + Kr::quote(getFullPath(*ends.sink)) + " cannot be connected";
}

std::string ContentEditor::disconnect(std::string_view source, std::string_view sink) const {
    const auto ends = findEnds(_section.getObjects(), source, sink);
    if (!ends.problem.empty()) return ends.problem;
    if (Kr::KrConnectionFactory::disconnect(ends.source, ends.sink)) return {};
    return Kr::quote(getFullPath(*ends.source)) + " is not connected to " + Kr::quote(getFullPath(*ends.sink));
}

std::string ContentEditor::instantiate(Roots definitions, std::string_view definition, const std::string& name,
                                       std::string_view parent, std::size_t count) {
    std::string problem;
    auto* found = findExtension(definitions, definition, problem);
    if (found == nullptr) return problem;
    auto* object = KrSim::detail::asObject(found);
    if (object == nullptr) return Kr::quote(found->getPath()) + " is no object; only objects have instances";
    if (count == 0 || count > kMostInstances) return "1 to a million instances can be made";
    for (std::size_t i = 0; i < count; ++i) {
        const auto instance = object->instantiate();
        if (!instance) return Kr::quote(found->getPath()) + " cannot be instantiated";
        problem = _place(*instance, name.empty() ? object->getName() : name, parent);
        if (!problem.empty()) return problem;
    }
    return {};
}

}  // namespace KrExperiments
