#include "kr/platform/plugins/internal/plugin_file.h"

#include <dlfcn.h>

// Standard paths spare the library a dependency on the compiled part of Boost.
#define BOOST_DLL_USE_STD_FS
#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/dll/shared_library.hpp>
#include <filesystem>
#include <list>
#include <mutex>
#include <system_error>

namespace KrPluginSystem::detail {
namespace {

/// The error codes of Boost.DLL do not say what was missing; the system's loader does.
std::string takeLoaderMessage(const std::string& otherwise) {
    const char* const message = ::dlerror();
    return message != nullptr ? message : otherwise;
}

using Libraries = std::list<boost::dll::shared_library>;

/// Nothing is ever unmapped: the registries of the process may point into any file that was in memory once.
class KeptLibraries {
public:
    static KeptLibraries& instance() {
        static auto& kept = *new KeptLibraries;
        return kept;
    }

    /// Takes over a list of one. Allocates nothing, since a loaded library must not be lost any more.
    const boost::dll::shared_library& keep(Libraries& one) noexcept {
        const std::lock_guard lock(_mutex);
        _libraries.splice(_libraries.end(), one);
        return _libraries.back();
    }

private:
    std::mutex _mutex;  // guards the list
    Libraries _libraries;
};

}  // namespace

Kr::FileResultOf<PluginEntries> mapPluginFile(const std::string& path) {
    const auto refuse = [&](const std::string& reason) {
        return Kr::FileResult::failed(Kr::FileResult::eFailure::kRefused, path, "'" + path + "' ", reason);
    };
    static_cast<void>(::dlerror());  // an old message
    std::error_code error;
    auto& kept = KeptLibraries::instance();
    Libraries mapped(1);
    mapped.front().load(path, error, boost::dll::load_mode::rtld_now | boost::dll::load_mode::rtld_local);
    if (error) return refuse("cannot be loaded: " + takeLoaderMessage(error.message()));
    const boost::dll::shared_library& library = kept.keep(mapped);
    for (const char* const entry : {"kr_plugin_register_v1", "kr_plugin_unregister_v1"}) {
        if (!library.has(entry)) return refuse(std::string("has no entry function ") + entry);
    }
    return PluginEntries{&library.get<void()>("kr_plugin_register_v1"),
                         &library.get<bool()>("kr_plugin_unregister_v1")};
}

std::string getLibraryDirectory() {
    std::error_code error;
    std::filesystem::path file = std::filesystem::canonical(boost::dll::this_line_location(error), error);
    // Inside a program the loader knows the name that the caller gave, which need not be a path.
    if (error) file = boost::dll::program_location(error);
    return std::filesystem::absolute(file.parent_path(), error).string();
}

}  // namespace KrPluginSystem::detail
