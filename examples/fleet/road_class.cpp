#include <kr/foundation.h>

#include "road_profile.h"

// The texts that content stores.
KR_REGISTER_ENUM(fleet::eRoadClass, {fleet::eRoadClass::kA, "A"}, {fleet::eRoadClass::kB, "B"},
                 {fleet::eRoadClass::kC, "C"}, {fleet::eRoadClass::kD, "D"}, {fleet::eRoadClass::kE, "E"},
                 {fleet::eRoadClass::kF, "F"}, {fleet::eRoadClass::kG, "G"}, {fleet::eRoadClass::kH, "H"});
