#include "kr/persistence/objects/object_section.h"

#include <exception>
#include <string>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/files/export_file_section.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/objects/file_identity.h"
#include "kr/persistence/objects/internal/content_builder.h"
#include "kr/persistence/objects/internal/content_reader.h"
#include "kr/persistence/objects/internal/content_writer.h"

KR_FILE_SECTION(KrPersistence::KrObjectSection, "KrObjectSection", 4)
KR_FILE_SECTION_IMPLEMENT(KrPersistence::KrObjectSection)

namespace KrPersistence {

namespace {

/// The steps of loading; each is done for all sections of a file before the next one.
enum Step : int { kBuild = 100, kFollowDefinitions = 200, kConnect = 300, kResolve = 400 };

}  // namespace

KrObjectSection::KrObjectSection() = default;
KrObjectSection::~KrObjectSection() = default;

void KrObjectSection::addObject(KrSim::KrExtension* object) {
    if (_known.size() != _objects.size()) {  // they were loaded
        for (const auto& each : _objects)
            _known.insert(each.get());
    }
    if (object != nullptr && _known.insert(object).second) _objects.emplace_back(object);
}

bool KrObjectSection::removeObject(const KrSim::KrExtension* object) {
    _known.erase(object);
    return std::erase_if(_objects, [&](const auto& each) { return each.get() == object; }) != 0;
}

std::size_t KrObjectSection::getLoadedExtensionCount() const noexcept {
    return _builder ? _builder->getExtensionCount() : 0;
}

std::size_t KrObjectSection::getLoadedConnectionCount() const noexcept {
    return _builder ? _builder->getConnectionCount() : 0;
}

std::vector<std::string> KrObjectSection::getProblems() const {
    return _builder ? _builder->getProblems() : std::vector<std::string>();
}

void KrObjectSection::prepareBeforeSaving(KrFile* file, int flags) {
    _isSelfContained = (flags & KrFile::kSelfContained) != 0;
    NamedFileSection::prepareBeforeSaving(file, flags);
}

void KrObjectSection::declareReferencableObjects(KrFile* file) {
    for (const auto& object : _objects)
        file->registerReferencableObject(object.get());
}

void KrObjectSection::_onLoaded() noexcept {
    if (_builder) _builder->keep();
}

std::function<void(std::size_t, std::size_t)> KrObjectSection::_makeProgress() const {
    return [this](std::size_t done, std::size_t total) {
        if (done % 100 == 0 || done == total) _reportProgress(done, total);
    };
}

void KrObjectSection::_write(ArchiveWriter& writer) const {
    detail::ContentWriter(writer, _isSelfContained, _makeProgress()).write(_objects);
}

void KrObjectSection::_read(ArchiveReader& reader, unsigned int version) {
    auto* file = getOwner();
    if (file == nullptr) reader.fail("a section of objects without a file");
    _objects.clear();
    _known.clear();
    const auto& path = reader.getArchiveName();
    const auto name = chooseFilePart(path, file->getReferringFile());
    detail::ContentRecords content;
    try {
        detail::readContent(reader, version, name, content);
    } catch (const std::exception& exception) {
        const auto count = std::to_string(content.extensionCount) + " extensions and " +
                           std::to_string(content.connections.size()) + " connections";
        if (!_endsHere("of the content, " + count + " could be read: " + exception.what())) throw;
    }
    _builder =
        std::make_unique<detail::ContentBuilder>(std::move(content), detail::SourceFile{path, name}, _makeProgress());
    file->addCallback(kBuild, [this] {
        _builder->build();
        for (const auto& each : _builder->getFindings())
            _addFinding(each);
        _objects = _builder->getRoots();
    });
    file->addCallback(kFollowDefinitions, [this] { _builder->followDefinitions(); });
    file->addCallback(kConnect, [this] { _builder->connect(); });
    file->addCallback(kResolve, [this] {
        _builder->resolve();
        _builder->release();
    });
}

}  // namespace KrPersistence
