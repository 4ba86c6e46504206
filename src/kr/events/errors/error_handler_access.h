#pragma once

#include "kr/events/errors/error_handler.h"
#include "kr/events/fwd.h"
#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace KrSim::detail {

/// What the framework itself does with the error handler. Thread: any. Ownership: managers and clocks are borrowed.
struct KR_API ErrorHandlerAccess {
    /// KrErrorHandler::setEventManager for an application that begins; installs the handler in place of the default
    /// one. When the publishing application ends, the one that was created last before it publishes again.
    static void addApplication(EventManager& manager);
    /// Undoes addApplication.
    static void removeApplication(const EventManager& manager);

    /// Whether messages below error level are sent to other applications; error and fatal ones always are.
    static void enableNetworkDispatch(bool enable) noexcept;
    [[nodiscard]] static bool isNetworkDispatchEnabled() noexcept;
    /// Replaces the clock of the three seconds and the end of the process after a fatal message; null restores.
    static void setFatalEnd(Kr::IClock* clock, void (*endProcess)(int status)) noexcept;
};

}  // namespace KrSim::detail
