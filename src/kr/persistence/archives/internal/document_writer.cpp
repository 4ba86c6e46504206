#include "kr/persistence/archives/internal/document_writer.h"

#include <algorithm>
#include <functional>
#include <ostream>

#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/archives/internal/text_codec.h"

namespace KrPersistence::detail {

DocumentWriter::DocumentWriter(std::ostream& stream, const char* archiveKind)
    : _stream(stream), _archiveKind(archiveKind) {}

DocumentWriter::~DocumentWriter() = default;

void DocumentWriter::beginGroup(std::string_view name) {
    _enter(name, false);
    _beginGroup(name);
    ++_nesting;
}

void DocumentWriter::endGroup() {
    _leave();
    _endGroup();
    _afterValue();
}

void DocumentWriter::beginSequence(std::string_view name) {
    _enter(name, true);
    _beginSequence(name);
    ++_nesting;
}

void DocumentWriter::endSequence() {
    _leave();
    _endSequence();
    _afterValue();
}

void DocumentWriter::text(std::string_view name, std::string_view text) {
    _requireRoom(name);
    _text(name, text);
    _afterValue();
}

void DocumentWriter::literal(std::string_view name, std::string_view text) {
    _requireRoom(name);
    _literal(name, text);
    _afterValue();
}

void DocumentWriter::number(std::string_view name, const NumberText& number) {
    if (number.isFinite()) {
        literal(name, number.text());
    } else {
        text(name, number.text());
    }
}

void DocumentWriter::bytes(std::string_view name, std::string_view bytes) {
    _requireRoom(name);
    _bytes(name, toBase64(bytes));
    _afterValue();
}

void DocumentWriter::_refuse(const std::string& text) const {
    throw ArchiveError(ArchiveError::other_exception, std::string(_archiveKind) + ": " + text);
}

void DocumentWriter::_enter(std::string_view name, bool isSequence) {
    _requireRoom(name);
    _openLevels.push_back({.isSequence = isSequence, .first = _names.size()});
}

void DocumentWriter::_leave() {
    --_nesting;
    _names.resize(_openLevels.back().first);
    _openLevels.pop_back();
}

void DocumentWriter::_requireRoom(std::string_view name) {
    if (_isComplete) _refuse("the document has its top element already; write all into one group");
    if (!_openLevels.empty() && !_openLevels.back().isSequence) _claimName(name);
}

void DocumentWriter::_claimName(std::string_view name) {
    constexpr std::ptrdiff_t kFew = 64;
    Level& level = _openLevels.back();
    const std::size_t hash = std::hash<std::string_view>()(name);
    const std::uint64_t bit = std::uint64_t{1} << (hash % 64);
    const auto first = _names.begin() + static_cast<std::ptrdiff_t>(level.first);
    if (!level.many && _names.end() - first >= kFew)
        level.many = std::make_unique<std::unordered_set<std::size_t>>(first, _names.end());
    const bool isKnown = level.many ? !level.many->insert(hash).second
                                    : (level.seen & bit) != 0 && std::find(first, _names.end(), hash) != _names.end();
    if (isKnown) _refuse("two values of a group have the name '" + std::string(name) + "'; give each its own");
    level.seen |= bit;
    if (!level.many) _names.push_back(hash);
}

void DocumentWriter::_afterValue() {
    if (_nesting == 0) {
        _isComplete = true;
        _finish();
    }
    if (_isComplete || _out.size() >= kPiece) _flush();
}

void DocumentWriter::_flush() {
    const auto size = static_cast<std::streamsize>(_out.size());
    if (_stream.rdbuf()->sputn(_out.data(), size) != size)
        throw ArchiveError(ArchiveError::output_stream_error,
                           std::string(_archiveKind) + ": the stream does not take the bytes; is the disk full?");
    _out.clear();
}

}  // namespace KrPersistence::detail
