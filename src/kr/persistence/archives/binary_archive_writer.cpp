#include "kr/persistence/archives/binary_archive_writer.h"

#include "kr/persistence/archives/binary_out_archive.h"
#include "kr/persistence/archives/internal/repeated_texts.h"

namespace KrPersistence {

BinaryArchiveWriter::BinaryArchiveWriter(BinaryOutArchive& archive) : _archive(archive) {}

BinaryArchiveWriter::~BinaryArchiveWriter() = default;

void BinaryArchiveWriter::write(std::string_view /*name*/, bool value) {
    _archive.save(value);
}

void BinaryArchiveWriter::write(std::string_view /*name*/, int value) {
    _archive.save(value);
}

void BinaryArchiveWriter::write(std::string_view /*name*/, unsigned int value) {
    _archive.save(value);
}

void BinaryArchiveWriter::write(std::string_view /*name*/, long long value) {
    _archive.save(value);
}

void BinaryArchiveWriter::write(std::string_view /*name*/, unsigned long long value) {
    _archive.save(value);
}

void BinaryArchiveWriter::write(std::string_view /*name*/, float value) {
    _archive.save(value);
}

void BinaryArchiveWriter::write(std::string_view /*name*/, double value) {
    _archive.save(value);
}

void BinaryArchiveWriter::write(std::string_view /*name*/, std::string_view text) {
    _writeText(text);
}

void BinaryArchiveWriter::writeRepeated(std::string_view /*name*/, std::string_view text) {
    if (!_repeated) _repeated = std::make_unique<detail::RepeatedTexts>();
    // The next number announces a text that follows.
    const auto [number, isNew] = _repeated->add(text);
    _archive.save(number);
    if (isNew) _writeText(text);
}

void BinaryArchiveWriter::writeChoice(std::string_view /*name*/, int number, std::string_view /*text*/) {
    _archive.save(number);
}

void BinaryArchiveWriter::writeBytes(std::string_view /*name*/, std::string_view bytes) {
    _writeText(bytes);
}

void BinaryArchiveWriter::writeTuple(std::string_view /*name*/, std::span<const double> components) {
    _writeNumbers(components);
}

void BinaryArchiveWriter::writeTuple(std::string_view /*name*/, std::span<const float> components) {
    _writeNumbers(components);
}

void BinaryArchiveWriter::writeBlock(std::string_view /*name*/, std::span<const double> numbers) {
    _writeLength(numbers.size());
    _writeNumbers(numbers);
}

void BinaryArchiveWriter::writeBlock(std::string_view /*name*/, std::span<const float> numbers) {
    _writeLength(numbers.size());
    _writeNumbers(numbers);
}

void BinaryArchiveWriter::writeBlock(std::string_view /*name*/, std::span<const int> numbers) {
    _writeLength(numbers.size());
    _writeNumbers(numbers);
}

const std::string& BinaryArchiveWriter::getArchiveName() const {
    return _archive.getArchiveName();
}

void BinaryArchiveWriter::pushObject(Kr::KrBase* object) {
    _archive.pushObject(object);
}

void BinaryArchiveWriter::popObject() noexcept {
    _archive.popObject();
}

Kr::KrBase* BinaryArchiveWriter::getCurrentObject() const {
    return _archive.getCurrentObject();
}

void BinaryArchiveWriter::_mark(std::string_view /*name*/, bool isThere) {
    _archive.save(isThere);
}

void BinaryArchiveWriter::_beginGroup(std::string_view /*name*/) {}

void BinaryArchiveWriter::_endGroup() {}

void BinaryArchiveWriter::_beginSequence(std::string_view /*name*/, std::size_t count) {
    _writeLength(count);
}

void BinaryArchiveWriter::_endSequence() {}

void BinaryArchiveWriter::_writeLength(std::size_t length) {
    _archive.save(boost::serialization::collection_size_type(length));
}

void BinaryArchiveWriter::_writeText(std::string_view text) {
    _writeLength(text.size());
    _archive.save_binary(text.data(), text.size());
}

template <class Number>
void BinaryArchiveWriter::_writeNumbers(std::span<const Number> numbers) {
    _archive.save_array(boost::serialization::make_array(numbers.data(), numbers.size()), 0);
}

}  // namespace KrPersistence
