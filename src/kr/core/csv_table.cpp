#include "kr/core/csv_table.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <ostream>
#include <utility>

#include "kr/core/physical_dimension.h"
#include "kr/core/unit_spelling.h"
#include "kr/platform/text.h"

namespace Kr {

namespace {

using eFailure = FileResult::eFailure;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

bool isUnit(const std::string& text) {
    for (int i = 0; i < KrPhysicalDimension::kDimensionCount; ++i) {
        const auto dimension = static_cast<KrPhysicalDimension::ePhysicalDimension>(i);
        if (findUnitBySpelling(dimension, text) != nullptr) return true;
    }
    return false;
}

/// "Speed [km/h]"; brackets around something else belong to the name.
CsvTable::Column readName(const std::string& cell) {
    const auto bracket = cell.rfind(" [");
    if (bracket == std::string::npos || !cell.ends_with("]")) return {.name = cell};
    auto unit = cell.substr(bracket + 2, cell.size() - bracket - 3);
    if (unit.empty() || !isUnit(unit)) return {.name = cell};
    return {.name = cell.substr(0, bracket), .unit = std::move(unit)};
}

bool isBoolean(const std::string& text) {
    return text == "true" || text == "false";
}

CsvTable::eType findType(const CsvTable::Column& column, const std::vector<std::string>& texts) {
    const auto all = [&](const auto& is) {
        return std::all_of(texts.begin(), texts.end(),
                           [&](const std::string& each) { return each.empty() || is(each); });
    };
    if (!column.unit.empty()) return CsvTable::eType::kReal;
    if (all([](const std::string& each) { return parseNumber<std::int64_t>(each).has_value(); }))
        return CsvTable::eType::kInteger;
    if (all([](const std::string& each) { return parseNumber<double>(each).has_value(); }))
        return CsvTable::eType::kReal;
    return all(isBoolean) ? CsvTable::eType::kBoolean : CsvTable::eType::kText;
}

}  // namespace

/// Cuts a text into cells, with the place of each fault.
class CsvTable::Reader {
public:
    Reader(std::string_view text, std::string source) : _text(text), _source(std::move(source)) {
        if (_text.starts_with(kByteOrderMark)) _text.remove_prefix(kByteOrderMark.size());
    }

    FileResultOf<CsvTable> read() {
        if (_text.size() > kMostBytes) return _fail("it is larger than 4 GiB");
        std::vector<std::string> cells;
        if (!_readRow(cells)) return *_failure;
        if (cells.size() == 1 && cells.front().find(';') != std::string::npos) {
            return _fail("its cells are not separated by commas", "save it with commas between the cells");
        }
        CsvTable table;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            _column = i + 1;
            auto column = readName(cells[i]);
            if (column.name.empty()) return _fail("the column has no name");
            if (table.findColumn(column.name))
                return _fail("there are two columns with the name '" + column.name + "'");
            table.addColumn(std::move(column));
        }
        while (_at < _text.size()) {
            const auto line = _line;
            if (!_readRow(cells)) return *_failure;
            if (cells.size() == 1 && cells.front().empty() && table.getColumnCount() > 1) continue;  // an empty line
            _failLine = line;
            if (cells.size() != table.getColumnCount()) {
                _column = std::min(cells.size(), table.getColumnCount()) + 1;
                return _fail("cells in the row: " + std::to_string(cells.size()) +
                                 ", in the header: " + std::to_string(table.getColumnCount()),
                             "quote cells that have commas");
            }
            table._lines.push_back(line);
            ++table._rowCount;
            for (std::size_t i = 0; i < cells.size(); ++i)
                table._columns[i].texts.push_back(std::move(cells[i]));
            _failLine = 0;
        }
        return _setTypes(std::move(table));
    }

private:
    FileResultOf<CsvTable> _setTypes(CsvTable&& table) {
        for (std::size_t i = 0; i < table._columns.size(); ++i) {
            auto& [column, texts, reals] = table._columns[i];
            column.type = findType(column, texts);
            if (column.type != eType::kReal && column.type != eType::kInteger) continue;
            reals.reserve(texts.size());
            for (std::size_t row = 0; row < texts.size(); ++row) {
                const auto number = parseNumber<double>(texts[row]);
                if (!number && !texts[row].empty()) {
                    _failLine = table._lines[row];
                    _column = i + 1;
                    return _fail("'" + texts[row] + "' is no number, and the column is in " + column.unit);
                }
                reals.push_back(number.value_or(kNothing));
            }
        }
        return std::move(table);
    }

    /// Reads up to the end of a line that is in no quotes.
    bool _readRow(std::vector<std::string>& cells) {
        cells.clear();
        do {
            _column = cells.size() + 1;
            if (cells.size() == kMostColumns) return _note("there are more than 10000 columns");
            if (!_readCell(cells.emplace_back())) return false;
        } while (_take(','));
        if (_take('\r') && _at < _text.size() && _text[_at] != '\n') return _note("a carriage return stands alone");
        if (_at < _text.size() && !_take('\n'))
            return _note("a quote ends before its cell does", "double quotes in it");
        ++_line;
        return true;
    }

