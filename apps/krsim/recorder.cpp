#include "apps/krsim/recorder.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <iterator>
#include <set>
#include <utility>

#include "apps/krsim/recorded_values.h"
#include "kr/application/application.h"
#include "kr/core/csv_table.h"
#include "kr/data/container.h"
#include "kr/data/field_base.h"
#include "kr/data/field_visitor.h"
#include "kr/experiments/field_search.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/text.h"

namespace krsim {
namespace {

constexpr auto kKind = eOutputKind::kTable;

using KrExperiments::FoundField;

/// All outputs, without patterns; else the fields that one of them means. In the order of the application.
std::vector<FoundField> findRecorded(const KrSim::KrApplication& application, const std::vector<std::string>& patterns,
                                     std::string& problem) {
    const auto all = KrExperiments::findFields(application, "*").fields;
    std::set<const KrData::FieldBase*> meant;
    for (const auto& each : patterns) {
        const auto found = KrExperiments::findFields(application, each);
        if (!found.problem.empty() && problem.empty()) problem = found.problem;
        for (const auto& field : found.fields)
            meant.insert(field.field);
    }
    std::vector<FoundField> recorded;
    std::copy_if(all.begin(), all.end(), std::back_inserter(recorded), [&](const FoundField& each) {
        return patterns.empty() ? each.field->getFieldType() == KrData::Types::kOutput : meant.contains(each.field);
    });
    if (recorded.empty() && problem.empty()) problem = "no field is an output";
    return recorded;
}

std::string describeUnit(Kr::KrPhysicalDimension::eDimensionHint hint) {
    const auto* unit = Kr::KrPhysicalDimension::getUnit(hint);
    return unit == nullptr || *unit->symbol == '\0' ? "" : std::string(" [").append(unit->symbol).append("]");
}

}  // namespace

Recorder::Recorder(RecordPlan plan) : _plan(std::move(plan)) {
    if (_plan.isOnChange)
        throw Failure(eExitCode::kUsage, "--record-on-change is for recordings (.mcap); a table has all its lines");
    requireWritable(kKind, _plan.file, _plan.isForced);
}

Recorder::~Recorder() = default;

void Recorder::start(const KrSim::KrApplication& application, KrExperiments::ShownUnits units) {
    _units = units;
    std::string problem;
    for (const auto& each : findRecorded(application, _plan.patterns, problem))
        appendValue(_startCells[each.path], *each.field, _chooseUnit(*each.field));
}

void Recorder::onFrameEnded(KrSim::KrApplication* application) {
    if (_error != 0 || !_unmet.empty() || _refusal) return;
    const auto& context = application->getContext();
    const std::int64_t frame = context.getFrame();
    if (std::exchange(_lastFrame, frame) == frame) return;  // a paused one
    // By its number, so that a run that begins with a restored state continues in time.
    const double step = context.getSimulationTimeStep();
    const double seconds = static_cast<double>(frame + 1) * step;
    if (!_isBegun) {
        const double startSeconds = static_cast<double>(frame) * step;
        _begin(*application, startSeconds);
        _nextSeconds = _findNext(startSeconds, step);
    }
    // Now, and not when a long run has ended.
    if (!_unmet.empty() || _refusal) return application->sendExitApplicationRequest();
    // Half a step early is nearer than half a step late.
    if (seconds < _nextSeconds - 0.5 * step) return;
    _writeLine(seconds);
    _nextSeconds = _findNext(seconds, step);
}

void Recorder::requireFields() const {
    if (_refusal) throw *_refusal;
    if (_unmet.empty()) return;
    throw Failure(eExitCode::kUsage, _unmet + "; 'krsim run --outputs' shows paths of fields");
}

void Recorder::finish() {
    requireFields();
    if (_lines && _error == 0) _error = _lines->flush();
    _lines.reset();
    const auto file = std::move(_file);
    if (!file) return;  // no frame has ended
    if (_error == 0 && std::fflush(file.get()) != 0) _error = errno;
    if (_error != 0) failToWrite(kKind, _plan.file, _error);
}

void Recorder::_begin(const KrSim::KrApplication& application, double startSeconds) {
    _isBegun = true;
    std::string header = _plan.hasUnits ? "Time [s]" : "Time";
    std::string values;
    for (const auto& [field, path] : findRecorded(application, _plan.patterns, _unmet)) {
        const auto endings = getColumnEndings(*field);
        const auto unit = _chooseUnit(*field);
        _fields.push_back({KrData::FieldReference(field), endings.size(), unit});
        for (const auto& each : endings) {
            header += ',';
            Kr::CsvTable::appendCell(header, path + each + describeUnit(unit));
        }
        const auto found = _startCells.find(path);
        values += found != _startCells.end() ? found->second : std::string(endings.size(), ',');
    }
    _startCells.clear();
    if (!_unmet.empty()) return;
    try {
        _file = openOutput(kKind, _plan.file, _plan.isForced);
    } catch (const Failure& failure) {
        _refusal = failure;
        return;
    }
    _line = std::move(header);
    _print();
    _line.clear();
    Kr::appendNumber(_line, startSeconds);
    _line += values;
    _print();
}

void Recorder::_writeLine(double simulatedSeconds) {
    _line.clear();
    Kr::appendNumber(_line, simulatedSeconds);
    for (const auto& [reference, count, unit] : _fields) {
        const auto* field = reference.get();
        if (field != nullptr) {
            appendValue(_line, *field, unit);
        } else {
            _line.append(count, ',');
        }
    }
    _print();
}

void Recorder::_print() {
    _line += "\r\n";
    if (!_lines) _lines.emplace(_file.get());
    if (const int error = _lines->append(_line); error != 0) _error = error;
}

Kr::KrPhysicalDimension::eDimensionHint Recorder::_chooseUnit(const KrData::FieldBase& field) const {
    if (!_plan.hasUnits) return Kr::KrPhysicalDimension::eDimensionHint::kNone;
    return KrExperiments::getShownUnit(field, _units);
}

double Recorder::_findNext(double seconds, double stepSeconds) const {
    const double period = _plan.periodSeconds;
    if (period <= 0.0) return 0.0;
    return (std::floor((seconds + 0.5 * stepSeconds) / period) + 1.0) * period;
}

}  // namespace krsim
