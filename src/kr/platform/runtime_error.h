#pragma once

#include <stdexcept>
#include <string>

#include "kr/platform/export.h"

namespace KrSim {

/// Thrown by an error-level log call while the error handler is installed; what() is the message.
/// Thread: value. Ownership: value.
class KR_API KrRuntimeError : public std::runtime_error {
public:
    explicit KrRuntimeError(const std::string& message);
    explicit KrRuntimeError(const char* message);
    KrRuntimeError(const KrRuntimeError&) = default;
    KrRuntimeError& operator=(const KrRuntimeError&) = default;
    ~KrRuntimeError() override;
};

}  // namespace KrSim
