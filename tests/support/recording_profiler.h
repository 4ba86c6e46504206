#pragma once

#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kr/platform/profiling.h"

namespace test_support {

/// The profiler of the process while it lives. Writes down sections, indented by their depth, and metrics; for one
/// thread.
class RecordingProfiler final : public Kr::IProfiler {
public:
    RecordingProfiler() : _previous(Kr::setProfiler(this)) {}
    ~RecordingProfiler() override { Kr::setProfiler(_previous); }

    void onSectionOpened(std::string_view category, std::string_view name) override {
        if (name == throwsIn) throw std::runtime_error("no");
        _write(std::string(category) + "." + std::string(name));
        ++depth;
    }
    void onSectionClosed() override {
        --depth;
        if (throwsIn == "closing") throw 7;
    }
    void onMetric(std::string_view name, double value) override {
        if (name == throwsIn) throw std::runtime_error("no");
        std::ostringstream text;
        text << name << " = " << value;
        _write(text.str());
    }

    std::vector<std::string> lines;
    int depth{0};          // open sections
    std::string throwsIn;  // a section, a metric or "closing"

private:
    void _write(const std::string& text) {
        lines.push_back(std::string(static_cast<std::size_t>(2 * depth), ' ') + text);
    }

    Kr::IProfiler* _previous;
};

}  // namespace test_support
