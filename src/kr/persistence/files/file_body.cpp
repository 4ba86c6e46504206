// What lies behind the tag; the only source of files that meets the archives.

#include <boost/serialization/access.hpp>
#include <boost/serialization/base_object.hpp>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "kr/persistence/archives/archive_sequence.h"
#include "kr/persistence/files/export_file_section.h"
#include "kr/persistence/files/magic_tag.h"

BOOST_CLASS_TRACKING(KrPersistence::KrFile, boost::serialization::track_always)

namespace KrPersistence {

namespace {

template <class Archive>
void saveSections(Archive& archive, const std::vector<KrFileSection*>& sections) {
    saveSequence(archive, "Sections", sections.size(),
                 [&](std::size_t index) { archive << boost::serialization::make_nvp("Section", sections[index]); });
}

template <class Archive>
void loadSections(Archive& archive, std::vector<KrFileSection*>& sections, const bool& isCut) {
    loadSequence(archive, "Sections", [&](std::size_t index) {
        KrFileSection* section = nullptr;
        archive >> boost::serialization::make_nvp("Section", section);
        if (section == nullptr) {
            throw ArchiveError(boost::archive::archive_exception::input_stream_error,
                               "section " + std::to_string(index) + " is not there");
        }
        sections.push_back(section);  // before the archive gives up its ownership
        try {
            archive.adopt(section);
        } catch (...) {
            sections.pop_back();
            throw;
        }
        if (isCut) throw std::runtime_error("the rest of the file after this section cannot be read");
    });
    archive.requireOwned();
}

}  // namespace

template <class Archive>
void KrFile::serialize(Archive& archive, unsigned int /*version*/) {
    namespace bs = boost::serialization;
    const ArchiveObjectScope scope(archive, static_cast<Kr::KrBase*>(this));
    archive& bs::make_nvp("Description", _description);
    archive& bs::make_nvp("OrreryInformation", _producerInformation);
    archive& bs::make_nvp("Kr::KrBase", bs::base_object<Kr::KrBase>(*this));
    if constexpr (Archive::is_loading::value) {
        try {
            loadSections(archive, _sections, _isCut);
        } catch (const std::exception& exception) {
            // Without any section there is nothing to recover.
            if (_sections.empty() || (!_isCut && !_endsHere(std::string("reading ends early: ") + exception.what()))) {
                _result.place.path = "Sections[" + std::to_string(_sections.size()) + "]";
                throw;
            }
        }
        for (KrFileSection* section : _sections)
            section->setOwner(this);
    } else {
        saveSections(archive, _sections);
    }
    processCallbacks();
    if constexpr (Archive::is_loading::value) _postLoad();
}

void KrFile::_postLoad() {
    std::vector<std::unique_ptr<KrFileSection>> loaded;
    loaded.reserve(_sections.size());
    for (KrFileSection* section : _sections)
        loaded.emplace_back(section);
    _sections.clear();  // keeps its memory, so that adding does not throw between two owners
    for (auto& each : loaded) {
        KrFileSection* section = each.release();
        _sections.push_back(section);
        section->postLoad(this);
        section->declareReferencableObjects(this);
    }
}

static_assert(static_cast<std::uint32_t>(KrFile::kRecover) == KrArchive::kRecover, "the archive gets the flags");

template <class Archive>
void KrFile::_readBodyFrom(std::istream& stream, const std::string& archiveName, std::uint32_t flags) {
    Archive archive(stream, flags);
    archive.setArchiveName(archiveName);
    if (_sizeLimit != kNoSizeLimit) archive.setSizeLimit(_sizeLimit);
    try {
        archive >> boost::serialization::make_nvp("File", *this);
        if (_isCut) archive.delete_created_pointers();
        auto& found = archive.getFindings();
        _findings.insert(_findings.begin(), std::make_move_iterator(found.begin()),
                         std::make_move_iterator(found.end()));
        if constexpr (std::is_base_of_v<NamedInput, Archive>) {
            if (const auto reason = archive.getBreakReason(); !reason.empty()) _doubt(reason);
        }
    } catch (...) {
        archive.delete_created_pointers();
        throw;
    }
}

template <class Archive>
void KrFile::_writeBodyTo(std::ostream& stream, const std::string& archiveName, std::uint32_t flags) const {
    Archive archive(stream, flags);
    archive.setArchiveName(archiveName);
    archive << boost::serialization::make_nvp("File", *this);
}

bool KrFile::_readBody(std::istream& stream, const KrMagicTag& tag, const std::string& archiveName, int flags) {
    const auto archiveFlags = static_cast<std::uint32_t>(flags);
    switch (tag.getFileFormat()) {
        case KrMagicTag::eFileFormat::kBinary:
            _readBodyFrom<BinaryInArchive>(stream, archiveName, archiveFlags);
            return true;
        case KrMagicTag::eFileFormat::kXml:
            _readBodyFrom<XmlInArchive>(stream, archiveName, archiveFlags);
            return true;
        case KrMagicTag::eFileFormat::kJson:
            _readBodyFrom<JsonInArchive>(stream, archiveName, archiveFlags);
            return true;
        default:
            return false;
    }
}

void KrFile::_writeBody(std::ostream& stream, const KrMagicTag& tag, const std::string& archiveName, int flags) const {
    const auto archiveFlags = static_cast<std::uint32_t>(flags);
    switch (tag.getFileFormat()) {
        case KrMagicTag::eFileFormat::kXml:
            _writeBodyTo<XmlOutArchive>(stream, archiveName, archiveFlags);
            return;
        case KrMagicTag::eFileFormat::kJson:
            _writeBodyTo<JsonOutArchive>(stream, archiveName, archiveFlags);
            return;
        default:
            _writeBodyTo<BinaryOutArchive>(stream, archiveName, archiveFlags);
            return;
    }
}

}  // namespace KrPersistence
