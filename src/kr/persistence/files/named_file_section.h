#pragma once

#include "kr/persistence/files/file_section.h"

namespace KrPersistence {

/// A section that writes its content as named values, with one function for archives of every kind.
///
///     class Notes final : public KrPersistence::NamedFileSection {
///     public:
///         std::string text;
///
///     private:
///         void _write(KrPersistence::ArchiveWriter& writer) const override { writer.write("Text", text); }
///         void _read(KrPersistence::ArchiveReader& reader, unsigned int) override { reader.read("Text", text); }
///     };
///
/// The source of the class then includes "kr/persistence/files/export_file_section.h" and contains, at global scope,
///
///     KR_FILE_SECTION(Notes, "Notes", 0)
///     KR_FILE_SECTION_IMPLEMENT(Notes)
///
/// The class needs a default constructor. The name of the section is written by the file.
/// Thread: that of the file. Ownership: owned by the file.
class KR_API NamedFileSection : public KrFileSection {
    KR_BASE_CLASS(NamedFileSection, KrFileSection)

public:
    ~NamedFileSection() override;

    void write(ArchiveWriter& writer) const { _write(writer); }
    void read(ArchiveReader& reader, unsigned int version) { _read(reader, version); }

protected:
    NamedFileSection() = default;

    /// Writes the content; what it throws fails the save.
    virtual void _write(ArchiveWriter& writer) const = 0;
    /// Reads into a new section, whose owner is set.
    /// \param version  the version in KR_FILE_SECTION when the section was written; newer ones than that of the class
    ///                 are refused before.
    virtual void _read(ArchiveReader& reader, unsigned int version) = 0;
};

}  // namespace KrPersistence
