#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "kr/data/field.h"

// Text of any kind: a double either refuses it and keeps its value, or takes what strtod reads in it, which survives
// the way back to text. Integers take the same texts, but for infinities and NaN, and stay inside their limits.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const KrData::Field<std::string> text("Text", nullptr, std::string(reinterpret_cast<const char*>(data), size));
    KrData::Field<double> real("Real", nullptr, 0.5);
    KrData::Field<int> integer("Integer", nullptr, 7);
    const bool isNumber = real.copyValue(text);
    const double value = real.getValue();
    if (!isNumber && value != 0.5) std::abort();
    const bool isFinite = isNumber && std::isfinite(value);
    if (integer.copyValue(text) != isFinite) std::abort();
    if (!isFinite) return 0;

    char* end = nullptr;
    const double expected = std::strtod(text.getValue().c_str(), &end);
    if (end != text.getValue().c_str() + size) std::abort();
    if (std::isfinite(expected) ? value != expected : std::abs(value) != std::numeric_limits<double>::max())
        std::abort();
    if (std::abs(value) < 1e9 && std::abs(integer.getValue() - value) > 0.5) std::abort();

    KrData::Field<std::string> written("Written");
    KrData::Field<double> again("Again");
    if (!written.copyValue(real) || !again.copyValue(written) || again.getValue() != value) std::abort();
    return 0;
}
