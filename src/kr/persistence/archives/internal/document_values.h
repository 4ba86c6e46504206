#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kr/persistence/archives/internal/document_cursor.h"
#include "kr/persistence/archives/internal/number_list.h"
#include "kr/persistence/archives/internal/number_text.h"
#include "kr/persistence/archives/internal/text_codec.h"
#include "kr/platform/large_pages.h"

// Values of a document. A value of another type is refused, with its place.

namespace KrPersistence::detail {

/// For the text of an error, shortened: a document may have texts of any length.
[[nodiscard]] std::string quoted(std::string_view text);

[[nodiscard]] bool readBool(DocumentCursor& cursor, std::string_view name);
/// The characters in the document: unescapeBytes makes the bytes.
[[nodiscard]] std::string_view readRawText(DocumentCursor& cursor, std::string_view name);
void readText(DocumentCursor& cursor, std::string_view name, std::string& text);
void readBytes(DocumentCursor& cursor, std::string_view name, std::string& bytes);

/// Numbers have no quotes in JSON, except the texts for infinities and NaN.
template <class Number>
void parseItem(const DocumentCursor& cursor, const DocumentCursor::Item& item, Number& value) {
    using eKind = Document::eKind;
    const bool mayBeQuoted = std::is_floating_point_v<Number> && !item.text.empty() && item.text.back() > '9';
    const bool isValue =
        item.kind == eKind::kLiteral || item.kind == eKind::kUntyped || (item.kind == eKind::kText && mayBeQuoted);
    if (!isValue || !parseNumber(Kr::trim(item.text), value)) {
        cursor.refuse(std::string(std::is_floating_point_v<Number> ? "is no number" : "is no integer") +
                      " of the type: " + quoted(item.text));
    }
}

template <class Number>
void readNumber(DocumentCursor& cursor, std::string_view name, Number& value) {
    parseItem(cursor, cursor.take(name), value);
}

/// A bool, text or number.
template <class Value>
void readScalar(DocumentCursor& cursor, std::string_view name, Value& value) {
    if constexpr (std::is_same_v<Value, bool>) {
        value = readBool(cursor, name);
    } else if constexpr (std::is_same_v<Value, std::string>) {
        readText(cursor, name, value);
    } else {
        readNumber(cursor, name, value);
    }
}

/// Calls take(number) for each.
template <class Number, class Take>
void readNumbers(DocumentCursor& cursor, std::string_view name, const Take& take) {
    using eKind = Document::eKind;
    const DocumentCursor::Item item = cursor.take(name);
    if (item.kind != eKind::kNumbers && item.kind != eKind::kUntyped) cursor.refuse("is no list of numbers");
    NumberList list(item.text);
    for (;;) {
        Number number{};
        std::string_view text;
        if (!list.nextNumber(number)) {
            if (!list.next(text)) return;
            if (!parseNumber(text, number)) {
                cursor.refuse("holds what is no " +
                              std::string(std::is_floating_point_v<Number> ? "number" : "integer") +
                              " of the type: " + quoted(text));
            }
        }
        take(number);
    }
}

template <class Number>
void readTuple(DocumentCursor& cursor, std::string_view name, std::span<Number> components) {
    std::size_t count = 0;
    readNumbers<Number>(cursor, name, [&](Number number) {
        if (count < components.size()) components[count] = number;
        ++count;
    });
    if (count != components.size()) {
        cursor.refuse("has " + std::to_string(count) + " numbers, not the " + std::to_string(components.size()) +
                      " that it needs");
    }
}

/// Length of the text of a number with its separators; an estimate.
inline constexpr std::size_t kUsualLength = 20;

template <class Number>
void readBlock(DocumentCursor& cursor, std::string_view name, std::vector<Number>& numbers) {
    numbers.clear();
    numbers.reserve(cursor.peekLength(name) / kUsualLength);
    Kr::preferLargePages(numbers.data(), numbers.capacity() * sizeof(Number));
    readNumbers<Number>(cursor, name, [&](Number number) { numbers.push_back(number); });
}

}  // namespace KrPersistence::detail
