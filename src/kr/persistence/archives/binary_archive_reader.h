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

/// Reads what a BinaryArchiveWriter wrote.
class KR_API BinaryArchiveReader final : public ArchiveReader {
public:
    explicit BinaryArchiveReader(BinaryInArchive& archive);
    ~BinaryArchiveReader() override;

    void read(std::string_view name, bool& value) override;
    void read(std::string_view name, int& value) override;
    void read(std::string_view name, unsigned int& value) override;
    void read(std::string_view name, long long& value) override;
    void read(std::string_view name, unsigned long long& value) override;
    void read(std::string_view name, float& value) override;
    void read(std::string_view name, double& value) override;
    void read(std::string_view name, std::string& text) override;
    [[nodiscard]] std::string_view readRepeated(std::string_view name) override;
    void readBytes(std::string_view name, std::string& bytes) override;
    void readTuple(std::string_view name, std::span<double> components) override;
    void readTuple(std::string_view name, std::span<float> components) override;
    void readBlock(std::string_view name, std::vector<double>& numbers) override;
    void readBlock(std::string_view name, std::vector<float>& numbers) override;
    void readBlock(std::string_view name, std::vector<int>& numbers) override;

    [[noreturn]] void fail(const std::string& text) const override;
    [[nodiscard]] const std::string& getArchiveName() const override;
    void pushObject(Kr::KrBase* object) override;
    void popObject() noexcept override;
    [[nodiscard]] Kr::KrBase* getCurrentObject() const override;

private:
    [[nodiscard]] int _readChoice(std::string_view name, const ChoiceParser& parse, const ChoiceList& choices) override;
    [[nodiscard]] std::vector<Finding>& _getFindings() override;
    [[nodiscard]] bool _isThere(std::string_view name) override;
    void _beginGroup(std::string_view name) override;
    void _endGroup() override;
    [[nodiscard]] std::size_t _beginSequence(std::string_view name) override;
    void _endSequence() override;

    template <class Number>
    void _readNumbers(std::span<Number> numbers);
    template <class Number>
    void _readBlock(std::vector<Number>& numbers);

    BinaryInArchive& _archive;
    std::pmr::monotonic_buffer_resource _texts;  // of the views
    std::vector<std::string_view> _repeated;     // by number
    std::string _newText;                        // to read into
    std::uint64_t _repeatedBytes{0};             // of long texts, handed out again
};

}  // namespace KrPersistence
