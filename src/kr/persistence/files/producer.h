#pragma once

#include <string>

#include "kr/platform/export.h"

namespace KrPersistence {

/// The application that files name as their producer (KrFile::getProducerInformation).
struct Producer {
    std::string application;
    std::string marketingName;  ///< may be empty
    std::string version;        ///< the full text
};

/// Sets the application that files name as their producer from now on: "<application> <marketing name>, version
/// <version>". One for the process; a host sets it once at its start. An empty application restores the initial one,
/// this library. Loading does not interpret the line. Any thread.
KR_API void setProducer(const Producer& producer);
[[nodiscard]] KR_API Producer getProducer();  ///< Any thread.

}  // namespace KrPersistence
