#include "kr/persistence/archives/internal/text_codec.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "kr/platform/text.h"

namespace KrPersistence::detail {
namespace {

unsigned int byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

/// The length of the UTF-8 character; 0 for other bytes, and for a character that represents a byte.
std::size_t characterLength(std::string_view text, std::size_t at) {
    const std::size_t length = Kr::getUtf8CharacterLength(text, at);
    const bool isByte = length == 3 && byteAt(text, at) == 0xEE && (byteAt(text, at + 1) & 0xFCU) == 0xB8;
    return isByte ? 0 : length;  // U+EE00 to U+EEFF
}

/// U+FFFE and U+FFFF, which XML does not know.
bool isNoXmlCharacter(std::string_view text, std::size_t at) {
    return byteAt(text, at) == 0xEF && byteAt(text, at + 1) == 0xBF && byteAt(text, at + 2) >= 0xBE;
}

void appendByte(std::string& out, unsigned int byte) {
    out += '\xEE';
    out += static_cast<char>(0xB8U | (byte >> 6U));
    out += static_cast<char>(0x80U | (byte & 0x3FU));
}

void appendJsonCharacter(std::string& out, char character) {
    switch (character) {
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            break;
    }
    out += "\\u00";
    Kr::appendHex(out, static_cast<unsigned char>(character));
}

void appendXmlCharacter(std::string& out, char character, eTextForm form) {
    switch (character) {
        case '&':
            out += "&amp;";
            return;
        case '<':
            out += "&lt;";
            return;
        case '>':
            out += "&gt;";
            return;
        case '"':
            out += "&quot;";
            return;
        case '\r':
            out += "&#13;";
            return;  // a reader would make it a line feed
        default:
            break;
    }
    if (character != '\n' && character != '\t') return appendByte(out, static_cast<unsigned char>(character));
    if (form == eTextForm::kXmlContent) {
        out += character;
    } else {
        out += character == '\n' ? "&#10;" : "&#9;";
    }
}

bool isPlain(char character, eTextForm form) {
    if (character < ' ') return false;  // also the bytes above 0x7f
    if (character == '"') return form == eTextForm::kXmlContent;
    if (form == eTextForm::kJsonString) return character != '\\';
    return character != '&' && character != '<' && character != '>';
}

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint8_t kNoDigit = 255;
constexpr auto kBase64Values = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kNoDigit);
    for (int i = 0; i < 64; ++i)
        values[static_cast<unsigned char>(kBase64[i])] = static_cast<std::uint8_t>(i);
    return values;
}();

}  // namespace

void appendEscaped(std::string& out, std::string_view text, eTextForm form) {
    std::size_t plain = 0;  // from here on nothing is appended yet
    std::size_t at = 0;
    while (at < text.size()) {
        if (isPlain(text[at], form)) {
            ++at;
            continue;
        }
        const std::size_t length = characterLength(text, at);
        if (length > 1 && (form == eTextForm::kJsonString || length != 3 || !isNoXmlCharacter(text, at))) {
            at += length;
            continue;
        }
        out.append(text, plain, at - plain);
        if (length != 1) {
            appendByte(out, byteAt(text, at));
        } else if (form == eTextForm::kJsonString) {
            appendJsonCharacter(out, text[at]);
        } else {
            appendXmlCharacter(out, text[at], form);
        }
        plain = ++at;
    }
    out.append(text, plain);
}

bool hasEscapedBytes(std::string_view text) {
    return text.find('\xEE') != std::string_view::npos;
}

std::string unescapeBytes(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    std::size_t at = 0;
    while (at < text.size()) {
        if (at + 2 < text.size() && text[at] == '\xEE' && (byteAt(text, at + 1) & 0xFCU) == 0xB8) {
            bytes += static_cast<char>(((byteAt(text, at + 1) & 3U) << 6U) | (byteAt(text, at + 2) & 0x3FU));
            at += 3;
        } else {
            bytes += text[at++];
        }
    }
    return bytes;
}

std::string toBase64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        unsigned int block = 0;
        for (std::size_t i = 0; i < 3; ++i)
            block = (block << 8U) | (i < count ? byteAt(bytes, at + i) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= count ? kBase64[(block >> (18 - 6 * i)) & 0x3FU] : '=';
    }
    return text;
}

bool appendBase64(std::string& bytes, std::string_view text) {
    unsigned int block = 0;
    std::size_t digits = 0;
    std::size_t padding = 0;
    for (const char each : text) {
        if (each == ' ' || each == '\n' || each == '\t' || each == '\r') continue;
        if (each == '=') {
            if (++padding > 2 || digits < 2) return false;
            continue;
        }
        const unsigned int value = kBase64Values[static_cast<unsigned char>(each)];
        if (value == kNoDigit || padding > 0) return false;
        block = (block << 6U) | value;
        if (++digits < 4) continue;
        for (const unsigned int shift : {16U, 8U, 0U})
            bytes += static_cast<char>(block >> shift);
        block = 0;
        digits = 0;
    }
    if (digits == 0) return padding == 0;
    if (digits + padding != 4) return false;
    block <<= 6 * padding;
    if ((block & (padding == 1 ? 0xFFU : 0xFFFFU)) != 0) return false;  // bits that belong to no byte
    bytes += static_cast<char>(block >> 16U);
    if (padding == 1) bytes += static_cast<char>(block >> 8U);
    return true;
}

}  // namespace KrPersistence::detail
