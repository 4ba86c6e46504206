#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kr/core/enum_table.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Something in a file or in content that is probably not as its author meant it, although nothing was refused for it.
struct KR_API Finding {
    enum class eKind : std::uint8_t {
        kUnknownName,    ///< of a setting, a field or a value in a file; nothing reads it
        kUnknownChoice,  ///< a text that an enumeration does not have
        kOutOfRange,     ///< a value outside the range of its field
        kMissingType,    ///< content or a module that no plug-in makes
        kOpenEnd,        ///< a connection, reference or definition whose other end is not there
        kSameContent,    ///< a content ID for the second time
        kDimensions,     ///< connected fields that measure different things; also a warning when they are connected
        kCycle,          ///< connections that form a cycle; also a warning when the order is made
        kUnmanaged,      ///< content that no module manages
        kNoModule,       ///< an application without a module
        kEditingMode,    ///< an application in editing mode
    };

    eKind kind{};
    std::string text{};   ///< for people: what is wrong with which object, and what to do
    std::string file{};   ///< the path, where the text does not name it; else empty
    std::size_t line{0};  ///< in an XML or JSON file, from 1 on; 0: unknown

    /// For people: "car.xml, line 12: parameter 'Maas' does not exist ...".
    [[nodiscard]] std::string toString() const;
};

/// For a message about a value: "-300, outside its range from 1 to 100000"; a bound that every number fits is not
/// named. `Number` is a number type of fields, or `unsigned long long`.
template <class Number>
[[nodiscard]] KR_API std::string describeOutside(Number value, Number minimum, Number maximum);

/// The texts of an enumeration, in its order.
[[nodiscard]] KR_API std::vector<std::string> listChoices(const KrSim::KrEnumTable::EnumType& enumeration);

/// For the end of a message about a text that is none of the choices: the nearest of them, and all of them.
[[nodiscard]] KR_API std::string explainChoice(std::string_view text, std::span<const std::string> choices);

}  // namespace KrPersistence
