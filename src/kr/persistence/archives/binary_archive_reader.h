#pragma once

#include <cstdint>
#include <memory_resource>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kr/persistence/archives/archive_reader.h"

namespace KrPersistence {

class BinaryInArchive;

/// Reads the values of a BinaryArchiveWriter.
/// Thread: one at a time. Ownership: the archive is borrowed.
class KR_API BinaryArchiveReader final : public ArchiveReader {
public:
    explicit BinaryArchiveReader(BinaryInArchive& archive);
    ~BinaryArchiveReader() override;

    [[noreturn]] void fail(const std::string& text) const override;

private:
    void _readScalar(std::string_view name, const Scalar& value) override;
    void _readText(std::string_view name, std::string& text) override;
    [[nodiscard]] std::string_view _readRepeated(std::string_view name) override;
    [[nodiscard]] int _readChoice(std::string_view name, const ChoiceParser& parse, const ChoiceList& choices) override;
    void _readBytes(std::string_view name, std::string& bytes) override;
    void _readTuple(std::string_view name, const Tuple& components) override;
    void _readBlock(std::string_view name, const Block& numbers) override;
    [[nodiscard]] bool _isThere(std::string_view name) override;
    [[nodiscard]] std::size_t _begin(std::string_view name, eNesting kind) override;
    void _end(eNesting kind) override;

    template <class Number>
    void _loadNumbers(std::span<Number> numbers);

    BinaryInArchive& _archive;
    std::pmr::monotonic_buffer_resource _texts;  // of the views
    std::vector<std::string_view> _repeated;     // by number
    std::string _newText;                        // buffer for reading
    std::uint64_t _repeatedBytes{0};             // of long texts, returned again
};

}  // namespace KrPersistence
