#include "kr/data/internal/observer_list.h"

#include "kr/data/field_base.h"
#include "kr/data/full_path.h"
#include "kr/platform/guard.h"

namespace KrData::detail {

namespace {
constexpr Kr::GuardTexts kObserverTexts{Kr::eLogLevel::kWarn, "FieldBase: fatal error in '%s' observer() [%s]\n",
                                        "FieldBase: unhandled exception in '%s' observer()\n", "field observer"};
}  // namespace

void notifyObservers(const ObserverList::Reader& observers, const FieldBase& changed, const NotificationFrame& frame) {
    for (std::uint32_t i = 0; i < observers.size() && !frame.changedDied(); ++i) {
        const auto* function = observers[i];
        if (function == nullptr) continue;
        Kr::callGuarded(
            kObserverTexts, [&] { return frame.changedDied() ? std::string("(dead field)") : getFullPath(changed); },
            [&] { (*function)(changed); });
    }
}

}  // namespace KrData::detail
