#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence {

class BinaryOutArchive;
namespace detail {
class RepeatedTexts;
}  // namespace detail

/// Writes named values into a binary archive: the values in their order, without their names.
class KR_API BinaryArchiveWriter final : public ArchiveWriter {
public:
    explicit BinaryArchiveWriter(BinaryOutArchive& archive);
    ~BinaryArchiveWriter() override;

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

    void _writeLength(std::size_t length);
    void _writeText(std::string_view text);
    template <class Number>
    void _writeNumbers(std::span<const Number> numbers);

    BinaryOutArchive& _archive;
    std::unique_ptr<detail::RepeatedTexts> _repeated;  // null until there is one
};

}  // namespace KrPersistence
