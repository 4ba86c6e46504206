#include "kr/platform/version.h"

#define KR_TEXT_OF(number) #number
#define KR_VERSION_TEXT(major, minor, patch) KR_TEXT_OF(major) "." KR_TEXT_OF(minor) "." KR_TEXT_OF(patch)

namespace Kr {

const char* getLibraryVersion() noexcept {
    return KR_VERSION_TEXT(KR_VERSION_MAJOR, KR_VERSION_MINOR, KR_VERSION_PATCH);
}

}  // namespace Kr
