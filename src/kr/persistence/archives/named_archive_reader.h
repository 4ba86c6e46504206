#pragma once

#include <deque>

#include "kr/persistence/archives/archive_reader.h"

namespace KrPersistence {

class NamedInput;

/// Reads the values of a NamedArchiveWriter.
/// Thread: one at a time. Ownership: the archive is borrowed.
class KR_API NamedArchiveReader final : public ArchiveReader {
public:
    explicit NamedArchiveReader(NamedInput& archive);
    ~NamedArchiveReader() override;

    void setKnownNames(std::span<const std::string> names) override;
    [[nodiscard]] std::size_t getLine() const override;
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

    NamedInput& _archive;
    std::deque<std::string> _repeated;  // texts that differ from their form in the document; views stay valid
};

}  // namespace KrPersistence