    bool _readCell(std::string& cell) {
        const bool isQuoted = _take('"');
        for (; _at < _text.size(); ++_at) {
            const char each = _text[_at];
            if (each == '\0') return _note("there is a zero byte, so that it is no text");
            if (cell.size() == kLongestCell) return _note("the cell is longer than 1 MiB");
            if (isQuoted) {
                if (each == '"' && !(_at + 1 < _text.size() && _text[_at + 1] == '"')) {
                    ++_at;
                    return true;
                }
                if (each == '"') ++_at;
                if (each == '\n') ++_line;
            } else {
                if (each == ',' || each == '\n' || each == '\r') return true;
                if (each == '"')
                    return _note("a quote stands in a cell without quotes", "quote the cell, and double quotes in it");
            }
            cell += each;
        }
        return !isQuoted || _note("the quotes of a cell are not closed");
    }

    bool _take(char wanted) {
        if (_at >= _text.size() || _text[_at] != wanted) return false;
        ++_at;
        return true;
    }

    bool _note(const std::string& reason, const std::string& remedy = {}) {
        _failure = _fail(reason, remedy);
        return false;
    }
    [[nodiscard]] FileResult _fail(const std::string& reason, const std::string& remedy = {}) const {
        const auto line = _failLine != 0 ? _failLine : _line;
        auto result = FileResult::failed(eFailure::kRefused, _source,
                                         (_source.empty() ? "" : _source + ", ") + "line " + std::to_string(line) +
                                             ", column " + std::to_string(_column) + ": ",
                                         reason + (remedy.empty() ? "" : "; " + remedy), remedy);
        result.place.line = line;
        return result;
    }

    std::string_view _text;
    const std::string _source;
    std::size_t _at{0};
    std::size_t _line{1};
    std::size_t _column{1};
    std::size_t _failLine{0};  // that of the row, where it has several
    std::optional<FileResult> _failure;
};

FileResultOf<CsvTable> CsvTable::parse(std::string_view text, const std::string& source) try {
    return Reader(text, source).read();
} catch (const std::bad_alloc&) {
    return FileResult::noMemory();
}

FileResultOf<CsvTable> CsvTable::load(const std::string& filename) try {
    std::ifstream stream(filename, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (stream) return parse(text, filename);
    const int error = errno;
    return FileResult::failed(error == ENOENT ? eFailure::kMissing : eFailure::kNotOpened, filename,
                              "table '" + filename + "' cannot be read: ", std::strerror(error));
} catch (const std::exception& exception) {  // also for a folder
    return FileResult::failed(eFailure::kNotOpened, filename,
                              "table '" + filename + "' cannot be read: ", exception.what());
}

void CsvTable::write(std::ostream& stream) const {
    std::string line;
    for (const auto& each : _columns) {
        if (&each != &_columns.front()) line += ',';
        appendCell(line,
                   each.column.unit.empty() ? each.column.name : each.column.name + " [" + each.column.unit + "]");
    }
    stream << line << "\r\n";
    for (std::size_t row = 0; row < _rowCount; ++row) {
        line.clear();
        for (const auto& each : _columns) {
            if (&each != &_columns.front()) line += ',';
            appendCell(line, each.texts[row]);
        }
        stream << line << "\r\n";
    }
}

void CsvTable::appendCell(std::string& line, std::string_view cell) {
    // A mark at the begin of a file would be skipped.
    if (cell.find_first_of(",\"\r\n") == std::string_view::npos && !cell.starts_with(kByteOrderMark)) {
        line += cell;
        return;
    }
    line += '"';
    for (const char each : cell) {
        if (each == '"') line += '"';
        line += each;
    }
    line += '"';
}

std::optional<std::size_t> CsvTable::findColumn(std::string_view name) const {
    const auto found =
        std::find_if(_columns.begin(), _columns.end(), [&](const Cells& each) { return each.column.name == name; });
    if (found == _columns.end()) return std::nullopt;
    return static_cast<std::size_t>(found - _columns.begin());
}

std::size_t CsvTable::addColumn(Column column) {
    _columns.push_back(
        {std::move(column), std::vector<std::string>(_rowCount), std::vector<double>(_rowCount, kNothing)});
    return _columns.size() - 1;
}

std::size_t CsvTable::addRow() {
    for (auto& each : _columns) {
        each.texts.emplace_back();
        each.reals.push_back(kNothing);
    }
    _lines.push_back(0);
    return _rowCount++;
}

double CsvTable::getReal(std::size_t row, std::size_t column) const {
    static_cast<void>(_cell(row, column));
    const auto& reals = _columns[column].reals;
    return row < reals.size() ? reals[row] : kNothing;
}

std::optional<std::int64_t> CsvTable::getInteger(std::size_t row, std::size_t column) const {
    return parseNumber<std::int64_t>(_cell(row, column));
}

std::optional<bool> CsvTable::getBoolean(std::size_t row, std::size_t column) const {
    const auto& text = _cell(row, column);
    return isBoolean(text) ? std::optional(text == "true") : std::nullopt;
}

void CsvTable::setReal(std::size_t row, std::size_t column, double value) {
    setText(row, column, toText(value));
    _columns[column].reals[row] = value;
}

void CsvTable::setInteger(std::size_t row, std::size_t column, std::int64_t value) {
    setText(row, column, toText(value));
    _columns[column].reals[row] = static_cast<double>(value);
}

void CsvTable::setBoolean(std::size_t row, std::size_t column, bool value) {
    setText(row, column, value ? "true" : "false");
}

void CsvTable::setText(std::size_t row, std::size_t column, std::string value) {
    auto& cells = _columns.at(column);
    cells.texts.at(row) = std::move(value);
    cells.reals.resize(_rowCount, kNothing);
    cells.reals[row] = parseNumber<double>(cells.texts[row]).value_or(kNothing);
}

}  // namespace Kr
