#include "kr/persistence/archives/named_archive_reader.h"

#include "kr/persistence/archives/internal/document_values.h"
#include "kr/persistence/archives/named_input.h"

namespace KrPersistence {

NamedArchiveReader::NamedArchiveReader(NamedInput& archive) : _archive(archive) {}

NamedArchiveReader::~NamedArchiveReader() = default;

void NamedArchiveReader::read(std::string_view name, bool& value) {
    value = detail::readBool(_archive._cursor(), name);
}

void NamedArchiveReader::read(std::string_view name, int& value) {
    detail::readNumber(_archive._cursor(), name, value);
}

void NamedArchiveReader::read(std::string_view name, unsigned int& value) {
    detail::readNumber(_archive._cursor(), name, value);
}

void NamedArchiveReader::read(std::string_view name, long long& value) {
    detail::readNumber(_archive._cursor(), name, value);
}

void NamedArchiveReader::read(std::string_view name, unsigned long long& value) {
    detail::readNumber(_archive._cursor(), name, value);
}

void NamedArchiveReader::read(std::string_view name, float& value) {
    detail::readNumber(_archive._cursor(), name, value);
}

void NamedArchiveReader::read(std::string_view name, double& value) {
    detail::readNumber(_archive._cursor(), name, value);
}

void NamedArchiveReader::read(std::string_view name, std::string& text) {
    detail::readText(_archive._cursor(), name, text);
}

std::string_view NamedArchiveReader::readRepeated(std::string_view name) {
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
    if (!mayBeNumber || !detail::parseNumber(detail::trimmed(item.text), number)) {
        cursor.refuse("is none of the known choices: " + detail::quoted(item.text) +
                      (choices ? explainChoice(item.text, choices()) : ""));
    }
    return number;
}

void NamedArchiveReader::readBytes(std::string_view name, std::string& bytes) {
    detail::readBytes(_archive._cursor(), name, bytes);
}

void NamedArchiveReader::readTuple(std::string_view name, std::span<double> components) {
    detail::readTuple(_archive._cursor(), name, components);
}

void NamedArchiveReader::readTuple(std::string_view name, std::span<float> components) {
    detail::readTuple(_archive._cursor(), name, components);
}

void NamedArchiveReader::readBlock(std::string_view name, std::vector<double>& numbers) {
    detail::readBlock(_archive._cursor(), name, numbers);
}

void NamedArchiveReader::readBlock(std::string_view name, std::vector<float>& numbers) {
    detail::readBlock(_archive._cursor(), name, numbers);
}

void NamedArchiveReader::readBlock(std::string_view name, std::vector<int>& numbers) {
    detail::readBlock(_archive._cursor(), name, numbers);
}

void NamedArchiveReader::setKnownNames(std::span<const std::string> names) {
    _archive._cursor().setKnownNames(names);
}

std::size_t NamedArchiveReader::getLine() const {
    return _archive._cursor().line();
}

void NamedArchiveReader::fail(const std::string& text) const {
    _archive.refuse(text);
}

const std::string& NamedArchiveReader::getArchiveName() const {
    return _archive._state().getArchiveName();
}

std::vector<Finding>& NamedArchiveReader::_getFindings() {
    return _archive._state().getFindings();
}

void NamedArchiveReader::pushObject(Kr::KrBase* object) {
    _archive._state().pushObject(object);
}

void NamedArchiveReader::popObject() noexcept {
    _archive._state().popObject();
}

Kr::KrBase* NamedArchiveReader::getCurrentObject() const {
    return _archive._state().getCurrentObject();
}

bool NamedArchiveReader::_isThere(std::string_view name) {
    return _archive._cursor().isThere(name);
}

void NamedArchiveReader::_beginGroup(std::string_view name) {
    _archive._cursor().enterGroup(name);
}

void NamedArchiveReader::_endGroup() {
    _archive._cursor().leaveWhole();
}

std::size_t NamedArchiveReader::_beginSequence(std::string_view name) {
    return _archive._cursor().enterSequence(name);
}

void NamedArchiveReader::_endSequence() {
    _archive._cursor().leaveWhole();
}

}  // namespace KrPersistence
