#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "kr/core/csv_table.h"
#include "kr/platform/log.h"

using Kr::CsvTable;

// A table of others is refused with its place, or reads back as it was written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    const auto table = CsvTable::parse({reinterpret_cast<const char*>(data), size}, "fuzz.csv");
    if (!table) {
        if (table.toString().find("fuzz.csv") == std::string::npos) std::abort();
        return 0;
    }
    std::ostringstream written;
    table->write(written);
    const auto again = CsvTable::parse(written.str());
    if (!again || again->getRowCount() != table->getRowCount() || again->getColumnCount() != table->getColumnCount())
        std::abort();
    for (std::size_t column = 0; column < table->getColumnCount(); ++column) {
        const auto& [name, unit, type] = table->getColumn(column);
        const auto& same = again->getColumn(column);
        if (name != same.name || unit != same.unit || type != same.type) std::abort();
        for (std::size_t row = 0; row < table->getRowCount(); ++row) {
            if (table->getText(row, column) != again->getText(row, column)) std::abort();
        }
    }
    return 0;
}
