#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace Kr {

/// A table with typed columns, saved as comma-separated values (RFC 4180): a line with the names, then one for each
/// row.
///
///     const auto table = Kr::CsvTable::parse(text, "drive.csv");
///     if (!table) return report(table.toString());        // "drive.csv, line 12, column 3: ..."
///     const auto speed = table->findColumn("Speed");
///     double first = table->getReal(0, *speed);
///
/// A name may have a unit behind it, "Speed [km/h]": the numbers are in it. Cells may be empty. Numbers are written so
/// that they read back exactly, with a decimal point in all locales. Lines end with LF or CR LF; a byte order mark is
/// skipped. Thread: one at a time. Ownership: value. Access outside of the table throws std::out_of_range.
class KR_API CsvTable {
public:
    enum class eType : std::uint8_t { kReal, kInteger, kBoolean, kText };

    /// Limits for files of others; larger tables are refused.
    static constexpr std::size_t kMostColumns = 10'000;
    static constexpr std::size_t kMostBytes = std::size_t{1} << 32U;
    static constexpr std::size_t kLongestCell = std::size_t{1} << 20U;

    struct Column {
        std::string name{};
        std::string unit{};  ///< "km/h"; empty for numbers in SI units, and for other values
        eType type{eType::kText};
    };

    // --- Reading and writing -----------------------------------------------------------------------------------------
    /// Takes the types from the cells: a column of numbers without a point or exponent has integers, one of `true` and
    /// `false` Booleans. Columns with a unit must have numbers.
    /// \param source  name of the file, for messages.
    [[nodiscard]] static FileResultOf<CsvTable> parse(std::string_view text, const std::string& source = {});
    /// The same with the content of a file.
    [[nodiscard]] static FileResultOf<CsvTable> load(const std::string& filename);
    /// With lines that end with CR LF, as the standard says.
    void write(std::ostream& stream) const;

    // --- Columns and rows --------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t getColumnCount() const noexcept { return _columns.size(); }
    [[nodiscard]] std::size_t getRowCount() const noexcept { return _rowCount; }
    [[nodiscard]] const Column& getColumn(std::size_t column) const { return _columns.at(column).column; }
    [[nodiscard]] std::optional<std::size_t> findColumn(std::string_view name) const;
    /// The line of the file on which the row begins; 0 for a row that was added.
    [[nodiscard]] std::size_t getLine(std::size_t row) const { return _lines.at(row); }
    /// Rows that are there have empty cells in it. \return its number.
    std::size_t addColumn(Column column);
    /// With empty cells. \return its number.
    std::size_t addRow();

    // --- Cells
    // ---------------------------------------------------------------------------------------------------------
    [[nodiscard]] bool isEmpty(std::size_t row, std::size_t column) const { return _cell(row, column).empty(); }
    /// NaN for an empty cell and for a text.
    [[nodiscard]] double getReal(std::size_t row, std::size_t column) const;
    [[nodiscard]] std::optional<std::int64_t> getInteger(std::size_t row, std::size_t column) const;
    [[nodiscard]] std::optional<bool> getBoolean(std::size_t row, std::size_t column) const;
    [[nodiscard]] const std::string& getText(std::size_t row, std::size_t column) const { return _cell(row, column); }
    void setReal(std::size_t row, std::size_t column, double value);
    void setInteger(std::size_t row, std::size_t column, std::int64_t value);
    void setBoolean(std::size_t row, std::size_t column, bool value);
    void setText(std::size_t row, std::size_t column, std::string value);

    /// Appends a cell of such a table: in quotes where it has a comma, a quote or a line break, or begins with
    /// a byte order mark.
    static void appendCell(std::string& line, std::string_view cell);

private:
    class Reader;

    struct Cells {
        Column column;
        std::vector<std::string> texts;
        std::vector<double> reals;  // of columns of numbers, beside the texts
    };

    [[nodiscard]] const std::string& _cell(std::size_t row, std::size_t column) const {
        return _columns.at(column).texts.at(row);
    }

    std::vector<Cells> _columns;
    std::vector<std::size_t> _lines;
    std::size_t _rowCount{0};
};

}  // namespace Kr
