#pragma once

#include <cstdint>
#include <string>

#include "kr/platform/export.h"

namespace Kr {

/// Identity of this process.
/// Thread: any. Ownership: none.
class KR_API Process {
public:
    Process() = delete;

    [[nodiscard]] static std::int64_t getProcessID() noexcept;  ///< As the operating system numbers it.
    /// "host:4711", the host name and the process id: the sender name of this process on the network. Determined with
    /// the first call; the reference stays valid. A host without a name gives "localhost".
    [[nodiscard]] static const std::string& getHostNameProcessID();
};

}  // namespace Kr
