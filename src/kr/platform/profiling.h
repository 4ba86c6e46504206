#pragma once

#include <atomic>
#include <string_view>

#include "kr/platform/export.h"

namespace Kr {

/// Receives the measurements of the framework and of plug-ins: sections, which nest on each thread, and metrics.
/// Measurements of the main loop: docs/frame.md.
///
/// Thread: any; called on the thread that runs the section or publishes the metric, on several at the same time.
/// Exceptions are logged as warnings and not passed on. A section whose onSectionOpened threw is not closed.
/// Ownership: borrowed by setProfiler.
class KR_API IProfiler {
public:
    IProfiler() = default;
    IProfiler(const IProfiler&) = delete;
    IProfiler& operator=(const IProfiler&) = delete;
    virtual ~IProfiler();

    /// A section begins. The texts are good during the call.
    /// \param category  what a user can switch on or off, such as "Modules".
    virtual void onSectionOpened(std::string_view category, std::string_view name) = 0;
    /// The section that this thread opened last has ended.
    virtual void onSectionClosed() = 0;
    /// The current value of a metric, in the unit that its name or its documentation gives.
    virtual void onMetric(std::string_view name, double value) = 0;
};

/// The one profiler of the process. Initially, and with null, nothing is measured.
/// \return  the previous profiler, or null. Borrowed: open sections are still closed with the profiler that they were
/// opened with, so destroy it only when no application runs and no section is open. Any thread.
KR_API IProfiler* setProfiler(IProfiler* profiler) noexcept;

namespace detail {
extern KR_API std::atomic<IProfiler*> currentProfiler;

/// Returns the profiler, or null when it threw.
KR_API IProfiler* openSection(IProfiler* profiler, std::string_view category, std::string_view name) noexcept;
KR_API void closeSection(IProfiler* profiler) noexcept;
KR_API void publishMetric(IProfiler* profiler, std::string_view name, double value) noexcept;
}  // namespace detail

/// Null when nothing is measured. Any thread.
[[nodiscard]] inline IProfiler* getProfiler() noexcept {
    return detail::currentProfiler.load(std::memory_order_acquire);
}

/// Measures from its construction to its destruction. Without a profiler: one load and one test. For the constructing
/// thread; sections of a thread end in the opposite order of their beginnings.
///
///     const Kr::ProfilingSection section("Vehicles", [&]() -> const std::string& { return getName(); });
class ProfilingSection {
public:
    /// \param nameOf  returns the name as text; called only when a profiler is installed. It must not throw.
    template <class NameOf>
    ProfilingSection(std::string_view category, const NameOf& nameOf) requires requires {
        std::string_view(nameOf());
    }
    {
        if (auto* const profiler = getProfiler()) [[unlikely]]
            _profiler = detail::openSection(profiler, category, nameOf());
    }
    ProfilingSection(std::string_view category, std::string_view name)
        : ProfilingSection(category, [name] { return name; }) {}
    ProfilingSection(const ProfilingSection&) = delete;
    ProfilingSection& operator=(const ProfilingSection&) = delete;
    ~ProfilingSection() { close(); }

    /// Ends the section now.
    void close() noexcept {
        if (_profiler == nullptr) [[likely]]
            return;
        detail::closeSection(_profiler);
        _profiler = nullptr;
    }

private:
    IProfiler* _profiler{nullptr};
};

/// Reports the current value of a metric. Without a profiler: one load and one test.
inline void publishMetric(std::string_view name, double value) noexcept {
    if (auto* const profiler = getProfiler()) [[unlikely]]
        detail::publishMetric(profiler, name, value);
}

}  // namespace Kr
