#include "kr/persistence/archives/named_archive_writer.h"

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/internal/document_writer.h"
#include "kr/persistence/archives/named_output.h"

namespace KrPersistence {

NamedArchiveWriter::NamedArchiveWriter(NamedOutput& archive) : ArchiveWriter(archive._state()), _archive(archive) {}

NamedArchiveWriter::~NamedArchiveWriter() = default;

void NamedArchiveWriter::_writeScalar(std::string_view name, const Scalar& value) {
    std::visit([&](auto scalar) { _archive._document().scalar(name, scalar); }, value);
}

void NamedArchiveWriter::_writeText(std::string_view name, std::string_view text, bool /*isRepeated*/) {
    _archive._document().text(name, text);
}

void NamedArchiveWriter::_writeChoice(std::string_view name, int number, std::string_view text) {
    if (text.empty()) {
        write(name, number);
    } else {
        write(name, text);
    }
}

void NamedArchiveWriter::_writeBytes(std::string_view name, std::string_view bytes) {
    _archive._document().bytes(name, bytes);
}

void NamedArchiveWriter::_writeTuple(std::string_view name, const Numbers& components) {
    std::visit([&](auto span) { _archive._document().tuple(name, span); }, components);
}

void NamedArchiveWriter::_writeBlock(std::string_view name, const Numbers& numbers) {
    std::visit([&](auto span) { _archive._document().block(name, span); }, numbers);
}

void NamedArchiveWriter::_mark(std::string_view /*name*/, bool /*isThere*/) {}

void NamedArchiveWriter::_begin(std::string_view name, eNesting kind, std::size_t /*count*/) {
    auto& document = _archive._document();
    if (kind == eNesting::kGroup) {
        document.beginGroup(name);
    } else {
        document.beginSequence(name);
    }
}

void NamedArchiveWriter::_end(eNesting kind) {
    auto& document = _archive._document();
    if (kind == eNesting::kGroup) {
        document.endGroup();
    } else {
        document.endSequence();
    }
}

}  // namespace KrPersistence
