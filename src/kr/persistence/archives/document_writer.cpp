#include "kr/persistence/archives/internal/document_writer.h"

#include <ostream>

#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/archives/internal/document.h"
#include "kr/persistence/archives/internal/text_codec.h"

namespace KrPersistence::detail {

DocumentWriter::DocumentWriter(std::ostream& stream, const char* archiveKind)
    : _stream(stream), _archiveKind(archiveKind) {}

DocumentWriter::~DocumentWriter() = default;

void DocumentWriter::beginGroup(std::string_view name) {
    _enter();
    _beginGroup(name);
    ++_nesting;
}

void DocumentWriter::endGroup() {
    --_nesting;
    _endGroup();
    _afterValue();
}

void DocumentWriter::beginSequence(std::string_view name) {
    _enter();
    _beginSequence(name);
    ++_nesting;
}

void DocumentWriter::endSequence() {
    --_nesting;
    _endSequence();
    _afterValue();
}

void DocumentWriter::text(std::string_view name, std::string_view text) {
    _requireRoom();
    _text(name, text);
    _afterValue();
}

void DocumentWriter::literal(std::string_view name, std::string_view text) {
    _requireRoom();
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
    _requireRoom();
    _bytes(name, toBase64(bytes));
    _afterValue();
}

void DocumentWriter::_refuse(const std::string& text) const {
    throw ArchiveError(ArchiveError::other_exception, std::string(_archiveKind) + ": " + text);
}

void DocumentWriter::_enter() {
    _requireRoom();
    if (_nesting >= Document::kDeepestNesting) {
        _refuse("groups and sequences lie more than " + std::to_string(Document::kDeepestNesting) +
                " deep inside one another; write them side by side");
    }
}

void DocumentWriter::_requireRoom() const {
    if (_isComplete) _refuse("the document has its top element already; write all into one group");
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
