#include "kr/persistence/archives/binary_archive_reader.h"

#include <algorithm>

#include "kr/persistence/archives/binary_in_archive.h"
#include "kr/persistence/archives/internal/repeated_texts.h"

namespace KrPersistence {

BinaryArchiveReader::BinaryArchiveReader(BinaryInArchive& archive) : ArchiveReader(archive), _archive(archive) {}

BinaryArchiveReader::~BinaryArchiveReader() = default;

void BinaryArchiveReader::fail(const std::string& text) const {
    _archive.refuse(text);
}

void BinaryArchiveReader::_readScalar(std::string_view /*name*/, const Scalar& value) {
    std::visit([this](auto* number) { _archive.load(*number); }, value);
}

void BinaryArchiveReader::_readText(std::string_view /*name*/, std::string& text) {
    _archive.load(text);
}

std::string_view BinaryArchiveReader::_readRepeated(std::string_view name) {
    int number = 0;
    _archive.load(number);
    const auto at = static_cast<std::size_t>(number);  // a negative one is beyond all others
    if (at > _repeated.size()) fail("number " + std::to_string(number) + " of a repeated text that has not come yet");
    if (at == _repeated.size()) {
        _readText(name, _newText);
        auto* const kept = static_cast<char*>(_texts.allocate(_newText.size() + 1, 1));
        std::copy(_newText.begin(), _newText.end(), kept);
        _repeated.emplace_back(kept, _newText.size());
    } else if (const std::size_t size = _repeated[at].size(); size > detail::kShortText) {
        // Who reads a text keeps it or works on it, each time.
        _repeatedBytes += size;
        if (_repeatedBytes > detail::kFreeRepeatedBytes + detail::kRepeatedBytesEach * _archive.getMostBytes())
            fail("a text of " + std::to_string(size) + " bytes that is repeated out of all proportion");
    }
    return _repeated[at];
}

int BinaryArchiveReader::_readChoice(std::string_view /*name*/, const ChoiceParser& /*parse*/,
                                     const ChoiceList& /*choices*/) {
    int number = 0;
    _archive.load(number);
    return number;
}

void BinaryArchiveReader::_readBytes(std::string_view name, std::string& bytes) {
    _readText(name, bytes);
}

void BinaryArchiveReader::_readTuple(std::string_view /*name*/, const Tuple& components) {
    std::visit([this](auto span) { _loadNumbers(span); }, components);
}

void BinaryArchiveReader::_readBlock(std::string_view /*name*/, const Block& numbers) {
    std::visit(
        [this](auto* items) {
            items->resize(_archive.loadBlockSize(sizeof items->front()));
            _loadNumbers(std::span(*items));
        },
        numbers);
}

bool BinaryArchiveReader::_isThere(std::string_view /*name*/) {
    bool isThere = false;
    _archive.load(isThere);
    return isThere;
}

std::size_t BinaryArchiveReader::_begin(std::string_view /*name*/, eNesting kind) {
    return kind == eNesting::kSequence ? _archive.loadBlockSize(1) : 0;
}

void BinaryArchiveReader::_end(eNesting /*kind*/) {}

template <class Number>
void BinaryArchiveReader::_loadNumbers(std::span<Number> numbers) {
    auto array = boost::serialization::make_array(numbers.data(), numbers.size());
    _archive.load_array(array, 0);
}

}  // namespace KrPersistence
