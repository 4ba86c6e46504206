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

/// A probable mistake in a file or in content, for which nothing was refused.
/// Thread: value. Ownership: value.
struct KR_API Finding {
    enum class eKind : std::uint8_t {
        kUnknownName,    ///< of a setting, a field or a value in a file; it is not read
        kUnknownChoice,  ///< a text that an enumeration does not contain
        kOutOfRange,     ///< a value outside the range of its field
        kMissingType,    ///< content or a module whose type no plug-in provides
        kOpenEnd,        ///< a connection, reference or definition whose other end does not exist
        kSameContent,    ///< a content ID for the second time
        kDimensions,     ///< connected fields of different dimensions; also a warning when they are connected
        kCycle,          ///< connections that form a cycle; also a warning when the order is computed
        kUnmanaged,      ///< content that no module manages
        kNoModule,       ///< an application without a module
        kEditingMode,    ///< an application in editing mode
        kStepRate,       ///< a rate of steps of a module that does not fit the frame rate
    };

    eKind kind{};
    std::string text{};   ///< for people: what is wrong with which object, and what to do
    std::string file{};   ///< the path, when the text does not contain it; else empty
    std::size_t line{0};  ///< in an XML or JSON file, from 1 on; 0: unknown

    /// For people: "car.xml, line 12: parameter 'Maas' does not exist ...".
    [[nodiscard]] std::string toString() const;
};

/// For a message about a value: "-300, outside its range from 1 to 100000"; a bound that no number of the type exceeds
/// is not named. `Number` is a number type of fields, or `unsigned long long`.
template <class Number>
[[nodiscard]] KR_API std::string describeOutside(Number value, Number minimum, Number maximum);

/// The texts of an enumeration, in its order.
[[nodiscard]] KR_API std::vector<std::string> listChoices(const KrSim::KrEnumTable::EnumType& enumeration);

/// For the end of a message about an unknown text: the nearest of the choices, and all of them.
[[nodiscard]] KR_API std::string explainChoice(std::string_view text, std::span<const std::string> choices);

}  // namespace KrPersistence
