#pragma once

#include "kr/platform/export.h"
#include "kr/platform/fwd.h"

// Declarations for signatures that pass these classes by pointer or reference. The classes of upper layers that a
// lower signature must name are declared here and nowhere else.
//
// KR_API stands already here where a template of the library is exported for pointers to the class: the compiler
// hides an instantiation whose argument it takes for a hidden type.

namespace Kr {
class KrID;
class KrBase;
class KrBaseReference;
class KrColor;
class KrConnectionBase;
class KrEnum;
class KrNamePathBaseInterface;
class KrNamePathBaseInterfaceRegistry;
class KrPhysicalDimension;
struct KrTransform;
class StepBoundary;
}  // namespace Kr

namespace KrData {
class Container;
class FieldBase;
}  // namespace KrData

namespace KrSim {
class KrApplication;
class KrEnumTable;
class IExtension;
class RandomColorGenerator;
}  // namespace KrSim

namespace KrGraphics {
class KR_API Material;
}  // namespace KrGraphics
