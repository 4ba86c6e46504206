#include "kr/data/full_path.h"

#include "kr/data/field_base.h"
#include "kr/data/i_extension_facts.h"

namespace KrData {

std::string getFullPath(const FieldBase& field) {
    auto path = IExtensionFacts::pathOf(field.getOwnerExtension());
    const auto own = field.getPath();
    if (!path.empty() && !own.empty()) path += '.';
    path += own;
    return !path.empty() ? path : std::string("(a ") + Types::nameFor(field.getDataType()) + " without a name)";
}

}  // namespace KrData
