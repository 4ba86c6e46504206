#pragma once

#include "kr/persistence/files/file_section.h"

namespace KrPersistence {

/// A section that writes its content as named values, by one text for archives of every kind.
///
///     class Notes final : public KrPersistence::NamedFileSection {
///     public:
///         void _write(KrPersistence::ArchiveWriter& writer) const override { writer.write("Text", text); }
///         void _read(KrPersistence::ArchiveReader& reader, unsigned int) override { reader.read("Text", text); }
///         std::string text;
///     };
///
/// The source of the class then includes "kr/persistence/files/export_file_section.h" and says, at global scope,
///
///     KR_FILE_SECTION(Notes, "Notes", 0)
///     KR_FILE_SECTION_IMPLEMENT(Notes)
///
/// The class needs a default constructor. The name of the section is written by the file.
class KR_API NamedFileSection : public KrFileSection {
    KR_BASE_CLASS(NamedFileSection, KrFileSection)

public:
    ~NamedFileSection() override;

    virtual void _write(ArchiveWriter& writer) const = 0;
    /// Into a new section, whose owner is set.
    /// \param version  what KR_FILE_SECTION said when the section was written. Newer ones than the class has do not
    /// come.
    virtual void _read(ArchiveReader& reader, unsigned int version) = 0;

protected:
    NamedFileSection();
};

}  // namespace KrPersistence
