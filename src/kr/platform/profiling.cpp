#include "kr/platform/profiling.h"

#include <string>

#include "kr/platform/guard.h"

namespace Kr {

namespace {

constexpr GuardTexts kOpening{eLogLevel::kWarn, "IProfiler: fatal error when section '%s' began [%s]\n",
                              "IProfiler: unhandled exception when section '%s' began\n", "onSectionOpened"};
constexpr GuardTexts kClosing{eLogLevel::kWarn, "IProfiler: fatal error at the end of %s [%s]\n",
                              "IProfiler: unhandled exception at the end of %s\n", "onSectionClosed"};
constexpr GuardTexts kMetric{eLogLevel::kWarn, "IProfiler: fatal error in metric '%s' [%s]\n",
                             "IProfiler: unhandled exception in metric '%s'\n", "onMetric"};

}  // namespace

IProfiler::~IProfiler() = default;

IProfiler* setProfiler(IProfiler* profiler) noexcept {
    return detail::currentProfiler.exchange(profiler, std::memory_order_acq_rel);
}

namespace detail {

constinit std::atomic<IProfiler*> currentProfiler{nullptr};

IProfiler* openSection(IProfiler* profiler, std::string_view category, std::string_view name) noexcept {
    const bool isOpen = callGuarded(
        kOpening, [&] { return std::string(name); }, [&] { profiler->onSectionOpened(category, name); });
    return isOpen ? profiler : nullptr;
}

void closeSection(IProfiler* profiler) noexcept {
    callGuarded(
        kClosing, [] { return "a section"; }, [&] { profiler->onSectionClosed(); });
}

void publishMetric(IProfiler* profiler, std::string_view name, double value) noexcept {
    callGuarded(
        kMetric, [&] { return std::string(name); }, [&] { profiler->onMetric(name, value); });
}

}  // namespace detail

}  // namespace Kr
