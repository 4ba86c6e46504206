#include "kr/events/process_measurements.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

#include "kr/events/event_data.h"

namespace KrSim {

namespace {

double toSeconds(const timeval& time) noexcept {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

std::uint64_t readResidentBytes() noexcept {
    auto* file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr) return 0;
    unsigned long total = 0;
    unsigned long resident = 0;
    const int count = std::fscanf(file, "%lu %lu", &total, &resident);
    std::fclose(file);
    return count == 2 ? std::uint64_t{resident} * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) : 0;
}

}  // namespace

ProcessMeasurements ProcessMeasurements::take() noexcept {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    ProcessMeasurements now;
    now.userSeconds = toSeconds(usage.ru_utime);
    now.systemSeconds = toSeconds(usage.ru_stime);
    now.residentBytes = readResidentBytes();
    now.peakResidentBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    now.majorPageFaults = static_cast<std::uint64_t>(usage.ru_majflt);
    now.involuntaryContextSwitches = static_cast<std::uint64_t>(usage.ru_nivcsw);
    return now;
}

void ProcessMeasurements::appendToEventData(EventData& data) const {
    data << userSeconds << systemSeconds << residentBytes << peakResidentBytes << majorPageFaults
         << involuntaryContextSwitches;
}

void ProcessMeasurements::extractFromEventData(const EventData& data) {
    data >> userSeconds >> systemSeconds >> residentBytes >> peakResidentBytes >> majorPageFaults >>
        involuntaryContextSwitches;
}

}  // namespace KrSim
