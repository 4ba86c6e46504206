#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kr/core/physical_dimension.h"

using Kr::KrPhysicalDimension;

// The first byte chooses the dimension, the second the display unit, the rest is what a user typed: refused, or a
// finite number that its own SI text gives back exactly.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const auto dimension = static_cast<KrPhysicalDimension::ePhysicalDimension>(data[0]);
    const auto units = KrPhysicalDimension::getUnits(dimension);
    const auto hint = data[1] < units.size() ? units[data[1]].hint : KrPhysicalDimension::eDimensionHint{data[1]};
    const std::string_view text(reinterpret_cast<const char*>(data + 2), size - 2);

    const auto value = KrPhysicalDimension::parse(text, dimension, hint);
    if (!value) return 0;
    if (!std::isfinite(*value)) std::abort();
    const auto again = KrPhysicalDimension::parse(KrPhysicalDimension::format(*value, dimension), dimension);
    if (!again || *again != *value) std::abort();
    (void)KrPhysicalDimension::parse(KrPhysicalDimension::format(*value, dimension, hint), dimension, hint);
    return 0;
}
