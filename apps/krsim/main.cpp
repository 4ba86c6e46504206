// The command line of the program; see docs/krsim.md.

#include <cstdio>
#include <exception>
#include <string>
#include <variant>
#include <vector>

#include "apps/krsim/command_line.h"
#include "apps/krsim/list_command.h"
#include "apps/krsim/run_command.h"

namespace {

using krsim::eExitCode;

eExitCode execute(const krsim::Command& command) {
    if (const auto* run = std::get_if<krsim::RunPlan>(&command)) return krsim::runSimulation(*run);
    if (const auto* list = std::get_if<krsim::ListPlan>(&command)) {
        krsim::listTypes(*list);
        return eExitCode::kOk;
    }
    const auto& answer = std::get<krsim::Answer>(command);
    std::fputs(answer.text.c_str(), answer.code == eExitCode::kOk ? stdout : stderr);
    return answer.code;
}

eExitCode fail(eExitCode code, const char* text) {
    std::fprintf(stderr, "krsim: %s\n", text);
    return code;
}

}  // namespace

int main(int count, char** arguments) {
    auto code = eExitCode::kFailed;
    try {
        code = execute(krsim::parseCommandLine({arguments + 1, arguments + count}));
    } catch (const krsim::Failure& failure) {
        code = fail(failure.getCode(), failure.what());
    } catch (const std::exception& exception) {
        code = fail(eExitCode::kFailed, exception.what());
    }
    if (std::fflush(stdout) != 0 && code == eExitCode::kOk) code = fail(eExitCode::kFailed, "cannot write the output");
    return static_cast<int>(code);
}
