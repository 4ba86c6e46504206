#include "kr/extension/connection_settings.h"

#include <atomic>

#include "kr/core/connection_base.h"
#include "kr/data/transfer_function.h"

namespace KrSim {

namespace {
constinit std::atomic<ConnectionSettings::GetFunction> installedGetFunction{nullptr};
}  // namespace

ConnectionSettings ConnectionSettings::of(const Kr::KrConnectionBase& connection) {
    const auto get = installedGetFunction.load(std::memory_order_acquire);
    return {.type = connection.getExactClassType(),
            .isEnabled = connection.isEnabled(),
            .isOrdering = connection._isRegisteredInSorter(),
            .function = get != nullptr ? get(connection) : TransferFunction()};
}

void ConnectionSettings::_setGetFunction(GetFunction get) noexcept {
    installedGetFunction.store(get, std::memory_order_release);
}

bool ConnectionSettings::operator==(const ConnectionSettings& other) const {
    if (type != other.type || isEnabled != other.isEnabled || isOrdering != other.isOrdering) return false;
    const auto* mine = function.target<KrData::TransferFunction>();
    const auto* others = other.function.target<KrData::TransferFunction>();
    if (mine != nullptr && others != nullptr) return *mine == *others;
    return mine == others && (function == nullptr) == (other.function == nullptr);
}

}  // namespace KrSim
