// The command line of the program; see docs/krsim.md.

#include <cstdio>
#include <exception>
#include <string>
#include <variant>
#include <vector>

#include "apps/krsim/command_line.h"
#include "apps/krsim/crash_report.h"
#include "apps/krsim/edit_command.h"
#include "apps/krsim/file_commands.h"
#include "apps/krsim/list_command.h"
#include "apps/krsim/new_plugin_command.h"
#include "apps/krsim/preset_command.h"
#include "apps/krsim/run_command.h"
#include "apps/krsim/sweep_command.h"
#include "kr/persistence/files/producer.h"
#include "kr/platform/version.h"

namespace {

using krsim::eExitCode;

/// One for each command.
struct Execution {
    eExitCode operator()(const krsim::Answer& answer) const {
        std::fputs(answer.text.c_str(), answer.code == eExitCode::kOk ? stdout : stderr);
        return answer.code;
    }
    eExitCode operator()(const krsim::RunPlan& plan) const { return krsim::runSimulation(plan); }
    eExitCode operator()(const krsim::SweepCommandPlan& plan) const { return krsim::runSweep(plan); }
    eExitCode operator()(const krsim::VerifyPlan& plan) const { return krsim::verifyFiles(plan); }
    eExitCode operator()(const krsim::DiffPlan& plan) const { return krsim::compareFiles(plan); }
    eExitCode operator()(const krsim::ListPlan& plan) const { return succeed(krsim::listTypes, plan); }
    eExitCode operator()(const krsim::TypesPlan& plan) const { return krsim::showTypes(plan); }
    eExitCode operator()(const krsim::DoctorPlan& plan) const { return krsim::examine(plan); }
    eExitCode operator()(const krsim::InfoPlan& plan) const { return krsim::showInfo(plan); }
    eExitCode operator()(const krsim::DumpPlan& plan) const { return succeed(krsim::dumpFile, plan); }
    eExitCode operator()(const krsim::ConvertPlan& plan) const { return succeed(krsim::convertFile, plan); }
    eExitCode operator()(const krsim::RecoverPlan& plan) const { return krsim::recoverFile(plan); }
    eExitCode operator()(const krsim::GraphPlan& plan) const { return succeed(krsim::drawGraph, plan); }
    eExitCode operator()(const krsim::CreatePlan& plan) const { return succeed(krsim::createFiles, plan); }

    eExitCode operator()(const krsim::NewPluginPlan& plan) const { return succeed(krsim::createPlugin, plan); }
    eExitCode operator()(const krsim::EditPlan& plan) const { return succeed(krsim::editFile, plan); }
    eExitCode operator()(const krsim::PresetPlan& plan) const { return succeed(krsim::editPresets, plan); }
    eExitCode operator()(const krsim::ManualPlan& plan) const { return succeed(krsim::writeManual, plan); }

    template <class Plan>
    static eExitCode succeed(void (*execute)(const Plan&), const Plan& plan) {
        execute(plan);
        return eExitCode::kOk;
    }
};

eExitCode fail(eExitCode code, const char* text) {
    std::fprintf(stderr, "krsim: %s\n", text);
    return code;
}

}  // namespace

int main(int count, char** arguments) {
    auto code = eExitCode::kFailed;
    bool isReported = true;  // why it failed
    const krsim::CrashReport crashReport;
    try {
        KrPersistence::setProducer({.application = "krsim", .marketingName = {}, .version = Kr::getLibraryVersion()});
        code = std::visit(Execution(), krsim::parseCommandLine({arguments + 1, arguments + count}));
        isReported = false;
    } catch (const krsim::Failure& failure) {
        code = fail(failure.getCode(), failure.what());
    } catch (const std::exception& exception) {
        code = fail(eExitCode::kFailed, exception.what());
    }
    // A block that was not written is not tried again, so that the flush alone would show an error of the last one
    // only.
    const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!isWritten && !isReported)
        code = fail(code == eExitCode::kOk ? eExitCode::kFailed : code, "cannot write the output");
    return static_cast<int>(code);
}
