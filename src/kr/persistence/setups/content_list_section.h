#pragma once

#include <string>
#include <vector>

#include "kr/persistence/files/named_file_section.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// The section of a setup file that lists the object files of the setup, in the order of loading. Paths are stored
/// relative to the file and absolute after loading.
/// Thread: that of the file. Ownership: value.
class KR_API KrContentListSection final : public NamedFileSection {
    KR_BASE_CLASS(KrContentListSection, NamedFileSection)

public:
    KrContentListSection();
    ~KrContentListSection() override;

    [[nodiscard]] const std::vector<std::string>& getFiles() const noexcept { return _files; }
    void setFiles(std::vector<std::string> files) { _files = std::move(files); }

private:
    void _write(ArchiveWriter& writer) const override;
    void _read(ArchiveReader& reader, unsigned int version) override;

    std::vector<std::string> _files;
};

}  // namespace KrPersistence
