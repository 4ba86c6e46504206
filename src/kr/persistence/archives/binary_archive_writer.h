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
/// Thread: one at a time. Ownership: the archive is borrowed.
class KR_API BinaryArchiveWriter final : public ArchiveWriter {
public:
    explicit BinaryArchiveWriter(BinaryOutArchive& archive);
    ~BinaryArchiveWriter() override;

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

    void _saveLength(std::size_t length);
    void _saveText(std::string_view text);

    BinaryOutArchive& _archive;
    std::unique_ptr<detail::RepeatedTexts> _repeated;  // null until the first repeated text
};

}  // namespace KrPersistence
