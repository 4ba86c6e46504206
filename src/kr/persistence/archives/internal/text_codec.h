#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kr/platform/export.h"

namespace KrPersistence::detail {

/// Which bytes of a text stand for themselves. All others are escaped so that every byte string comes back.
enum class eTextForm { kJsonString, kXmlContent, kXmlAttribute };

/// Appends the text as it stands between quotes or tags. A byte that is no UTF-8, or that the form cannot hold, becomes
/// the character U+EE00 + byte; the bytes of real characters U+EE00 to U+EEFF become three of them.
KR_API void appendEscaped(std::string& out, std::string_view text, eTextForm form);

/// Whether appendEscaped has put bytes into characters of their own.
[[nodiscard]] bool hasEscapedBytes(std::string_view text);
/// The bytes again.
[[nodiscard]] KR_API std::string unescapeBytes(std::string_view text);

/// Base64 with padding, without line breaks.
[[nodiscard]] KR_API std::string toBase64(std::string_view bytes);
/// Appends the bytes; blanks and line breaks are passed over. False for what is no base64.
[[nodiscard]] KR_API bool appendBase64(std::string& bytes, std::string_view text);

}  // namespace KrPersistence::detail
