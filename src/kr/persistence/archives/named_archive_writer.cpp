#include "kr/persistence/archives/named_archive_writer.h"

#include "kr/persistence/archives/internal/document_writer.h"
#include "kr/persistence/archives/named_output.h"

namespace KrPersistence {

using detail::NumberText;

NamedArchiveWriter::NamedArchiveWriter(NamedOutput& archive) : _archive(archive) {}

NamedArchiveWriter::~NamedArchiveWriter() = default;

void NamedArchiveWriter::write(std::string_view name, bool value) {
    _archive._document().literal(name, value ? "true" : "false");
}

void NamedArchiveWriter::write(std::string_view name, int value) {
    _archive._document().number(name, NumberText(value));
}

void NamedArchiveWriter::write(std::string_view name, unsigned int value) {
    _archive._document().number(name, NumberText(value));
}

void NamedArchiveWriter::write(std::string_view name, long long value) {
    _archive._document().number(name, NumberText(value));
}

void NamedArchiveWriter::write(std::string_view name, unsigned long long value) {
    _archive._document().number(name, NumberText(value));
}

void NamedArchiveWriter::write(std::string_view name, float value) {
    _archive._document().number(name, NumberText(value));
}

void NamedArchiveWriter::write(std::string_view name, double value) {
    _archive._document().number(name, NumberText(value));
}

void NamedArchiveWriter::write(std::string_view name, std::string_view text) {
    _archive._document().text(name, text);
}

void NamedArchiveWriter::writeRepeated(std::string_view name, std::string_view text) {
    write(name, text);
}

void NamedArchiveWriter::writeChoice(std::string_view name, int number, std::string_view text) {
    if (text.empty()) {
        write(name, number);
    } else {
        write(name, text);
    }
}

void NamedArchiveWriter::writeBytes(std::string_view name, std::string_view bytes) {
    _archive._document().bytes(name, bytes);
}

void NamedArchiveWriter::writeTuple(std::string_view name, std::span<const double> components) {
    _archive._document().tuple(name, components);
}

void NamedArchiveWriter::writeTuple(std::string_view name, std::span<const float> components) {
    _archive._document().tuple(name, components);
}

void NamedArchiveWriter::writeBlock(std::string_view name, std::span<const double> numbers) {
    _archive._document().block(name, numbers);
}

void NamedArchiveWriter::writeBlock(std::string_view name, std::span<const float> numbers) {
    _archive._document().block(name, numbers);
}

void NamedArchiveWriter::writeBlock(std::string_view name, std::span<const int> numbers) {
    _archive._document().block(name, numbers);
}

const std::string& NamedArchiveWriter::getArchiveName() const {
    return _archive._state().getArchiveName();
}

void NamedArchiveWriter::pushObject(Kr::KrBase* object) {
    _archive._state().pushObject(object);
}

void NamedArchiveWriter::popObject() noexcept {
    _archive._state().popObject();
}

Kr::KrBase* NamedArchiveWriter::getCurrentObject() const {
    return _archive._state().getCurrentObject();
}

void NamedArchiveWriter::_mark(std::string_view /*name*/, bool /*isThere*/) {}

void NamedArchiveWriter::_beginGroup(std::string_view name) {
    _archive._document().beginGroup(name);
}

void NamedArchiveWriter::_endGroup() {
    _archive._document().endGroup();
}

void NamedArchiveWriter::_beginSequence(std::string_view name, std::size_t /*count*/) {
    _archive._document().beginSequence(name);
}

void NamedArchiveWriter::_endSequence() {
    _archive._document().endSequence();
}

}  // namespace KrPersistence
