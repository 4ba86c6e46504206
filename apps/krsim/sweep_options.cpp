#include "apps/krsim/sweep_options.h"

#include <cstdint>
#include <string>

#include "apps/krsim/option_values.h"
#include "apps/krsim/run_options.h"

namespace krsim {
namespace {

constexpr const char* kSweepExamples =
    R"(Each run is a process of its own. Its result is a file in the folder, which is complete when it is there: the same
command again runs what is missing. Ctrl-C ends the sweep after the runs in progress.

Examples:
  krsim sweep setup.xml --seconds 1200 --vary "Car/Mass=1 t:2 t:100 kg" --table mass.csv
  krsim sweep setup.xml --seconds 1200 --vary "Mass=1 t:2 t" --vary "Gear=Park,Drive" --latin 500 --seed 7 -j 4
  krsim sweep setup.xml --seconds 60 --vary "Mass=1 t,2 t" --of "*.Speed" --of "*.Charge")";

void addSamples(CLI::App& command, SweepCommandPlan& plan) {
    using KrExperiments::eSampling;
    const auto add = [&](const std::string& name, eSampling sampling, const char* description) {
        return command
            .add_option_function<std::string>(
                name,
                [&plan, name, sampling](const std::string& text) {
                    plan.sweep.sampling = sampling;
                    plan.sweep.runs = parsePositive<std::size_t>(name, text);
                },
                description)
            ->type_name("N");
    };
    auto* random = add("--random", eSampling::kRandom, "N runs with evenly distributed, independent values");
    add("--latin", eSampling::kLatin, "N runs with the values of a Latin hypercube")->excludes(random);
}

}  // namespace

void addSweepOptions(CLI::App& command, SweepCommandPlan& plan) {
    command.add_option("FILE", plan.run.files, "A setup file, or an object file, or both, as for 'krsim run'")
        ->type_name("");
    addModelOptions(command, plan.run);
    command
        .add_option_function<std::vector<std::string>>(
            "--vary",
            [&plan](const std::vector<std::string>& texts) {
                for (const auto& each : texts) {
                    const auto problem = KrExperiments::parseVariation(each, plan.sweep.variations.emplace_back());
                    if (!problem.empty())
                        throw CLI::ValidationError("--vary",
                                                   std::string("'").append(each).append("': ").append(problem));
                }
            },
            "Values of a field: PATH=FROM:TO:STEP, PATH=A,B,C, or PATH=FROM:TO for samples; may be repeated. All "
            "values of one field are combined with all of the others.")
        ->type_name("PATH=VALUES")
        ->allow_extra_args(false)
        ->required();
    addSamples(command, plan);
    addList(
        command, "--of", plan.patterns, "PATTERN",
        "Fields for the table: last value, minimum, maximum, mean and RMS; may be repeated. Without it, all outputs "
        "that are numbers.");
    command
        .add_option_function<std::string>(
            "-j,--jobs", [&plan](const std::string& text) { plan.jobs = parsePositive<std::size_t>("--jobs", text); },
            "Runs at the same time (one for each processor)")
        ->type_name("N");
    command.add_option("--table", plan.table, "Write the results into this table (CSV); standard output without it")
        ->type_name("FILE");
    command.add_flag("--json", plan.printsJson,
                     "Print the results as a JSON object; then there is a table only with --table");
    command
        .add_option("--folder", plan.folder,
                    "Folder for the results of the runs (the name of the table with .runs behind it, else sweep.runs)")
        ->type_name("DIR");
    command.add_flag("-f,--force", plan.isForced, "Discard the results of another sweep in the folder");
    command.footer(kSweepExamples);
}

}  // namespace krsim
