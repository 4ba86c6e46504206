#include "kr/extension/connection_settings.h"

#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/data/transfer_function.h"

template class Kr::UpperLayer<KrSim::ITransferFunctions>;

namespace KrSim {

using Kr::detail::ConnectionAccess;

ConnectionSettings ConnectionSettings::of(const Kr::KrConnectionBase& connection) {
    const auto* functions = Kr::UpperLayer<ITransferFunctions>::get();
    return {.type = connection.getExactClassType(),
            .isEnabled = connection.isEnabled(),
            .isOrdering = ConnectionAccess::isRegisteredInSorter(connection),
            .function = functions != nullptr ? functions->find(connection) : TransferFunction()};
}

bool ConnectionSettings::operator==(const ConnectionSettings& other) const {
    if (type != other.type || isEnabled != other.isEnabled || isOrdering != other.isOrdering) return false;
    const auto* mine = function.target<KrData::TransferFunction>();
    const auto* others = other.function.target<KrData::TransferFunction>();
    if (mine != nullptr && others != nullptr) return *mine == *others;
    return mine == others && (function == nullptr) == (other.function == nullptr);
}

}  // namespace KrSim
