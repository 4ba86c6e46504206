#pragma once

#include <malloc.h>

#include <fstream>
#include <string>

namespace kr_benchmark {

/// How far the memory of the process rises above where it was when this was made.
class MemoryPeak {
public:
    MemoryPeak() {
        malloc_trim(0);
        _before = _read("VmRSS");
        std::ofstream("/proc/self/clear_refs") << "5";  // the peak is counted from here
    }

    /// In bytes.
    [[nodiscard]] double rise() const { return _read("VmHWM") - _before; }
    /// What is in use now, in bytes.
    [[nodiscard]] double stays() const {
        malloc_trim(0);
        return _read("VmRSS") - _before;
    }

private:
    /// A line of the process's status, in bytes.
    static double _read(const std::string& name) {
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind(name + ":", 0) == 0) return std::stod(line.substr(name.size() + 1)) * 1024.0;
        }
        return 0.0;
    }

    double _before{0.0};
};

}  // namespace kr_benchmark
