#pragma once

#include <kr/foundation.h>

namespace fleet {

/// A quarter car of six parts, connected. A new one is ready to run; a clone or an instance takes the parts and
/// connections of its original instead.
class QuarterCar final : public KrSim::IObject {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "1a2d1bab-73cb-46c6-88b1-e68b30bbc279";

    explicit QuarterCar(KrSim::KrObject* proxy);
    ~QuarterCar() override;

private:
    template <class Part>
    [[nodiscard]] Part& _add(const char* name);
};

}  // namespace fleet
