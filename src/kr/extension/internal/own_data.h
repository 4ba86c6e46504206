#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field_merge.h"
#include "kr/extension/extension.h"

// Own data of extensions that are made anew, or have no place any more.

namespace KrSim::detail {

/// Copies of the fields that have own parts, in containers like those above them, each with what its stored path needs:
/// twins in front of it, or all fields of a group whose order is own. Null when there are none.
[[nodiscard]] std::unique_ptr<KrData::Container> copyOwnFields(const KrExtension& extension,
                                                               const KrData::OwnFields& own);
/// Lays own fields over those of an extension that was made anew.
/// \return  the paths of the fields that have no place any more: they are added, and marked as lost.
std::vector<std::string> layOver(KrExtension& extension, const KrData::Container& fields,
                                 const KrData::OwnFields::Paths& own);
/// Replaces the errors about fields without a place, and logs those that are new.
void reportLostFields(KrExtension& extension, const std::vector<std::string>& paths);

}  // namespace KrSim::detail
