#pragma once

#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence {

class NamedOutput;

/// Writes named values into an XML or JSON archive; forms: docs/xml-and-json.md.
/// Thread: one at a time. Ownership: the archive is borrowed.
class KR_API NamedArchiveWriter final : public ArchiveWriter {
public:
    explicit NamedArchiveWriter(NamedOutput& archive);
    ~NamedArchiveWriter() override;

private:
    void _writeScalar(std::string_view name, const Scalar& value) override;
    void _writeText(std::string_view name, std::string_view text, bool isRepeated) override;
    void _writeChoice(std::string_view name, int number, std::string_view text) override;
    void _writeBytes(std::string_view name, std::string_view bytes) override;
    void _writeTuple(std::string_view name, const Numbers& components) override;
    void _writeBlock(std::string_view name, const Numbers& numbers) override;
    void _mark(std::string_view name, bool isThere) override;
    void _begin(std::string_view name, eNesting kind, std::size_t count) override;
    void _end(eNesting kind) override;

    NamedOutput& _archive;
};

}  // namespace KrPersistence
