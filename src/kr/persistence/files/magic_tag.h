#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "kr/persistence/files/file.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// The 27 bytes at the beginning of every file, and the marketing name of the release after them. The bytes:
/// docs/files.md. Three forms of earlier releases are known: two tags without version, and XML without any tag.
///
/// Nothing throws; a property that the tag cannot represent is logged and ignored.
/// Thread: value. Ownership: value.
class KR_API KrMagicTag {
public:
    enum class eFileFormat : std::int32_t { kBinary = 0, kXml = 1, kJson = 2, kUnknownFormat = 3 };

    static constexpr std::size_t kSize = 27;
    static constexpr std::size_t kLongestMarketingName = 255;

    /// Negative numbers: the version and the marketing name of this library.
    explicit KrMagicTag(int major = -1, int minor = -1);

    /// The tag of that file; one of this library when it cannot be opened.
    [[nodiscard]] static KrMagicTag createFromFile(const std::string& path);

    /// Reads a tag. Without one the tag is invalid, and the stream is at its previous position.
    void load(std::istream& stream);
    /// The state of the stream says whether it was written.
    void save(std::ostream& stream);
    /// The 27 bytes; for a file without a valid tag its first bytes, filled up with zeros when it is too short.
    [[nodiscard]] std::string getInternalBuffer() const { return {_buffer.data(), _buffer.size()}; }

    /// Majors 6, 2016 to 2046 and 9999 (a development build), minors to 61. Others are logged as errors and ignored.
    void setOrreryVersion(unsigned int major, unsigned int minor);
    /// 0.0 without a tag, 4.9 and 4.2 for the forms of earlier releases.
    void getOrreryVersion(unsigned int& major, unsigned int& minor) const;

    [[nodiscard]] const std::string& getMarketingName() const noexcept { return _marketingName; }
    /// At most 255 bytes; a longer one is refused with a fatal message.
    void setMarketingName(const std::string& name);

    [[nodiscard]] eFileFormat getFileFormat() const;
    void setFileFormat(eFileFormat format);               ///< The kind of archive after the tag.
    [[nodiscard]] KrFile::eFileType getFileType() const;  ///< kInvalid without a valid tag.
    void setFileType(KrFile::eFileType type);
    /// Whether binary archives after the tag store class versions in one byte.
    [[nodiscard]] bool getVersionSavedAsChar() const;
    void setVersionSavedAsChar(bool isChar) noexcept;
    /// \param sign  0 is plain; at most 79, larger values become 79.
    void setSigned(char sign) noexcept;
    [[nodiscard]] char getSign() const noexcept;   ///< 0 to 79; 0 is plain.
    [[nodiscard]] bool isSigned() const noexcept;  ///< Whether the sign is not 0.

private:
    enum class eForm { kTag, kLegacyBinary, kLegacyXml, kXmlProlog, kForeign };

    [[nodiscard]] eForm _getForm() const;
    void _storeNameLength() noexcept;

    std::array<char, kSize> _buffer{};
    std::string _marketingName;
};

}  // namespace KrPersistence
