#pragma once

#include <cstdint>
#include <string>

#include "kr/platform/export.h"

namespace Kr {

/// This process as others see it. All functions on any thread.
class KR_API Process {
public:
    Process() = delete;

    [[nodiscard]] static std::int64_t getProcessID() noexcept;
    /// "host:4711", the host name and the process id: the sender name of this process on the network. Taken once on
    /// first use; the reference stays good. A host without a name gives "localhost".
    [[nodiscard]] static const std::string& getHostNameProcessID();
};

}  // namespace Kr
