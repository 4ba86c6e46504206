#include "kr/persistence/files/magic_tag.h"

#include <algorithm>
#include <fstream>
#include <string_view>

#include "kr/platform/log.h"
#include "kr/platform/version.h"

namespace KrPersistence {

namespace {

constexpr std::string_view kTemplate = "<!--Kr000000000000000001-->";
constexpr std::string_view kLegacyBinaryTag = "<!--OrreryBinaryFile0001-->";
constexpr std::string_view kLegacyXmlTag = "<!--OrreryXMLFile0000001-->";
constexpr std::string_view kProlog = "<?xml version=\"1.0\" encodin";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kFamily = kTemplate.substr(0, 5);

constexpr std::string_view kMajorCodes = "@789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kMinorCodes = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kTypeLetters = "FMmsTWPAXaSGUOK";
constexpr std::string_view kFormatLetters = "BXJ";

constexpr unsigned int kMajorOffset = 2015;
constexpr unsigned int kLastMajor = 2046;
constexpr unsigned int kDevelopmentMajor = 9999;
constexpr char kHighestSign = 79;

enum Place : std::size_t {
    kMajor = 6,
    kMinor = 7,
    kType = 8,
    kFormat = 9,
    kVersionWidth = 10,
    kReserved = 11,
    kHasName = 12,
    kNameLength = 13,
    kSign = 14,
};

static_assert(kTemplate.size() == KrMagicTag::kSize && kLegacyBinaryTag.size() == KrMagicTag::kSize &&
              kLegacyXmlTag.size() == KrMagicTag::kSize && kProlog.size() == KrMagicTag::kSize);

/// The label of a release that did not write its own.
std::string getReleaseLabel(unsigned int major, unsigned int minor) {
    return std::to_string(major) + "." + std::to_string(minor);
}

/// Reads exactly so many bytes.
bool readBytes(std::istream& stream, char* bytes, std::size_t count) {
    return static_cast<bool>(stream.read(bytes, static_cast<std::streamsize>(count)));
}

/// Editors put a byte order mark in front of a prolog: it means nothing there. In front of a tag it stays.
template <class Buffer>
void passOverMark(std::istream& stream, Buffer& buffer) {
    if (std::string_view(buffer.data(), buffer.size()).substr(0, kByteOrderMark.size()) != kByteOrderMark) return;
    Buffer shifted{};
    const auto rest = std::copy(buffer.begin() + kByteOrderMark.size(), buffer.end(), shifted.begin());
    const bool isWhole = readBytes(stream, &*rest, kByteOrderMark.size());
    if (isWhole && std::equal(shifted.begin(), shifted.end(), kProlog.begin(), kProlog.end())) buffer = shifted;
}

}  // namespace

KrMagicTag::KrMagicTag(int major, int minor) {
    std::copy(kTemplate.begin(), kTemplate.end(), _buffer.begin());
    setVersionSavedAsChar(false);
    if (major < 0 || minor < 0) {
        setMarketingName(KR_VERSION_MARKETING_NAME);
        setOrreryVersion(KR_VERSION_MAJOR, KR_VERSION_MINOR);
    } else {
        setOrreryVersion(static_cast<unsigned int>(major), static_cast<unsigned int>(minor));
    }
}

KrMagicTag KrMagicTag::createFromFile(const std::string& path) {
    KrMagicTag tag;
    std::ifstream stream(path, std::ios::binary);
    if (stream) tag.load(stream);
    return tag;
}

void KrMagicTag::load(std::istream& stream) {
    const auto start = stream.tellg();
    _marketingName.clear();
    bool isWhole = readBytes(stream, _buffer.data(), _buffer.size());
    if (!isWhole) _buffer.fill('\0');
    passOverMark(stream, _buffer);

    const eForm form = _getForm();
    const bool isOurs = form != eForm::kForeign && form != eForm::kXmlProlog;
    if (isOurs && _buffer[kHasName] == '1') {
        std::string name(static_cast<unsigned char>(_buffer[kNameLength]), '\0');
        isWhole = readBytes(stream, name.data(), name.size());
        if (isWhole) {
            _marketingName = std::move(name);
        } else {
            _buffer.fill('\0');
        }
    } else if (isOurs) {
        unsigned int major = 0;
        unsigned int minor = 0;
        getOrreryVersion(major, minor);
        _marketingName = getReleaseLabel(major, minor);
    }
    if (isOurs && isWhole) return;
    stream.clear(stream.rdstate() & std::ios::badbit);  // what cannot be read stays so
    stream.seekg(start);
}

void KrMagicTag::save(std::ostream& stream) {
    _buffer[kReserved] = '1';
    _storeNameLength();
    stream.write(_buffer.data(), static_cast<std::streamsize>(_buffer.size()));
    stream.write(_marketingName.data(), static_cast<std::streamsize>(_marketingName.size()));
}

void KrMagicTag::setOrreryVersion(unsigned int major, unsigned int minor) {
    if (minor < kMinorCodes.size()) {
        _buffer[kMinor] = kMinorCodes[minor];
    } else {
        Kr::logErrorNoThrow("KrMagicTag: Problem with ORRERY_MINOR: Developer must fix this before release Orrery.\n");
    }
    if (major == 6) {
        _buffer[kMajor] = '6';
    } else if (major == kDevelopmentMajor) {
        _buffer[kMajor] = '@';
    } else if (major > kMajorOffset && major <= kLastMajor) {
        _buffer[kMajor] = kMajorCodes[major - kMajorOffset];
    } else {
        Kr::logErrorNoThrow("KrMagicTag: Problem with ORRERY_MAJOR: Developer must fix this before release Orrery.\n");
    }
}

void KrMagicTag::getOrreryVersion(unsigned int& major, unsigned int& minor) const {
    const auto set = [&](unsigned int newMajor, unsigned int newMinor) {
        major = newMajor;
        minor = newMinor;
    };
    switch (_getForm()) {
        case eForm::kLegacyBinary:
        case eForm::kLegacyXml:
            return set(4, 9);
        case eForm::kXmlProlog:
            return set(4, 2);
        case eForm::kForeign:
            return set(0, 0);
        case eForm::kTag:
            break;
    }
    const std::size_t majorCode = kMajorCodes.find(_buffer[kMajor]);
    const std::size_t minorCode = kMinorCodes.find(_buffer[kMinor]);
    minor = minorCode == std::string_view::npos ? 0 : static_cast<unsigned int>(minorCode);
    if (majorCode == 0) {
        major = kDevelopmentMajor;
    } else if (majorCode == std::string_view::npos) {
        major = static_cast<unsigned int>(_buffer[kMajor] - '0');
    } else {
        major = static_cast<unsigned int>(majorCode) + kMajorOffset;
    }
}

void KrMagicTag::setMarketingName(const std::string& name) {
    if (name.size() > kLongestMarketingName) {
        Kr::logMessage(Kr::eLogLevel::kFatal,
                       "KrMagicTag: Marketing name cannot be longer than 255 characters. '%s' is too long",
                       name.c_str());
        return;
    }
    _marketingName = name;
    _storeNameLength();
}

KrMagicTag::eFileFormat KrMagicTag::getFileFormat() const {
    switch (_getForm()) {
        case eForm::kLegacyBinary:
            return eFileFormat::kBinary;
        case eForm::kLegacyXml:
        case eForm::kXmlProlog:
            return eFileFormat::kXml;
        case eForm::kForeign:
            return eFileFormat::kUnknownFormat;
        case eForm::kTag:
            break;
    }
    const std::size_t format = kFormatLetters.find(_buffer[kFormat]);
    return format == std::string_view::npos ? eFileFormat::kUnknownFormat : static_cast<eFileFormat>(format);
}

void KrMagicTag::setFileFormat(eFileFormat format) {
    const auto number = static_cast<std::size_t>(format);
    _buffer[kFormat] = number < kFormatLetters.size() ? kFormatLetters[number] : '?';
}

KrFile::eFileType KrMagicTag::getFileType() const {
    switch (_getForm()) {
        case eForm::kForeign:
            return KrFile::eFileType::kInvalid;
        case eForm::kTag:
            break;
        default:
            return KrFile::eFileType::kUnknown;
    }
    const std::size_t type = kTypeLetters.find(_buffer[kType]);
    return type == std::string_view::npos ? KrFile::eFileType::kInvalid : static_cast<KrFile::eFileType>(type);
}

void KrMagicTag::setFileType(KrFile::eFileType type) {
    const auto number = static_cast<std::size_t>(type);
    _buffer[kType] = number < kTypeLetters.size() ? kTypeLetters[number] : '?';
}

bool KrMagicTag::getVersionSavedAsChar() const {
    return _getForm() != eForm::kTag || _buffer[kVersionWidth] == '0';
}

void KrMagicTag::setVersionSavedAsChar(bool isChar) noexcept {
    _buffer[kVersionWidth] = isChar ? '0' : '1';
}

void KrMagicTag::setSigned(char sign) noexcept {
    _buffer[kSign] = static_cast<char>('0' + std::min(sign, kHighestSign));
}

char KrMagicTag::getSign() const noexcept {
    return static_cast<char>(_buffer[kSign] - '0');
}

bool KrMagicTag::isSigned() const noexcept {
    return _buffer[kSign] != '0';
}

KrMagicTag::eForm KrMagicTag::_getForm() const {
    const std::string_view bytes(_buffer.data(), _buffer.size());
    if (bytes == kLegacyBinaryTag) return eForm::kLegacyBinary;
    if (bytes == kLegacyXmlTag) return eForm::kLegacyXml;
    if (bytes == kProlog) return eForm::kXmlProlog;
    return bytes.substr(0, kFamily.size()) == kFamily ? eForm::kTag : eForm::kForeign;
}

void KrMagicTag::_storeNameLength() noexcept {
    const bool hasName = !_marketingName.empty();
    _buffer[kHasName] = hasName ? '1' : '0';
    _buffer[kNameLength] = hasName ? static_cast<char>(_marketingName.size()) : kTemplate[kNameLength];
}

}  // namespace KrPersistence
