#include "kr/persistence/objects/internal/definition_follower.h"

#include <unordered_map>
#include <utility>

#include "kr/extension/content_registry.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/own_record.h"
#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/content_guards.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/persistence/objects/internal/loaded_files.h"
#include "kr/platform/memory_guard.h"

namespace KrPersistence::detail {

using KrSim::KrObject;
using KrSim::detail::ObjectAccess;

namespace {

/// Whether the instance finds other content of the item than its definition.
bool hasStandIn(const KrObject& instance) {
    const auto* definition = instance.getDefinition();
    return definition != nullptr && definition->getContentID() != instance.getDefinitionReference().getContentID();
}

bool isToFollow(const KrObject& instance) {
    const auto* kept = KeptContent::find(instance);
    if (kept == nullptr) return false;
    const bool isReplaced = kept->isFollowingStandIn && instance.getDefinition() != nullptr && !hasStandIn(instance);
    return kept->isAwaitingDefinition || isReplaced;
}

class Follower {
public:
    Follower(std::size_t growthLimit, std::vector<std::string>& problems)
        : _mostContent(KrSim::KrContentRegistry::instance().getExtensionCount() + growthLimit), _problems(problems) {
        for (auto& extension : KeptContent::getExtensions()) {
            auto* object = asObject(extension.get());
            if (object == nullptr || !isToFollow(*object)) continue;
            int level = 0;
            for (const auto* above = object->getOwner(); above != nullptr && level < kMostLevels; ++level) {
                _inside[above].push_back(_waiting.size());
                above = above->getOwner();
            }
            _places.emplace(object, _waiting.size());
            _waiting.push_back({std::move(extension), object});
        }
    }

    void followAll() {
        for (std::size_t i = 0; i < _waiting.size(); ++i)
            _follow(i, 0);
    }

private:
    // Definitions within definitions: far more than anybody builds, and few enough for the stack.
    static constexpr int kDeepest = 256;
    // Levels of objects from a definition down to an instance in it that is followed first. A list of all levels would
    // grow with the square of the depth.
    static constexpr int kMostLevels = 512;

    struct Waiting {
        Kr::KrSmartPtr<KrSim::KrExtension> held;
        KrObject* object;
        bool isVisited{false};
    };

    void _follow(std::size_t index, int depth) {
        if (std::exchange(_waiting[index].isVisited, true)) return;
        auto& instance = *_waiting[index].object;
        if (!_followOuter(instance, depth)) return;
        const auto* definition = instance.getDefinition();
        // Which may itself be a part of an instance, and wait for the rest of its own parts.
        if (definition != nullptr) static_cast<void>(_followOuter(*definition, depth));
        _followInside(instance.getDefinition(), depth);
        _followNow(instance);
    }

    void _followInside(const KrObject* definition, int depth) {
        if (definition == nullptr || depth >= kDeepest) return;
        const auto inside = _inside.find(definition);
        if (inside == _inside.end()) return;
        for (const auto each : inside->second)
            _follow(each, depth + 1);
    }

    /// An instance within another one is a copy of one in the definition of that, and follows it first. False while
    /// that is impossible: only the outer instance knows what is own there.
    bool _followOuter(const KrObject& instance, int depth) {
        for (auto* above = instance.getOwner(); above != nullptr && depth < kDeepest; above = above->getOwner()) {
            if (!above->isInstance()) continue;
            const auto place = _places.find(above);
            if (place != _places.end()) {
                _follow(place->second, depth + 1);
                return KeptContent::find(*above) == nullptr || !KeptContent::find(*above)->isAwaitingDefinition;
            }
            const auto* definition = above->getDefinition();
            if (definition == nullptr || _inside.count(definition) == 0) return true;
            _followInside(definition, depth);
            if (!ObjectAccess::isBusy(*above)) {
                Kr::callGuardedButMemory(
                    kSync, [&] { return above->getName(); }, [&] { above->sync(); }, above);
            }
            return true;
        }
        return true;
    }

    void _followNow(KrObject& instance) {
        const auto missing = describeMissingDefinition(instance);
        const auto* definition = instance.getDefinition();
        if (definition == nullptr) {
            instance.addError(missing, false);
            const auto id = instance.getDefinitionReference().getContentID();
            _problems.push_back("'" + describePath(instance) + "': " + missing +
                                describeChoice(id.getRuntimeID(), id.getRawID()));
            return;
        }
        if (ObjectAccess::isBusy(instance)) return;  // with the next load
        instance.removeError(missing, false);
        auto& kept = KeptContent::of(instance);
        kept.isAwaitingDefinition = false;
        kept.isFollowingStandIn = hasStandIn(instance);
        KeptContent::dropIfEmpty(instance);
        if (ObjectAccess::holds(instance, *definition) || ObjectAccess::holds(*definition, instance)) {
            _problems.push_back("'" + describePath(instance) +
                                "' is an instance of what holds it, or of what it holds");
        } else if (KrSim::KrContentRegistry::instance().getExtensionCount() > _mostContent) {
            _problems.push_back("'" + describePath(instance) +
                                "' stays as it was saved: instances of instances multiply");
        } else {
            Kr::callGuardedButMemory(
                kSync, [&] { return instance.getName(); }, [&] { instance.sync(); }, &instance);
        }
    }

    std::size_t _mostContent;
    std::vector<std::string>& _problems;
    std::vector<Waiting> _waiting;
    std::unordered_map<const KrObject*, std::vector<std::size_t>> _inside;
    std::unordered_map<const KrObject*, std::size_t> _places;
};

}  // namespace

std::string describeMissingDefinition(const KrObject& instance) {
    const auto file = instance.getDefinitionFileName().str();
    // The raw ID: it is the one that people find in the file.
    return "The definition " + instance.getDefinitionReference().getContentID().getRawID().toString() +
           (file.empty() ? "" : " of the file " + file) + " is not there; " +
           (KrSim::OwnRecord::of(instance).isOwnOnly ? "only what is the instance's own is here, the rest comes with it"
                                                     : "the content is as it was saved");
}

void followDefinitions(std::size_t loadedCount, std::vector<std::string>& problems) {
    // A file has few bytes of an instance that may grow to any number of parts.
    Follower(100 * loadedCount + 1'000'000, problems).followAll();
}

}  // namespace KrPersistence::detail
