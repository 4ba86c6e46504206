#include "apps/krsim/recorder.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <utility>

#include "apps/krsim/failure.h"
#include "apps/krsim/path_pattern.h"
#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/field_visitor.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"

namespace krsim {
namespace {

constexpr const char* kWhat = "record";

/// As a cell of RFC 4180.
void appendCell(std::string& line, std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        line += text;
        return;
    }
    line += '"';
    for (const char each : text) {
        if (each == '"') line += '"';
        line += each;
    }
    line += '"';
}

void appendNumber(std::string& line, double value) {
    char text[32];
    line.append(text, std::to_chars(text, text + sizeof text, value).ptr);
}

class Finder final : public KrData::FieldVisitor {
public:
    Finder(const std::vector<std::string>& patterns, std::vector<KrData::FieldReference>& fields, std::string& header)
        : _patterns(patterns), _isMet(patterns.size()), _fields(fields), _header(header) {}

    void find(KrSim::KrExtension& extension) {
        _prefix = extension.getPath() + ".";
        if (_patterns.empty()) {
            extension.getOutputContainer().accept(*this);
        } else {
            extension.getFieldsContainer().accept(*this);
        }
    }

    void visitField(KrData::FieldBase& field) override {
        const std::string path = _prefix + field.getPath();
        bool isMeant = _patterns.empty();
        for (std::size_t i = 0; i < _patterns.size(); ++i) {
            if (!matches(_patterns[i], path)) continue;
            isMeant = true;
            _isMet[i] = true;
        }
        if (!isMeant) return;
        _fields.emplace_back(&field);
        _header += ',';
        appendCell(_header, path);
    }

    /// A pattern that no field is of, empty when there is none.
    [[nodiscard]] std::string getUnmet() const {
        if (_fields.empty() && _patterns.empty()) return "*.Outputs.*";
        const auto unmet = std::find(_isMet.begin(), _isMet.end(), false);
        return unmet != _isMet.end() ? _patterns[static_cast<std::size_t>(unmet - _isMet.begin())] : std::string();
    }

private:
    const std::vector<std::string>& _patterns;
    std::vector<bool> _isMet;  // by place in the patterns
    std::vector<KrData::FieldReference>& _fields;
    std::string& _header;
    std::string _prefix;
};

}  // namespace

Recorder::Recorder(RecordPlan plan) : _plan(std::move(plan)), _file(openOutput(kWhat, _plan.file)) {}

Recorder::~Recorder() = default;

void Recorder::onFrameEnded(KrSim::KrApplication* application) {
    if (_error != 0 || !_unmet.empty()) return;
    const auto& context = application->getContext();
    const std::int64_t frame = context.getFrame();
    if (std::exchange(_lastFrame, frame) == frame) return;  // a paused one
    // By its number, so that a run that begins with a restored state goes on in time.
    const double step = context.getSimulationTimeStep();
    const double seconds = static_cast<double>(frame + 1) * step;
    if (!_isBegun) _begin(*application);
    // Now, and not when a long run has ended.
    if (!_unmet.empty()) return application->sendExitApplicationRequest();
    // Half a step early is nearer than half a step late.
    if (seconds < _nextSeconds - 0.5 * step) return;
    _writeLine(seconds);
    if (_plan.periodSeconds > 0.0) {
        _nextSeconds = (std::floor((seconds + 0.5 * step) / _plan.periodSeconds) + 1.0) * _plan.periodSeconds;
    }
}

void Recorder::requireFields() const {
    if (_unmet.empty()) return;
    throw Failure(eExitCode::kUsage,
                  "no field is of the pattern '" + _unmet + "'; 'krsim run --outputs' shows paths of fields");
}

void Recorder::finish() {
    requireFields();
    const auto file = std::move(_file);
    if (_error == 0 && std::fflush(file.get()) != 0) _error = errno;
    if (_error != 0) failToWrite(kWhat, _plan.file, _error);
}

void Recorder::_begin(const KrSim::KrApplication& application) {
    _isBegun = true;
    _line = "Time";
    Finder finder(_plan.patterns, _fields, _line);
    for (const auto& extension : application.getContentDispatcher().getExtensions())
        finder.find(*extension);
    _unmet = finder.getUnmet();
    _print();
}

void Recorder::_writeLine(double simulatedSeconds) {
    _line.clear();
    appendNumber(_line, simulatedSeconds);
    for (const auto& each : _fields) {
        _line += ',';
        const auto* field = each.get();
        if (field == nullptr) continue;
        if (const auto* number = field->as<double>()) {
            appendNumber(_line, number->getValue());
        } else {
            appendCell(_line, field->toString());
        }
    }
    _print();
}

void Recorder::_print() {
    _line += "\r\n";
    if (std::fwrite(_line.data(), 1, _line.size(), _file.get()) != _line.size()) _error = errno;
}

}  // namespace krsim
