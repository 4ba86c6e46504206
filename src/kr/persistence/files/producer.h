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

/// Files saved from now on name this application: "<application> <marketing name>, version <version>". Of the process;
/// a host sets it once at its start. An empty application restores the producer that is set initially, this library.
/// Files never depend on it: loading does not interpret the line. Any thread.
KR_API void setProducer(const Producer& producer);
[[nodiscard]] KR_API Producer getProducer();

}  // namespace KrPersistence
