// Built against an installed copy of the library: only what is installed may be needed to compile, link and run it.
#include <kr/foundation.h>

#include <cstdio>
#include <string>

int main() {
    const std::string compiledWith = std::to_string(KR_VERSION_MAJOR) + "." + std::to_string(KR_VERSION_MINOR) + "." +
                                     std::to_string(KR_VERSION_PATCH);
    std::printf("compiled with %s, running with %s\n", compiledWith.c_str(), Kr::getLibraryVersion());
    return compiledWith == Kr::getLibraryVersion() ? 0 : 1;
}
