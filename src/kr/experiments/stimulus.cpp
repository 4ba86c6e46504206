#include "kr/experiments/stimulus.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include "kr/application/application.h"
#include "kr/core/physical_dimension.h"
#include "kr/core/unit_spelling.h"
#include "kr/data/field.h"
#include "kr/data/field_access.h"
#include "kr/data/field_reference.h"
#include "kr/data/value_traits.h"
#include "kr/experiments/field_search.h"
#include "kr/experiments/field_text.h"
#include "kr/platform/log.h"
#include "kr/platform/text.h"

namespace KrExperiments {
namespace {

using Dimension = Kr::KrPhysicalDimension;
using Kr::CsvTable;
using KrData::Field;
using KrData::FieldBase;

constexpr const char* kTime = "Time";
/// Of a time; rows that are so near are reached. Less is the rounding of times.
constexpr double kRounding = 1e-9;

std::string placeOf(const CsvTable& table, std::size_t row, std::size_t column) {
    return "line " + std::to_string(table.getLine(row)) + ", column " + std::to_string(column + 1) + ": ";
}

bool isNumbers(const CsvTable& table, std::size_t column) {
    const auto type = table.getColumn(column).type;
    return type == CsvTable::eType::kReal || type == CsvTable::eType::kInteger;
}

/// A number of the table in SI units; without a unit it is in them.
double toSI(double number, const Dimension::Unit* unit) {
    return unit != nullptr ? number * unit->factor + unit->offset : number;
}

template <class T>
inline constexpr bool kIsReal = std::is_floating_point_v<T>;

bool isReal(const FieldBase& field, int component) {
    if (component >= 0) return true;
    return KrData::withValueType(field.getDataType(), []<class T>(std::type_identity<T>) { return kIsReal<T>; });
}

bool isArithmetic(const FieldBase& field) {
    return KrData::withValueType(field.getDataType(),
                                 []<class T>(std::type_identity<T>) { return std::is_arithmetic_v<T>; });
}

void setNumber(FieldBase& field, int component, double value) {
    KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        auto& typed = static_cast<Field<T>&>(field);
        if constexpr (std::is_same_v<T, bool>) {
            return typed.setValue(value != 0.0);
        } else if constexpr (kIsReal<T>) {
            return typed.setValue(static_cast<T>(value));
        } else if constexpr (std::is_arithmetic_v<T>) {
            const double bounded =
                std::clamp(std::nearbyint(value), static_cast<double>(std::numeric_limits<T>::lowest()),
                           static_cast<double>(std::numeric_limits<T>::max()));
            return typed.setValue(static_cast<T>(bounded));
        } else if constexpr (KrData::kHasComponents<T>) {
            auto numbers = KrData::getComponents(typed.getOwnValue());
            numbers.at(static_cast<std::size_t>(component)) =
                static_cast<typename KrData::ValueTraits<T>::Component>(value);
            return typed.setValue(std::bit_cast<T>(numbers));
        } else {
            return false;
        }
    });
}

}  // namespace

/// A column of the table and its field.
class Stimulus::Track {
public:
    /// \return the problem; empty when the table fits.
    std::string read(const KrSim::KrApplication& application, const CsvTable& table, std::size_t column,
                     bool isLinear) {
        const auto& [name, unit, type] = table.getColumn(column);
        const auto target = findOneNumber(application, name);
        if (!target.problem.empty()) return target.problem;
        auto& field = *target.field.field;
        if (field.getFieldType() == KrData::Types::kOutput)
            return Kr::quote(name) + " is an output, which its extension sets";
        if (KrData::detail::FieldAccess::hasIncomingConnections(field))
            return "a connection sets " + Kr::quote(name) + " in each frame; remove it, or override the field";
        const auto* meant = Kr::findUnitBySpelling(field.getPhysicalDimension(), unit);
        if (meant == nullptr && !unit.empty())
            return Kr::quote(unit) + " is no unit of " + Kr::quote(target.field.path);
        _path = target.field.path;
        _field = KrData::FieldReference(&field);
        _component = target.component;
        _isText = target.component < 0 && !isArithmetic(field);
        _isLinear = isLinear && isReal(field, target.component);
        const bool isBoolean = type == CsvTable::eType::kBoolean && field.getDataType() == KrData::Types::kBoolean;
        if (!_isText && !isBoolean && !isNumbers(table, column) && table.getRowCount() != 0)
            return Kr::quote(name) + " takes numbers, and the column has texts";
        for (std::size_t row = 0; row < table.getRowCount(); ++row) {
            if (auto problem = _readCell(table, row, column, meant, isBoolean); !problem.empty())
                return placeOf(table, row, column) + problem;
        }
        return {};
    }

