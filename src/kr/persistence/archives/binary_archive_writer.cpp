#include "kr/persistence/archives/binary_archive_writer.h"

#include "kr/persistence/archives/binary_out_archive.h"
#include "kr/persistence/archives/internal/repeated_texts.h"

namespace KrPersistence {

BinaryArchiveWriter::BinaryArchiveWriter(BinaryOutArchive& archive) : ArchiveWriter(archive), _archive(archive) {}

BinaryArchiveWriter::~BinaryArchiveWriter() = default;

void BinaryArchiveWriter::_writeScalar(std::string_view /*name*/, const Scalar& value) {
    std::visit([this](auto number) { _archive.save(number); }, value);
}

void BinaryArchiveWriter::_writeText(std::string_view /*name*/, std::string_view text, bool isRepeated) {
    if (!isRepeated) return _saveText(text);
    if (!_repeated) _repeated = std::make_unique<detail::RepeatedTexts>();
    // The next number announces a text that follows.
    const auto [number, isNew] = _repeated->add(text);
    _archive.save(number);
    if (isNew) _saveText(text);
}

void BinaryArchiveWriter::_writeChoice(std::string_view /*name*/, int number, std::string_view /*text*/) {
    _archive.save(number);
}

void BinaryArchiveWriter::_writeBytes(std::string_view /*name*/, std::string_view bytes) {
    _saveText(bytes);
}

void BinaryArchiveWriter::_writeTuple(std::string_view /*name*/, const Numbers& components) {
    std::visit(
        [this](auto span) { _archive.save_array(boost::serialization::make_array(span.data(), span.size()), 0); },
        components);
}

void BinaryArchiveWriter::_writeBlock(std::string_view name, const Numbers& numbers) {
    _saveLength(std::visit([](auto span) { return span.size(); }, numbers));
    _writeTuple(name, numbers);
}

void BinaryArchiveWriter::_mark(std::string_view /*name*/, bool isThere) {
    _archive.save(isThere);
}

void BinaryArchiveWriter::_begin(std::string_view /*name*/, eNesting kind, std::size_t count) {
    if (kind == eNesting::kSequence) _saveLength(count);
}

void BinaryArchiveWriter::_end(eNesting /*kind*/) {}

void BinaryArchiveWriter::_saveLength(std::size_t length) {
    _archive.save(boost::serialization::collection_size_type(length));
}

void BinaryArchiveWriter::_saveText(std::string_view text) {
    _saveLength(text.size());
    _archive.save_binary(text.data(), text.size());
}

}  // namespace KrPersistence
