#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "kr/platform/utf8.h"

namespace krsim {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

/// Texts from outside, as of exceptions need not be UTF-8: '?' for each byte that is not.
inline std::string toUtf8(const std::string& text) {
    std::string valid;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = Kr::getUtf8CharacterLength(text, at);
        valid += length != 0 ? text.substr(at, length) : "?";
        at += std::max<std::size_t>(length, 1);
    }
    return valid;
}

inline void writeText(JsonWriter& writer, const char* name, const std::string& text) {
    writer.Key(name);
    const auto valid = toUtf8(text);
    writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

inline void writeNumber(JsonWriter& writer, const char* name, double number) {
    writer.Key(name);
    writer.Double(number);
}

inline void writeCount(JsonWriter& writer, const char* name, std::uint64_t count) {
    writer.Key(name);
    writer.Uint64(count);
}

inline void writeTexts(JsonWriter& writer, const char* name, const std::vector<std::string>& texts) {
    writer.Key(name);
    writer.StartArray();
    for (const auto& each : texts) {
        const auto valid = toUtf8(each);
        writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
    }
    writer.EndArray();
}

inline void writeFlag(JsonWriter& writer, const char* name, bool value) {
    writer.Key(name);
    writer.Bool(value);
}

}  // namespace krsim
