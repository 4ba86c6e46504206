#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kr/platform/export.h"

namespace KrPersistence::detail {

/// The bytes of a text that need no escape. All others are escaped so that every byte string can be restored.
enum class eTextForm { kJsonString, kXmlContent, kXmlAttribute };

/// Appends the text in the form between quotes or tags. A byte that is no UTF-8, or that the form cannot contain,
/// becomes the character U+EE00 + byte; the bytes of real characters U+EE00 to U+EEFF become three such characters.
KR_API void appendEscaped(std::string& out, std::string_view text, eTextForm form);

/// Whether appendEscaped has replaced bytes by characters.
[[nodiscard]] bool hasEscapedBytes(std::string_view text);
/// The original bytes.
[[nodiscard]] KR_API std::string unescapeBytes(std::string_view text);

/// Base64 with padding, without line breaks.
[[nodiscard]] KR_API std::string toBase64(std::string_view bytes);
/// Appends the bytes; skips blanks and line breaks. False for an invalid text.
[[nodiscard]] KR_API bool appendBase64(std::string& bytes, std::string_view text);

}  // namespace KrPersistence::detail
