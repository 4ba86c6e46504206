#include "kr/persistence/files/internal/version_gate.h"

#include <tuple>

#include "kr/platform/version.h"

namespace KrPersistence::detail {

namespace {

using Version = std::pair<unsigned int, unsigned int>;

constexpr Version kRunning{KR_VERSION_MAJOR, KR_VERSION_MINOR};
constexpr Version kOldest{2017, 0};

std::string textOf(const Version& version) {
    return std::to_string(version.first) + "." + std::to_string(version.second);
}

// Numbers that a release had, or may have one day.
bool isRelease(unsigned int major) {
    return major == 4 || major == 6 || major >= 2016;
}

}  // namespace

Kr::FileResult checkFileVersion(unsigned int major, unsigned int minor, const std::string& fileName) {
    const Version version{major, minor};
    // No tag, and XML without tag: whether they can be read is for the archive to say.
    if (version == Version{0, 0} || version == Version{4, 2}) return {};
    if (version >= kOldest && version <= kRunning) return {};
    Kr::FileResult result{.failure = Kr::FileResult::eFailure::kRefused};
    const std::string ending = "it cannot be used in the current version " + textOf(kRunning);
    if (!isRelease(major)) {
        result.text = "File '" + fileName + "' was saved with an unsupported version of Orrery (Version " +
                      textOf(version) + "), " + ending;
        return result;
    }
    result.text = "File '" + fileName + "' was saved using Orrery version " + textOf(version) + ", " + ending;
    if (version > kRunning) return result;
    result.remedy =
        "Please use a previous version of the Orrery Studio Editor to load and save your file before using it in "
        "the current version.";
    result.text += ". " + result.remedy;
    return result;
}

}  // namespace KrPersistence::detail
