#include "kr/persistence/setups/content_list_section.h"

#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/persistence/files/export_file_section.h"
#include "kr/persistence/files/serialize_filename.h"

namespace KrPersistence {

KrContentListSection::KrContentListSection() = default;

KrContentListSection::~KrContentListSection() = default;

void KrContentListSection::_write(ArchiveWriter& writer) const {
    writer.sequence("Files", _files.size(),
                    [&](std::size_t index) { serializeFilename(writer, _files[index], "File"); });
}

void KrContentListSection::_read(ArchiveReader& reader, unsigned int /*version*/) {
    reader.sequence("Files", [&](std::size_t) {
        std::string file;
        serializeFilename(reader, file, "File");
        _files.push_back(std::move(file));
    });
}

}  // namespace KrPersistence

KR_FILE_SECTION(KrPersistence::KrContentListSection, "KrContentListSection", 0)
KR_FILE_SECTION_IMPLEMENT(KrPersistence::KrContentListSection)
