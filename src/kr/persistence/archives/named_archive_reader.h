#pragma once

#include <deque>

#include "kr/persistence/archives/archive_reader.h"

namespace KrPersistence {

class NamedInput;

/// Reads what a NamedArchiveWriter wrote.
class KR_API NamedArchiveReader final : public ArchiveReader {
public:
    explicit NamedArchiveReader(NamedInput& archive);
    ~NamedArchiveReader() override;

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

    void setKnownNames(std::span<const std::string> names) override;
    [[nodiscard]] std::size_t getLine() const override;
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

    NamedInput& _archive;
    std::deque<std::string> _repeated;  // texts that do not stand in the document as they are; views stay good
};

}  // namespace KrPersistence
