#pragma once

#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence {

class NamedOutput;

/// Writes named values into an XML or JSON archive; docs/xml-and-json.md has its forms.
class KR_API NamedArchiveWriter final : public ArchiveWriter {
public:
    explicit NamedArchiveWriter(NamedOutput& archive);
    ~NamedArchiveWriter() override;

    using ArchiveWriter::write;  // else a literal text is taken for a bool
    void write(std::string_view name, bool value) override;
    void write(std::string_view name, int value) override;
    void write(std::string_view name, unsigned int value) override;
    void write(std::string_view name, long long value) override;
    void write(std::string_view name, unsigned long long value) override;
    void write(std::string_view name, float value) override;
    void write(std::string_view name, double value) override;
    void write(std::string_view name, std::string_view text) override;
    void writeRepeated(std::string_view name, std::string_view text) override;
    void writeChoice(std::string_view name, int number, std::string_view text) override;
    void writeBytes(std::string_view name, std::string_view bytes) override;
    void writeTuple(std::string_view name, std::span<const double> components) override;
    void writeTuple(std::string_view name, std::span<const float> components) override;
    void writeBlock(std::string_view name, std::span<const double> numbers) override;
    void writeBlock(std::string_view name, std::span<const float> numbers) override;
    void writeBlock(std::string_view name, std::span<const int> numbers) override;

    [[nodiscard]] const std::string& getArchiveName() const override;
    void pushObject(Kr::KrBase* object) override;
    void popObject() noexcept override;
    [[nodiscard]] Kr::KrBase* getCurrentObject() const override;

private:
    void _mark(std::string_view name, bool isThere) override;
    void _beginGroup(std::string_view name) override;
    void _endGroup() override;
    void _beginSequence(std::string_view name, std::size_t count) override;
    void _endSequence() override;

    NamedOutput& _archive;
};

}  // namespace KrPersistence
