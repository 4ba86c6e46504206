#include "kr/persistence/archives/internal/document_values.h"

#include "kr/platform/utf8.h"

namespace KrPersistence::detail {
namespace {

using eKind = Document::eKind;

}  // namespace

std::string quoted(std::string_view text) {
    constexpr std::size_t kLongest = 40;
    std::string result = "'";
    for (const char each : text.substr(0, Kr::getUtf8PrefixLength(text, kLongest)))
        result += each < ' ' && each >= 0 ? ' ' : each;
    return result + (text.size() > kLongest ? "...'" : "'");
}

bool readBool(DocumentCursor& cursor, std::string_view name) {
    const DocumentCursor::Item item = cursor.take(name);
    const std::string_view text = Kr::trim(item.text);
    const bool isValue = item.kind == eKind::kLiteral || item.kind == eKind::kUntyped;
    if (!isValue || (text != "true" && text != "false"))
        cursor.refuse("is neither true nor false: " + quoted(item.text));
    return text == "true";
}

std::string_view readRawText(DocumentCursor& cursor, std::string_view name) {
    const DocumentCursor::Item item = cursor.take(name);
    if (item.kind != eKind::kText && item.kind != eKind::kUntyped) cursor.refuse("is no text");
    return item.text;
}

void readText(DocumentCursor& cursor, std::string_view name, std::string& text) {
    const std::string_view raw = readRawText(cursor, name);
    if (hasEscapedBytes(raw)) {
        text = unescapeBytes(raw);
    } else {
        text = raw;
    }
}

void readBytes(DocumentCursor& cursor, std::string_view name, std::string& bytes) {
    bytes.clear();
    const auto append = [&](std::string_view text) {
        if (!appendBase64(bytes, text)) cursor.refuse("is no base64: " + quoted(text));
    };
    if (!cursor.isSequence(name)) return append(readRawText(cursor, name));
    const std::size_t count = cursor.enterSequence(name);
    for (std::size_t i = 0; i < count; ++i)
        append(readRawText(cursor, {}));
    cursor.leaveWhole();
}

}  // namespace KrPersistence::detail
