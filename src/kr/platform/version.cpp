#include "kr/platform/version.h"

namespace Kr {

const char* getLibraryVersion() noexcept {
    return KR_VERSION;
}

}  // namespace Kr
