#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "kr/persistence/files/magic_tag.h"
#include "kr/platform/log.h"

namespace {

using KrPersistence::KrMagicTag;

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

// What is read as a tag comes back when it is saved and read again; what is not stays in the stream.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    std::istringstream stream(std::string(data, data + size));
    KrMagicTag tag;
    tag.load(stream);
    require(stream.good());
    const auto consumed = static_cast<std::size_t>(stream.tellg());
    require(consumed == 0 || (consumed >= KrMagicTag::kSize && consumed <= size));
    unsigned int major = 1;
    unsigned int minor = 1;
    tag.getOrreryVersion(major, minor);
    require(minor < 62);
    if (consumed == 0) {
        require(tag.getMarketingName().empty() && tag.getVersionSavedAsChar());
        return 0;
    }
    if (tag.getInternalBuffer().compare(0, 6, "<!--Kr") != 0) return 0;  // an earlier form is not written

    std::stringstream saved;
    KrMagicTag(tag).save(saved);
    KrMagicTag copy;
    copy.load(saved);
    unsigned int copiedMajor = 0;
    unsigned int copiedMinor = 0;
    copy.getOrreryVersion(copiedMajor, copiedMinor);
    require(copiedMajor == major && copiedMinor == minor);
    // An empty name is not written; what replaces it on reading is the version.
    require(copy.getMarketingName() == tag.getMarketingName() || tag.getMarketingName().empty());
    require(copy.getFileType() == tag.getFileType() && copy.getFileFormat() == tag.getFileFormat());
    require(copy.getVersionSavedAsChar() == tag.getVersionSavedAsChar() && copy.getSign() == tag.getSign());
    return 0;
}
