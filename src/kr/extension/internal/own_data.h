#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field_merge.h"
#include "kr/extension/extension.h"

// Own data of extensions that are created again, or have no place any more.

namespace KrSim::detail {

/// Copies of the fields with own parts, in containers like those above them, each with the fields that its stored path
/// needs: earlier fields of the same identifier, or all fields of a group whose order is own. Null without any.
[[nodiscard]] std::unique_ptr<KrData::Container> copyOwnFields(const KrExtension& extension,
                                                               const KrData::OwnFields& own);
/// Applies own fields to those of an extension that was created again.
/// \return  the paths of fields without a place: they are added, and marked as lost.
std::vector<std::string> layOver(KrExtension& extension, const KrData::Container& fields,
                                 const KrData::OwnFields::Paths& own);
/// Replaces the errors about fields without a place, and logs the new ones.
void reportLostFields(KrExtension& extension, const std::vector<std::string>& paths);

}  // namespace KrSim::detail
