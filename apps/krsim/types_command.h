#pragma once

#include <string>
#include <vector>

#include "apps/krsim/failure.h"

namespace krsim {

enum class eTypesForm { kText, kJson, kHtml };

/// Describe all types with their fields.
struct TypesPlan {
    std::vector<std::string> pluginDirectories{};
    eTypesForm form{eTypesForm::kText};
};

/// A field of a type, as texts for people.
struct DescribedField {
    std::string name{};  ///< with the names of its containers, "Wheels.Radius"
    std::string role{};  ///< input, output or parameter
    std::string type{};
    std::string unit{};
    std::string range{};  ///< empty without one
    std::string value{};  ///< the default
    std::string description{};
};

struct DescribedType {
    std::string category{};
    std::string name{};
    std::string id{};
    std::string kind{};     ///< object, extension, module; missing for a type that its plug-in does not register
    std::string plugin{};   ///< empty for types of the library
    std::string problem{};  ///< why there are no fields
    std::vector<DescribedField> fields{};
};

struct DescribedTypes {
    std::vector<DescribedType> types{};   ///< by plug-in in the order of the search, the library last
    std::vector<std::string> problems{};  ///< plug-ins that cannot be loaded
};

/// Loads all plug-ins and makes one extension of each type, whose fields are read; nothing of them is run.
[[nodiscard]] DescribedTypes describeTypes(const std::vector<std::string>& pluginDirectories);

[[nodiscard]] std::string formatTypes(const DescribedTypes& types);
[[nodiscard]] std::string formatTypesAsJson(const DescribedTypes& types);
/// One page without external files.
[[nodiscard]] std::string formatTypesAsHtml(const DescribedTypes& types);

/// kFailed when a plug-in or a type could not be described; the rest is printed all the same.
[[nodiscard]] eExitCode showTypes(const TypesPlan& plan);

}  // namespace krsim
