#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kr/platform/plugins/plugin_manifest.h"
#include "kr/platform/plugins/plugin_manifest_reader.h"

// Any file is refused with a reason or gives a manifest whose texts are fit for a log line and a file name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("plugin", MFD_CLOEXEC);
    if (::ftruncate(file, 0) != 0 || ::pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) std::abort();

    using namespace KrPluginSystem;
    const auto manifest = readPluginManifest("/proc/self/fd/" + std::to_string(file));
    if (static_cast<bool>(manifest) != manifest.reason.empty()) std::abort();
    if (!manifest) return 0;
    bool isSound = detail::isPluginName(manifest->name) && detail::isManifestLine(manifest->version) &&
                   detail::isManifestLine(manifest->libraryVersion) && detail::isManifestLine(manifest->build);
    for (const std::string& type : manifest->types)
        isSound = isSound && detail::isManifestLine(type);
    if (!isSound) std::abort();
    return 0;
}
