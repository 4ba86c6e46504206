#pragma once

// Declarations for signatures that pass these classes by pointer or reference. The classes of upper layers that a
// lower signature must name are declared here and nowhere else.

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
}  // namespace Kr

namespace KrData {
class Container;
class FieldBase;
}  // namespace KrData

namespace KrSim {
class KrApplication;
class KrEnumTable;
class KrExtension;
class IExtension;
class RandomColorGenerator;
}  // namespace KrSim

namespace KrGraphics {
class Material;
}  // namespace KrGraphics
