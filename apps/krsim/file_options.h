#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <variant>

#include "apps/krsim/file_plans.h"

namespace krsim {

using FilePlan = std::variant<InfoPlan, DumpPlan, ConvertPlan, RecoverPlan, VerifyPlan, DiffPlan, GraphPlan, CreatePlan,
                              PresetPlan, EditPlan>;

/// The subcommands that work on files.
class FileCommands {
public:
    /// The application of CLI11 is borrowed and must die first.
    explicit FileCommands(CLI::App& app);
    FileCommands(const FileCommands&) = delete;
    FileCommands& operator=(const FileCommands&) = delete;

    /// The plan of the subcommand that was given; nothing when it was another one.
    [[nodiscard]] std::optional<FilePlan> getParsed() const;

private:
    void _addEditing(CLI::App& app);

    template <class Plan>
    struct Entry {
        CLI::App* command{nullptr};
        Plan plan{};
    };

    Entry<InfoPlan> _info;
    Entry<DumpPlan> _dump;
    Entry<ConvertPlan> _convert;
    Entry<RecoverPlan> _recover;
    Entry<VerifyPlan> _verify;
    Entry<DiffPlan> _diff;
    Entry<GraphPlan> _graph;
    Entry<CreatePlan> _create;
    Entry<PresetPlan> _preset;
    Entry<EditPlan> _edit;
    Entry<EditPlan> _connect;
    Entry<EditPlan> _instantiate;
};

}  // namespace krsim
