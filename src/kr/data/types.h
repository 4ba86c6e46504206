#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <typeinfo>

#include "kr/core/id.h"
#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// Process-wide registry that turns a data type into a field, and names data types, field types and interfaces.
///
/// Plug-ins add interface types (a field that refers to an extension of that interface); all other types are fixed.
/// Thread: any. Acceptance predicates are called without a lock. Ownership: see the functions.
class KR_API Types {
public:
    /// The kind of value of a field. The numbers are written into saved content and never change.
    enum DataTypeEnum : std::uint8_t {
        kUnknown = 0,
        kInteger = 1,          ///< int
        kBoolean = 2,          ///< bool
        kDouble = 3,           ///< double
        kVector3 = 4,          ///< KrMath::Vector3T<double>
        kColor = 5,            ///< Kr::KrColor
        kString = 6,           ///< std::string
        kTransform = 7,        ///< Kr::KrTransform
        kUnsignedInteger = 8,  ///< unsigned int
        kShort = 11,           ///< short
        kUnsignedShort = 12,   ///< unsigned short
        kEnumeration = 24,     ///< Kr::KrEnum
        kFilename = 25,        ///< Kr::KrString<512>
        kContainer = 26,       ///< a Container or field array
        kExtension = 27,       ///< KrSim::KrExtension*, borrowed
        kQuaternion = 29,      ///< KrMath::QuaternionT<double>
        kMaterial = 30,        ///< KrGraphics::Material*, borrowed
        kVector = 31,          ///< a resizable vector of items
        kVectorItem = 32,      ///< one item of such a vector
        kVector2 = 33,         ///< KrMath::Vector2T<double>
        kMatrix44 = 34,        ///< KrMath::Matrix44T<double>
        kVector4 = 35,         ///< KrMath::Vector4T<double>
        kPart = 36,            ///< 36 to 50, except 48: reference to an extension of that interface
        kAssembly = 37,
        kAttachment = 38,
        kAttachmentPoint = 39,
        kConstraint = 41,
        kCollisionGeometry = 42,
        kMechanism = 43,
        kGraphicsNode = 44,
        kGraphicsGeometry = 45,
        kGraphicsMaterial = 46,
        kTexture = 47,
        kProxy = 48,  ///< a Proxy for other fields
        kSimulatorModule = 49,
        kSkeleton = 50,
        kFloat = 51,            ///< float
        kVector3Float = 52,     ///< KrMath::Vector3T<float>
        kQuaternionFloat = 53,  ///< KrMath::QuaternionT<float>
        kMatrix44Float = 54,    ///< KrMath::Matrix44T<float>
        kInvalid = 255,         ///< the invalid field
    };

    /// The role of a field in its extension.
    enum FieldTypeEnum : std::int32_t { kField = 0, kInput = 1, kOutput = 2, kParameter = 3, kUndefined = 4 };

    /// Returns whether a field of an interface type may refer to an implementation; never called with null.
    using AcceptancePredicate = std::function<bool(KrSim::IExtension*)>;

    Types() = delete;

    // --- Names -----------------------------------------------------------------------------------------------------
    /// Display name; "Invalid data type" for a number without one.
    [[nodiscard]] static const char* nameFor(DataTypeEnum dataType) noexcept;
    /// Display name; "Invalid field type" for a number without one.
    [[nodiscard]] static const char* nameFor(FieldTypeEnum fieldType) noexcept;
    /// Display name given at registration of the interface, else that of data type 27, "Extension Pointer".
    [[nodiscard]] static std::string nameFor(const Kr::KrID& interfaceId);

    // --- Producing fields ------------------------------------------------------------------------------------------
    /// A new dynamic field: a value field, a container (26, with the field type of its parent), a proxy without data
    /// type, or, for an interface type, an ExtensionField. Null for other types, and when the parent refuses the field.
    /// The parent owns the field; without a parent the caller.
    [[nodiscard]] static FieldBase* produce(DataTypeEnum dataType, const Kr::KrID& id, Container* parent);
    /// The same by value type: `produce(typeid(double), …)`.
    [[nodiscard]] static FieldBase* produce(const std::type_info& valueType, const Kr::KrID& id, Container* parent);
    /// A new dynamic ExtensionField (data type 27) with this interface; ownership as for produce.
    [[nodiscard]] static FieldBase* produceExtensionField(const Kr::KrID& id, const Kr::KrID& interfaceId,
                                                          Container* parent);

    // --- Data type and value type ----------------------------------------------------------------------------------
    /// The value type of a data type, `typeid(void)` without one.
    [[nodiscard]] static const std::type_info& mapType(DataTypeEnum dataType) noexcept;
    /// The data type of a value type, 0 without one.
    [[nodiscard]] static DataTypeEnum mapType(const std::type_info& valueType) noexcept;

    // --- Interface types -------------------------------------------------------------------------------------------
    /// Whether fields of this interface accept the extension's implementation: false for null, for an extension without
    /// an implementation and for an unknown interface. An exception of a predicate counts as false.
    [[nodiscard]] static bool extensionIsInterfaceFieldType(KrSim::KrExtension* extension, const Kr::KrID& interfaceId);

    /// Adds or replaces an interface type; an empty predicate accepts no extension.
    static Kr::KrID _registerInterfaceFieldType(const char* interfaceName, const char* displayName,
                                                AcceptancePredicate predicate);
    static void _unregisterInterfaceFieldType(const char* interfaceName);
    /// As produce(), without a parent; a container gets this field type. The caller owns the field.
    [[nodiscard]] static FieldBase* _make(DataTypeEnum dataType, const Kr::KrID& id, FieldTypeEnum fieldType);
};

}  // namespace KrData
