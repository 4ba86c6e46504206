#pragma once

#include <stdexcept>
#include <string>

#include "kr/platform/export.h"

namespace KrSim {

/// What an error-level log message raises at its caller while the error handler is installed; what() is the message.
class KR_API KrRuntimeError : public std::runtime_error {
public:
    explicit KrRuntimeError(const std::string& message);
    explicit KrRuntimeError(const char* message);
    KrRuntimeError(const KrRuntimeError&) = default;
    KrRuntimeError& operator=(const KrRuntimeError&) = default;
    ~KrRuntimeError() override;
};

}  // namespace KrSim
