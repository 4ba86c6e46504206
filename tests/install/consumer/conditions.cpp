// The library of conditions from an installed copy: its header and its library must be all that is needed.
#include <kr/conditions/condition.h>
#include <kr/foundation.h>

#include <cstdio>

int main() {
    const auto application = KrSim::KrApplication::create();
    KrConditions::Condition holds(*application, "frame == 1 and 36 km/h == 10");
    const KrConditions::Condition refused(*application, "frame =");
    std::printf("%s\n", refused.describeProblem().c_str());
    const bool isRead = holds.evaluate() == KrConditions::eConditionState::kHolds;
    return isRead && refused.getProblem().column == 7 ? 0 : 1;
}
