#include "kr/persistence/archives/binary_archive_reader.h"

#include <algorithm>

#include "kr/persistence/archives/binary_in_archive.h"
#include "kr/persistence/archives/internal/repeated_texts.h"

namespace KrPersistence {

BinaryArchiveReader::BinaryArchiveReader(BinaryInArchive& archive) : _archive(archive) {}

BinaryArchiveReader::~BinaryArchiveReader() = default;

void BinaryArchiveReader::read(std::string_view /*name*/, bool& value) {
    _archive.load(value);
}

void BinaryArchiveReader::read(std::string_view /*name*/, int& value) {
    _archive.load(value);
}

void BinaryArchiveReader::read(std::string_view /*name*/, unsigned int& value) {
    _archive.load(value);
}

void BinaryArchiveReader::read(std::string_view /*name*/, long long& value) {
    _archive.load(value);
}

void BinaryArchiveReader::read(std::string_view /*name*/, unsigned long long& value) {
    _archive.load(value);
}

void BinaryArchiveReader::read(std::string_view /*name*/, float& value) {
    _archive.load(value);
}

void BinaryArchiveReader::read(std::string_view /*name*/, double& value) {
    _archive.load(value);
}

void BinaryArchiveReader::read(std::string_view /*name*/, std::string& text) {
    _archive.load(text);
}

std::string_view BinaryArchiveReader::readRepeated(std::string_view name) {
    int number = 0;
    _archive.load(number);
    const auto at = static_cast<std::size_t>(number);  // a negative one is beyond all others
    if (at > _repeated.size()) fail("number " + std::to_string(number) + " of a repeated text that has not come yet");
    if (at == _repeated.size()) {
        read(name, _newText);
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

void BinaryArchiveReader::readBytes(std::string_view name, std::string& bytes) {
    read(name, bytes);
}

void BinaryArchiveReader::readTuple(std::string_view /*name*/, std::span<double> components) {
    _readNumbers(components);
}

void BinaryArchiveReader::readTuple(std::string_view /*name*/, std::span<float> components) {
    _readNumbers(components);
}

void BinaryArchiveReader::readBlock(std::string_view /*name*/, std::vector<double>& numbers) {
    _readBlock(numbers);
}

void BinaryArchiveReader::readBlock(std::string_view /*name*/, std::vector<float>& numbers) {
    _readBlock(numbers);
}

void BinaryArchiveReader::readBlock(std::string_view /*name*/, std::vector<int>& numbers) {
    _readBlock(numbers);
}

void BinaryArchiveReader::fail(const std::string& text) const {
    _archive.refuse(text);
}

const std::string& BinaryArchiveReader::getArchiveName() const {
    return _archive.getArchiveName();
}

std::vector<Finding>& BinaryArchiveReader::_getFindings() {
    return _archive.getFindings();
}

void BinaryArchiveReader::pushObject(Kr::KrBase* object) {
    _archive.pushObject(object);
}

void BinaryArchiveReader::popObject() noexcept {
    _archive.popObject();
}

Kr::KrBase* BinaryArchiveReader::getCurrentObject() const {
    return _archive.getCurrentObject();
}

bool BinaryArchiveReader::_isThere(std::string_view /*name*/) {
    bool isThere = false;
    _archive.load(isThere);
    return isThere;
}

void BinaryArchiveReader::_beginGroup(std::string_view /*name*/) {}

void BinaryArchiveReader::_endGroup() {}

std::size_t BinaryArchiveReader::_beginSequence(std::string_view /*name*/) {
    return _archive.loadBlockSize(1);
}

void BinaryArchiveReader::_endSequence() {}

template <class Number>
void BinaryArchiveReader::_readNumbers(std::span<Number> numbers) {
    auto array = boost::serialization::make_array(numbers.data(), numbers.size());
    _archive.load_array(array, 0);
}

template <class Number>
void BinaryArchiveReader::_readBlock(std::vector<Number>& numbers) {
    numbers.resize(_archive.loadBlockSize(sizeof(Number)));
    _readNumbers(std::span(numbers));
}

}  // namespace KrPersistence
