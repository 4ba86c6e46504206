#pragma once

#include "kr/platform/export.h"

/// Version of the headers that a translation unit was compiled with. The build reads the library's version from here.
#define KR_VERSION_MAJOR 2020
#define KR_VERSION_MINOR 3
#define KR_VERSION_PATCH 0
/// The marketing name of the release, empty when it has none; written to files. At most 255 bytes.
#define KR_VERSION_MARKETING_NAME ""

/// The same as a text literal, "major.minor.patch".
#define KR_VERSION KR_VERSION_TEXT_(KR_VERSION_MAJOR, KR_VERSION_MINOR, KR_VERSION_PATCH)
#define KR_VERSION_TEXT_(major, minor, patch) \
    KR_VERSION_NUMBER_(major) "." KR_VERSION_NUMBER_(minor) "." KR_VERSION_NUMBER_(patch)
#define KR_VERSION_NUMBER_(number) #number

namespace Kr {

/// Version of the loaded library as "major.minor.patch"; a static text. It differs from the macros above when the
/// caller was compiled with the headers of another version.
[[nodiscard]] KR_API const char* getLibraryVersion() noexcept;

}  // namespace Kr
