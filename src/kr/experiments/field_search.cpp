#include "kr/experiments/field_search.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/data/container.h"
#include "kr/data/field_visitor.h"
#include "kr/data/value_traits.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/text.h"
#include "kr/platform/text_pattern.h"

namespace KrExperiments {
namespace {

using KrSim::KrApplication;
using KrSim::KrExtension;
using Extensions = std::span<KrExtension* const>;

constexpr std::string_view kRoles[] = {"Inputs", "Outputs", "Parameters"};
constexpr std::size_t kMostListed = 4;

class FieldWalk final : public KrData::FieldVisitor {
public:
    /// \param extension  path of the extension
    using Action = std::function<void(KrData::FieldBase& field, const std::string& extension, std::string&& path)>;

    explicit FieldWalk(Action action) : _action(std::move(action)) {}

    void run(Extensions extensions) {
        for (auto* each : extensions) {
            _extension = each->getPath();
            each->getFieldsContainer().accept(*this);
        }
    }
    void visitField(KrData::FieldBase& field) override { _action(field, _extension, field.getPath()); }

private:
    Action _action;
    std::string _extension;
};

std::string_view withoutRole(std::string_view path) {
    const auto point = path.find('.');
    if (point == std::string_view::npos) return path;
    const bool hasRole = std::find(std::begin(kRoles), std::end(kRoles), path.substr(0, point)) != std::end(kRoles);
    return hasRole ? path.substr(point + 1) : path;
}

std::string joined(const std::string& extension, std::string_view path) {
    return std::string(extension).append(".").append(path);
}

std::string withPoints(std::string_view path) {
    std::string text(path);
    std::replace(text.begin(), text.end(), '/', '.');
    return text;
}

/// One form of all the fields, and the pattern that an end of it must match.
FoundFields findShort(Extensions extensions, std::string_view pattern) {
    FoundFields found;
    const auto whole = withPoints(pattern);
    const auto end = "*." + whole;
    const auto matches = [&](const std::string& path) {
        const auto text = withPoints(path);
        return Kr::matchesPattern(whole, text) || Kr::matchesPattern(end, text);
    };
    FieldWalk([&](KrData::FieldBase& field, const std::string& extension, std::string&& path) {
        auto full = joined(extension, path);
        if (matches(full) || matches(joined(extension, withoutRole(path)))) found.fields.push_back({&field, full});
    }).run(extensions);
    return found;
}

/// All that a user may have meant: full and short paths, and their ends.
std::string suggestPath(Extensions extensions, std::string_view wanted) {
    std::vector<std::string> known;
    FieldWalk([&](KrData::FieldBase&, const std::string& extension, std::string&& path) {
        const auto shortPath = joined(extension, withoutRole(path));
        known.push_back(joined(extension, path));
        known.push_back(shortPath);
        known.push_back(extension + "/" + std::string(withoutRole(path)));
        for (auto at = shortPath.find_first_of("/."); at != std::string::npos; at = shortPath.find_first_of("/.", at))
            known.push_back(shortPath.substr(++at));
    }).run(extensions);
    std::sort(known.begin(), known.end());
    known.erase(std::unique(known.begin(), known.end()), known.end());
    return Kr::suggestName(wanted, known);
}

std::string listOf(const std::vector<FoundField>& fields) {
    std::string text;
    for (std::size_t i = 0; i < std::min(fields.size(), kMostListed); ++i)
        text.append(i == 0 ? "'" : ", '").append(fields[i].path).append("'");
    return fields.size() > kMostListed ? text + ", ..." : text;
}

}  // namespace

std::vector<KrExtension*> getSimulatedExtensions(const KrApplication& application) {
    std::vector<KrExtension*> extensions;
    for (const auto& each : application.getContentDispatcher().getExtensions())
        extensions.push_back(each.get());
    for (std::size_t i = 0; i < application.getModuleCount(); ++i)
        extensions.push_back(application.getModule(i));
    return extensions;
}

std::string getFullPath(const KrData::FieldBase& field) {
    const auto* extension = field.getOwnerExtension();
    return extension != nullptr ? joined(extension->getPath(), field.getPath()) : field.getPath();
}

FoundFields findFields(Extensions extensions, std::string_view pattern) {
    FoundFields found;
    FieldWalk([&](KrData::FieldBase& field, const std::string& extension, std::string&& path) {
        auto full = joined(extension, path);
        if (Kr::matchesPattern(pattern, full)) found.fields.push_back({&field, std::move(full)});
    }).run(extensions);
    if (found.fields.empty()) found = findShort(extensions, pattern);
    if (!found.fields.empty()) return found;
    found.problem = Kr::isPattern(pattern) ? "no field is of the pattern '" : "there is no field '";
    found.problem.append(pattern).append("'").append(suggestPath(extensions, pattern));
    return found;
}

FoundFields findMeantFields(Extensions extensions, std::string_view pattern) {
    return Kr::isPattern(pattern) ? findFields(extensions, pattern) : findOneField(extensions, pattern);
}

FoundFields findOneField(Extensions extensions, std::string_view path) {
    if (Kr::isPattern(path)) {
        return {.problem = "'" + std::string(path) + "' is a pattern, and the path of one field is needed"};
    }
    auto found = findFields(extensions, path);
    if (found.fields.size() < 2) return found;
    return {.problem = "'" + std::string(path) + "' is the end of " + std::to_string(found.fields.size()) +
                       " paths: " + listOf(found.fields) + "; write more of it, or a pattern for all of them"};
}

FoundFields findFields(const KrApplication& application, std::string_view pattern) {
    return findFields(getSimulatedExtensions(application), pattern);
}

FoundFields findMeantFields(const KrApplication& application, std::string_view pattern) {
    return findMeantFields(getSimulatedExtensions(application), pattern);
}

FoundFields findOneField(const KrApplication& application, std::string_view path) {
    return findOneField(getSimulatedExtensions(application), path);
}

std::vector<std::string> getComponentNames(const KrData::FieldBase& field) {
    return KrData::withValueType(field.getDataType(), []<class T>(std::type_identity<T>) {
        std::vector<std::string> names;
        if constexpr (KrData::kHasComponents<T>) {
            for (const char each : KrData::ValueTraits<T>::kComponentNames)
                names.emplace_back(1, each);
            constexpr int kRows = 4;
            for (int i = 0; names.size() < std::size_t{KrData::ValueTraits<T>::kComponentCount}; ++i)
                names.push_back(std::string("M").append(std::to_string(i / kRows)).append(std::to_string(i % kRows)));
        }
        return names;
    });
}

FoundNumber findOneNumber(const KrApplication& application, std::string_view path) {
    const auto found = findOneField(application, path);
    if (found.problem.empty()) return {.field = found.fields.front()};
    const auto point = path.rfind('.');
    if (point == std::string_view::npos) return {.problem = found.problem};
    const auto whole = findOneField(application, path.substr(0, point));
    if (!whole.problem.empty()) return {.problem = found.problem};
    const auto& field = whole.fields.front();
    const auto name = path.substr(point + 1);
    const auto names = getComponentNames(*field.field);
    const auto place = std::find(names.begin(), names.end(), name);
    if (place != names.end()) return {.field = field, .component = static_cast<int>(place - names.begin())};
    if (names.empty()) return {.problem = found.problem};
    std::string all;
    for (const auto& each : names)
        all.append(all.empty() ? "" : ", ").append(Kr::quote(each));
    return {.problem = Kr::quote(field.path) + " has no component " + Kr::quote(name) + "; they are " + all};
}

}  // namespace KrExperiments