    /// \param part  of the way from the row to the next one.
    void set(std::size_t row, std::size_t next, double part) {
        auto* field = _field.get();
        if (field == nullptr) return _tellLoss();
        if (_isText) {
            if (row == _lastRow || _texts[row].empty()) return;
            _lastRow = row;
            static_cast<void>(setField(*field, _texts[row]));
            return;
        }
        const double value = _values[row];
        if (std::isnan(value)) return;
        const double end = _values[next];
        const bool isBetween = _isLinear && part > 0.0 && !std::isnan(end);
        setNumber(*field, _component, isBetween ? value + part * (end - value) : value);
    }

private:
    std::string _readCell(const CsvTable& table, std::size_t row, std::size_t column, const Dimension::Unit* unit,
                          bool isBoolean) {
        if (_isText) {
            _texts.push_back(table.getText(row, column));
            if (_texts.back().empty()) return {};
            const std::unique_ptr<FieldBase> probe(_field.get()->clone(nullptr));
            return probe ? setField(*probe, _texts.back()) : "values of this type cannot be given as text";
        }
        double value = isBoolean && !table.isEmpty(row, column) ? (*table.getBoolean(row, column) ? 1.0 : 0.0)
                                                                : table.getReal(row, column);
        if (!table.isEmpty(row, column) && !std::isfinite(value))
            return Kr::quote(table.getText(row, column)) + " is not finite";
        _values.push_back(toSI(value, unit));
        return {};
    }

    void _tellLoss() {
        if (std::exchange(_isLossTold, true)) return;
        Kr::logMessage(Kr::eLogLevel::kWarn, "Stimulus: '%s' was removed; its column is without effect\n",
                       _path.c_str());
    }

    std::string _path;
    KrData::FieldReference _field;
    bool _isLossTold{false};
    int _component{-1};
    bool _isText{false};
    bool _isLinear{false};
    std::vector<double> _values;  // in SI units; NaN for none
    std::vector<std::string> _texts;
    std::size_t _lastRow{static_cast<std::size_t>(-1)};  // that was set
};

Stimulus::Stimulus(const StimulusOptions& options) : _options(options) {}
Stimulus::~Stimulus() = default;

std::unique_ptr<Stimulus> Stimulus::make(KrSim::KrApplication& application, const CsvTable& table,
                                         const std::string& source, const StimulusOptions& options,
                                         std::string& problem) {
    std::unique_ptr<Stimulus> made(new Stimulus(options));
    problem = made->_read(application, table);
    if (!problem.empty()) {
        problem.insert(0, source.empty() ? "" : source + ", ");
        return nullptr;
    }
    made->_set(application.getContext().getSimulatedSeconds());
    return made;
}

std::string Stimulus::_readTimes(const CsvTable& table) {
    const auto column = table.findColumn(kTime);
    if (!column) return "line 1: there is no column 'Time'";
    const auto& name = table.getColumn(*column).unit;
    const auto* unit = Kr::findUnitBySpelling(Kr::kTime, name);
    if (unit == nullptr && !name.empty()) return "line 1: " + Kr::quote(name) + " is no unit of time";
    if (table.getRowCount() == 0) return "line 1: no row follows";
    for (std::size_t row = 0; row < table.getRowCount(); ++row) {
        const double seconds = toSI(table.getReal(row, *column), unit);
        if (!std::isfinite(seconds))
            return placeOf(table, row, *column) + Kr::quote(table.getText(row, *column)) + " is no time";
        if (!_times.empty() && seconds <= _times.back())
            return placeOf(table, row, *column) + "times must ascend, and " + Kr::quote(table.getText(row, *column)) +
                   " is not after the row before";
        _times.push_back(seconds);
    }
    return {};
}

std::string Stimulus::_read(const KrSim::KrApplication& application, const CsvTable& table) {
    if (auto problem = _readTimes(table); !problem.empty()) return problem;
    for (std::size_t i = 0; i < table.getColumnCount(); ++i) {
        if (table.getColumn(i).name == kTime) continue;
        auto& track = _tracks.emplace_back(std::make_unique<Track>());
        auto problem = track->read(application, table, i, _options.mode == ePlayMode::kLinear);
        if (!problem.empty())
            return problem.starts_with("line ") ? problem : "line 1, column " + std::to_string(i + 1) + ": " + problem;
    }
    return _tracks.empty() ? "line 1: there is no column beside 'Time'" : "";
}

void Stimulus::_set(double seconds) {
    const double rounding = kRounding * std::max(1.0, std::abs(seconds));
    const double length = _times.back() - _times.front();
    if (_options.end == ePlayEnd::kRepeat && seconds > _times.back() - rounding && length > 0.0) {
        seconds = _times.front() + std::max(0.0, std::fmod(seconds - _times.front() + rounding, length) - rounding);
    }
    if (seconds < _times.front() - rounding) return;
    // Mostly the same row as before, or the next one.
    if (_times[_row] > seconds + rounding) _row = 0;
    while (_row + 1 < _times.size() && _times[_row + 1] <= seconds + rounding)
        ++_row;
    const std::size_t next = std::min(_row + 1, _times.size() - 1);
    const double part = next == _row ? 0.0 : std::max(0.0, (seconds - _times[_row]) / (_times[next] - _times[_row]));
    for (const auto& each : _tracks)
        each->set(_row, next, part);
}

void Stimulus::onFrameEnded(KrSim::KrApplication* application) {
    const auto& context = application->getContext();
    const double seconds = context.getSimulatedSeconds() + (context.isPaused() ? 0.0 : context.getStepSeconds());
    _set(seconds);
    if (_options.end != ePlayEnd::kStop || _hasEnded || seconds < _times.back() - kRounding) return;
    _hasEnded = true;
    application->sendExitApplicationRequest();
}

}  // namespace KrExperiments
