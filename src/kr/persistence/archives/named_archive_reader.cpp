#include "kr/persistence/archives/named_archive_reader.h"

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/internal/document_values.h"
#include "kr/persistence/archives/named_input.h"

namespace KrPersistence {

NamedArchiveReader::NamedArchiveReader(NamedInput& archive) : ArchiveReader(archive._state()), _archive(archive) {}

NamedArchiveReader::~NamedArchiveReader() = default;

void NamedArchiveReader::setKnownNames(std::span<const std::string> names) {
    _archive._cursor().setKnownNames(names);
}

std::size_t NamedArchiveReader::getLine() const {
    return _archive._cursor().line();
}

void NamedArchiveReader::fail(const std::string& text) const {
    _archive.refuse(text);
}

void NamedArchiveReader::_readScalar(std::string_view name, const Scalar& value) {
    std::visit([&](auto* scalar) { detail::readScalar(_archive._cursor(), name, *scalar); }, value);
}

void NamedArchiveReader::_readText(std::string_view name, std::string& text) {
    detail::readText(_archive._cursor(), name, text);
}

std::string_view NamedArchiveReader::_readRepeated(std::string_view name) {
    const std::string_view text = detail::readRawText(_archive._cursor(), name);
    return detail::hasEscapedBytes(text) ? _repeated.emplace_back(detail::unescapeBytes(text)) : text;
}

int NamedArchiveReader::_readChoice(std::string_view name, const ChoiceParser& parse, const ChoiceList& choices) {
    using eKind = detail::Document::eKind;
    detail::DocumentCursor& cursor = _archive._cursor();
    const detail::DocumentCursor::Item item = cursor.take(name);
    if (item.kind == eKind::kText || item.kind == eKind::kUntyped) {
        if (const auto number = parse(detail::unescapeBytes(item.text))) return *number;
    }
    int number = 0;
    const bool mayBeNumber = item.kind == eKind::kLiteral || item.kind == eKind::kUntyped;
    if (!mayBeNumber || !detail::parseNumber(Kr::trim(item.text), number)) {
        cursor.refuse("is none of the known choices: " + detail::quoted(item.text) +
                      (choices ? explainChoice(item.text, choices()) : ""));
    }
    return number;
}

void NamedArchiveReader::_readBytes(std::string_view name, std::string& bytes) {
    detail::readBytes(_archive._cursor(), name, bytes);
}

void NamedArchiveReader::_readTuple(std::string_view name, const Tuple& components) {
    std::visit([&](auto span) { detail::readTuple(_archive._cursor(), name, span); }, components);
}

void NamedArchiveReader::_readBlock(std::string_view name, const Block& numbers) {
    std::visit([&](auto* items) { detail::readBlock(_archive._cursor(), name, *items); }, numbers);
}

bool NamedArchiveReader::_isThere(std::string_view name) {
    return _archive._cursor().isThere(name);
}

std::size_t NamedArchiveReader::_begin(std::string_view name, eNesting kind) {
    if (kind == eNesting::kSequence) return _archive._cursor().enterSequence(name);
    _archive._cursor().enterGroup(name);
    return 0;
}

void NamedArchiveReader::_end(eNesting /*kind*/) {
    _archive._cursor().leaveWhole();
}

}  // namespace KrPersistence
