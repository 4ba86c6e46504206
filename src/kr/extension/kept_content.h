#pragma once

#include "kr/platform/export.h"

namespace KrSim {

/// What was loaded with an extension and has no place in it yet, as a connection to content that is not there: stays
/// with the extension until it finds its place, and is saved with it again. Belongs to whoever loads.
class KR_API IKeptContent {
public:
    virtual ~IKeptContent();
};

}  // namespace KrSim
