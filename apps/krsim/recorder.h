#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/krsim/output_file.h"
#include "kr/application/i_application_listener.h"
#include "kr/data/field_reference.h"

namespace krsim {

/// What to record, and how often.
struct RecordPlan {
    std::string file{};  ///< as openOutput takes it
    /// Of field paths, "Car/Vehicle.Outputs.Speed", with * for any text and ? for any character; empty for the outputs
    /// of all content.
    std::vector<std::string> patterns{};
    double periodSeconds{0.0};  ///< of simulated time between two lines; 0 for every frame
};

/// Writes values of fields into a table of comma-separated values (RFC 4180): a line with the simulated time, "Time",
/// and the paths of the fields, then a line for each moment. Numbers read back exactly. The fields are those that are
/// there when the first frame ends; one that is gone leaves its column empty. A pattern that no field is of ends the
/// run there.
class Recorder final : public KrSim::IApplicationListener {
public:
    /// Throws a Failure when the file cannot be written.
    explicit Recorder(RecordPlan plan);
    ~Recorder() override;

    void onFrameEnded(KrSim::KrApplication* application) override;

    /// Throws a Failure when a pattern was of no field.
    void requireFields() const;
    /// Ends the file. Throws a Failure likewise, and when lines could not be written.
    void finish();

private:
    void _begin(const KrSim::KrApplication& application);
    void _writeLine(double simulatedSeconds);
    void _print();

    RecordPlan _plan;
    OutputFile _file;
    std::vector<KrData::FieldReference> _fields;
    std::string _line;
    std::int64_t _lastFrame{-1};
    double _nextSeconds{0.0};
    int _error{0};       // errno of the first failure
    std::string _unmet;  // a pattern of no field
    bool _isBegun{false};
};

}  // namespace krsim
