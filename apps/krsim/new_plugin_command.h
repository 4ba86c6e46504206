#pragma once

#include <string>
#include <vector>

namespace krsim {

/// Write the project of a new plug-in.
struct NewPluginPlan {
    std::string name{};       ///< of the plug-in, of its extension's class and of its files
    std::string directory{};  ///< empty: named after the plug-in, in the working directory
    bool isForced{false};     ///< also into a folder with files
};

/// The names of the parts of a plug-in.
struct PluginNames {
    std::string className;    ///< "RoadVehicle"
    std::string displayName;  ///< "Road Vehicle"
    std::string fileName;     ///< "road_vehicle"
};

/// Throws a Failure with the reason when the name suits no C++ class or no plug-in file.
[[nodiscard]] PluginNames makePluginNames(const std::string& name);

/// A file of the template, a plug-in named RoadVehicle. CMake writes the list from examples/plugin_template.
struct TemplateFile {
    const char* name;
    const char* text;
};
[[nodiscard]] const std::vector<TemplateFile>& getPluginTemplate();

/// Writes a copy of the template with the names of the new plug-in and new identifiers, and prints what to do with it.
/// Throws a Failure where a file could be lost, or not be written.
void createPlugin(const NewPluginPlan& plan);

}  // namespace krsim
