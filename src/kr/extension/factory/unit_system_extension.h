#pragma once

#include "kr/core/enum.h"
#include "kr/core/unit_system.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The unit system of a simulation, as content: programs show values in it. The first one in the content counts. Values
/// are stored in SI units whatever the system.
///
/// Thread: application. Ownership: belongs to its extension, which the factory makes (Keys::UnitSystem).
class KR_API KrUnitSystem final : public IExtension {
public:
    static constexpr int kVersion = 1;

    explicit KrUnitSystem(KrExtension* proxy);
    ~KrUnitSystem() override;

    /// SI for a value that is no unit system.
    [[nodiscard]] Kr::eUnitSystem getSystem() const;

    Parameter<Kr::KrEnum> system{
        this,
        "System",
        {.value = Kr::KrEnum(Kr::eUnitSystem::kSI), .description = "The units in which programs show values."}};
};

}  // namespace KrSim
