#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "kr/recording/internal/mcap_reader.h"

// A recording of others is read to its end, or to the damage that is told with its byte.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
    KrRecording::detail::McapReader reader(stream);
    std::size_t bytes = 0;
    const auto problem = reader.read([&](const KrRecording::detail::McapMessage& message) {
        if (!reader.getChannels().contains(message.channel)) std::abort();
        bytes += message.bytes.size();
    });
    if (bytes > size) std::abort();
    // A complete one begins and ends with the mark.
    if (problem.empty() && size < 2 * KrRecording::detail::kMcapMagic.size()) std::abort();
    return 0;
}
