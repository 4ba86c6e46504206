#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/krsim/run_plan.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/core/unit_system.h"
#include "kr/experiments/assignment.h"

namespace krsim {

/// Show the types that can be chosen.
struct ListPlan {
    std::vector<std::string> pluginDirectories{};
    bool printsJson{false};
    double limitSeconds{5.0};  ///< for each plug-in; one that takes longer to load is skipped
};

/// Show what files are, from their first bytes.
struct InfoPlan {
    std::vector<std::string> files{};
    bool printsJson{false};
};

enum class eDumpForm {
    kTree,
    kFlat,  ///< a line for each value, with its path
    kJson,  ///< the whole content as JSON archives have it
};

/// Print what a file holds.
struct DumpPlan {
    std::vector<std::string> pluginDirectories{};
    std::string file{};
    bool isLong{false};  ///< long values whole
    eDumpForm form{eDumpForm::kTree};
    std::optional<Kr::eUnitSystem> units{};  ///< in which numbers are shown as well
};

enum class eFileKind { kBinary, kXml, kJson };

/// Save a file in another kind.
struct ConvertPlan {
    std::vector<std::string> pluginDirectories{};
    std::string input{};
    std::string output{};
    eFileKind kind{eFileKind::kBinary};
    bool hasChecksum{false};
    bool isSelfContained{false};  ///< instances complete
    bool isForced{false};         ///< whatever the output holds
};

/// Save what can be read of a damaged file.
struct RecoverPlan {
    std::vector<std::string> pluginDirectories{};
    std::string input{};
    std::string output{};
    std::optional<eFileKind> kind{};  ///< that of the input without it
    bool isForced{false};             ///< whatever the output holds
};

/// Load files and tell what is wrong with them.
struct VerifyPlan {
    std::vector<std::string> pluginDirectories{};
    std::vector<std::string> files{};
    bool printsJson{false};
};

/// Tell what differs between two files.
struct DiffPlan {
    std::vector<std::string> pluginDirectories{};
    std::string first{};
    std::string second{};
    std::vector<std::string> ignored{};  ///< patterns of places that may differ
    /// For files of frame hashes: none, or the states of both after the first frame that differs.
    std::vector<std::string> states{};
};

/// Write the graph of connections in the dot language.
struct GraphPlan {
    std::vector<std::string> pluginDirectories{};
    std::vector<std::string> files{};
    std::string output{"-"};
    bool isForced{false};  ///< whatever the output holds
};

/// List the presets of a setup file, or change one.
struct PresetPlan {
    std::string setupFile{};
    std::string name{};     ///< empty: list all
    std::string variant{};  ///< the setup file to take the preset from
    bool isRemoved{false};
    bool hasChecksum{false};
};

/// Change the content of an object file. The steps are carried out in this order.
struct EditPlan {
    std::vector<std::string> pluginDirectories{};
    std::string file{};
    std::vector<std::string> removed{};  ///< paths of extensions
    std::vector<std::string> added{};    ///< types, as TypeCatalog::find takes them
    std::string name{};            ///< of what is added and of instances; empty for that of its type or definition
    std::string parent{};          ///< path of the object that gets it; empty for the top of the file
    std::string definition{};      ///< path of the object to instantiate; empty for none
    std::string definitionFile{};  ///< that holds it; empty for the same one
    std::size_t instances{1};
    std::string source{};  ///< of a connection
    std::string sink{};
    Kr::eConnectionKind connectionKind{Kr::eConnectionKind::kDirect};
    bool isDisconnected{false};
    std::vector<KrExperiments::Assignment> assignments{};
    std::string output{};  ///< the file to write; empty for the same one
    bool isForced{false};  ///< whatever the other file holds
};

/// Write a setup file and an object file from types.
struct CreatePlan {
    RunPlan what{};
    std::string setupFile{};
    std::string objectFile{};
    eFileKind kind{eFileKind::kXml};
    bool hasChecksum{false};
    bool isForced{false};  ///< whatever the files hold
};

}  // namespace krsim
