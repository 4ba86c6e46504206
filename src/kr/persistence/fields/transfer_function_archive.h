#pragma once

#include <string_view>

#include "kr/data/transfer_function.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Writes a transfer function as a sequence of its steps; all numbers keep every bit.
KR_API void writeTransferFunction(ArchiveWriter& writer, std::string_view name,
                                  const KrData::TransferFunction& function);
/// Throws an archive exception for steps that make no valid function; it says what is wrong with which step.
[[nodiscard]] KR_API KrData::TransferFunction readTransferFunction(ArchiveReader& reader, std::string_view name);

}  // namespace KrPersistence
