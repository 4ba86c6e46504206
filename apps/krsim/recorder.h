#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/krsim/failure.h"
#include "apps/krsim/line_buffer.h"
#include "apps/krsim/output_file.h"
#include "kr/application/i_application_listener.h"
#include "kr/core/physical_dimension.h"
#include "kr/data/field_reference.h"
#include "kr/experiments/field_text.h"

namespace krsim {

/// What to record, and how often.
struct RecordPlan {
    std::string file{};    ///< as openOutput takes it
    bool isForced{false};  ///< whatever the file holds
    /// As KrExperiments::findFields takes them; empty for the outputs of all content and modules.
    std::vector<std::string> patterns{};
    bool hasUnits{false};       ///< values in the shown units, which the line of the paths has
    bool isOnChange{false};     ///< for recordings: values of an extension that do not change are left out
    double periodSeconds{0.0};  ///< of simulated time between two lines; 0 for every frame
};

/// Writes values of fields into a table of comma-separated values (RFC 4180): a line with the simulated time, "Time",
/// and the paths of the fields, then a line for the begin of the run and one for each moment. A vector has a column for
/// each component. Numbers
/// read back exactly; they are in SI units, or with units in those that the line of the paths names, "path [unit]". The
/// fields are those that exist when the first frame ends; the cells of a field are empty before it exists and after it
/// is removed. A pattern that matches no field ends the run there. The file is opened when the first frame has ended:
/// until then an earlier table is kept.
class Recorder final : public KrSim::IApplicationListener {
public:
    /// Throws a Failure when it is known already that the file cannot be written.
    explicit Recorder(RecordPlan plan);
    ~Recorder() override;

    /// Keeps the values at the begin of the run, for the first line. Call it before the first frame.
    /// \param units  for a plan with units.
    void start(const KrSim::KrApplication& application, KrExperiments::ShownUnits units = {});
    void onFrameEnded(KrSim::KrApplication* application) override;

    /// Throws a Failure when a pattern matched no field, or the file could not be opened.
    void requireFields() const;
    /// Ends the file. Throws a Failure likewise, and when lines could not be written.
    void finish();

private:
    struct Column {
        KrData::FieldReference field;
        std::size_t count{0};  // of cells
        Kr::KrPhysicalDimension::eDimensionHint unit{Kr::KrPhysicalDimension::eDimensionHint::kNone};
    };

    void _begin(const KrSim::KrApplication& application, double startSeconds);
    void _writeLine(double simulatedSeconds);
    void _print();
    [[nodiscard]] Kr::KrPhysicalDimension::eDimensionHint _chooseUnit(const KrData::FieldBase& field) const;
    [[nodiscard]] double _findNext(double seconds, double stepSeconds) const;

    RecordPlan _plan;
    OutputFile _file;
    std::optional<LineBuffer> _lines;  // into the file
    std::vector<Column> _fields;
    std::map<std::string, std::string> _startCells;  // by path
    KrExperiments::ShownUnits _units{};
    std::string _line;
    std::int64_t _lastFrame{-1};
    double _nextSeconds{0.0};
    int _error{0};                    // errno of the first failure
    std::string _unmet;               // why a pattern has no fields
    std::optional<Failure> _refusal;  // the file could not be opened
    bool _isBegun{false};
};

}  // namespace krsim
