#pragma once

#include "apps/krsim/failure.h"
#include "apps/krsim/file_plans.h"

namespace krsim {

// Each prints on standard output and throws a Failure that names the file when one is refused.

/// A line for each file: kind, content, release; for one that is refused the reason, on standard error.
[[nodiscard]] eExitCode showInfo(const InfoPlan& plan);
/// A line for each value.
void dumpFile(const DumpPlan& plan);
/// Doubts, a line each, on standard error; kFailed when there are any.
[[nodiscard]] eExitCode recoverFile(const RecoverPlan& plan);
/// The input may be the output.
void convertFile(const ConvertPlan& plan);
/// A line for each fault; kOk when there is none, else kMissingPlugin where plug-ins are missing, else kRefusedFile.
[[nodiscard]] eExitCode verifyFiles(const VerifyPlan& plan);
/// A line for each difference; kFailed when there is one.
[[nodiscard]] eExitCode compareFiles(const DiffPlan& plan);
void drawGraph(const GraphPlan& plan);
void createFiles(const CreatePlan& plan);

}  // namespace krsim
