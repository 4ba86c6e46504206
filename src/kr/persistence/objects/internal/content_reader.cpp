#include "kr/persistence/objects/internal/content_reader.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "kr/data/stored_path.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/fields/content_id_archive.h"
#include "kr/persistence/fields/field_archive.h"
#include "kr/persistence/files/serialize_filename.h"
#include "kr/persistence/objects/factory_key_archive.h"
#include "kr/persistence/objects/file_identity.h"
#include "kr/persistence/objects/internal/connection_list.h"
#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/own_content.h"

namespace KrPersistence::detail {

namespace {

/// All names allowed in an extension.
const std::vector<std::string>& getMemberNames() {
    static const auto& names = *new std::vector<std::string>{
        "Name",   "IsObject", "IsLost",     "Type", "ContentID",  "DataVersion", "Versions",  "Position", kNameMarks,
        "Inputs", "Outputs",  "Parameters", "Data", "Definition", "Extensions",  "IsOwnOnly", "Part",     "OwnFields"};
    return names;
}

/// Sections of this version and later may have instances that are not complete.
constexpr unsigned int kVersionWithOwnContent = 3;

class Reader {
public:
    Reader(ArchiveReader& reader, unsigned int version, const std::string& file, ContentRecords& content)
        : _reader(reader), _version(version), _toLive(LoadedIdentity(file)), _content(content) {}

    void read() {
        try {
            _readTrees();
            readConnections(_reader, _version, _content.connections);
        } catch (...) {
            _dropUnread(_content.roots);
            throw;
        }
    }

private:
    using Records = std::vector<std::unique_ptr<ExtensionRecord>>;

    /// Only the last one of each level can be cut.
    void _dropUnread(Records& records) {
        for (auto* level = &records; !level->empty(); level = &level->back()->children) {
            if (level->back()->isRead) continue;
            level->pop_back();
            --_content.extensionCount;
            return;
        }
    }

    /// Extensions that are being read, from one object.
    struct Level {
        Records& records;
        std::size_t left;
        KrSim::KrContentID holderID;  // in the file, where parts are placed below it
    };

    void _open(std::string_view name, Records& records, const KrSim::KrContentID& holderID = {}) {
        _levels.push_back({records, _reader.beginSequence(name), holderID});
    }

    /// Without recursion: objects may lie as deep inside one another as the file has bytes for them.
    void _readTrees() {
        _open("Objects", _content.roots);
        while (!_levels.empty()) {
            auto& level = _levels.back();
            if (level.left == 0) {
                _reader.endSequence();
                _levels.pop_back();
                if (!_levels.empty()) _reader.endGroup();
                continue;
            }
            --level.left;
            auto& record = *level.records.emplace_back(std::make_unique<ExtensionRecord>());
            ++_content.extensionCount;
            _reader.beginGroup("Extension");
            const auto storedID = _readExtension(record);
            const bool hasMore = record.isObject && _reader.optional("Extensions", [&] {
                _open("Extensions", record.children, record.isOwnOnly ? storedID : KrSim::KrContentID());
            });
            if (!hasMore) _reader.endGroup();
        }
    }

    /// All but what is below it. Returns its ID in the file.
    KrSim::KrContentID _readExtension(ExtensionRecord& record) {
        _reader.setKnownNames(getMemberNames());
        _reader.readIf("Name", record.name);
        _reader.readIf("IsObject", record.isObject);
        _reader.readIf("IsLost", record.isLost);
        if (_version >= kVersionWithOwnContent) _reader.readIf("IsOwnOnly", record.isOwnOnly);
        record.key = readFactoryKey(_reader, "Type");
        auto stored = _readID(record);
        record.storedID = stored.getRuntimeID();
        record.contentID = _toLive(stored);
        int version = -1;
        if (_reader.readIf("DataVersion", version)) record.dataVersion = version;
        _readVersions(record);
        unsigned long long position = 0;
        if (_reader.readIf("Position", position)) record.position = position;
        _readFields(record);
        _reader.optional("Data", [&] { _reader.readBytes("Data", record.data); });
        if (record.isObject) _readDefinition(record);
        record.isRead = true;
        return stored;
    }

    KrSim::KrContentID _readID(ExtensionRecord& record) {
        KrSim::KrContentID stored;
        record.isPart = record.isOwnOnly && _reader.optional("Part", [&] {
            const auto part = readContentID(_reader, "Part");
            if (_levels.back().holderID.isEmpty()) _reader.fail("a part of an instance is in no instance");
            stored = KrSim::KrContentID::createFromParentInstance(_levels.back().holderID, part);
        });
        return record.isPart ? stored : readContentID(_reader, "ContentID");
    }

    void _readVersions(ExtensionRecord& record) {
        _reader.optional("Versions", [&] {
            _reader.sequence("Versions", [&](std::size_t) {
                _reader.group("Version", [&] {
                    std::string key(_reader.readRepeated("Key"));
                    int number = 0;
                    _reader.read("Number", number);
                    record.versions.insert_or_assign(std::move(key), number);
                });
            });
        });
    }

    void _readFields(ExtensionRecord& record) {
        _readMarks(kNameMarks, KrData::Types::kString, record.nameMarks);
        _readGroup("Inputs", KrData::Types::kInput, record);
        _readGroup("Outputs", KrData::Types::kOutput, record);
        _readGroup("Parameters", KrData::Types::kParameter, record);
        if (record.isOwnOnly) _readOwnFields(record);
    }

    void _readOwnFields(ExtensionRecord& record) {
        auto& own = record.ownFields;
        _reader.optional("OwnFields", [&] {
            _reader.sequence("OwnFields", [&](std::size_t) {
                _reader.group("OwnField", [&] {
                    std::string path(_reader.readRepeated("Path"));
                    int parts = 0;
                    _reader.read("Parts", parts);
                    own.insert_or_assign(std::move(path), parts);
                });
            });
        });
        for (const auto* group : record.fields)
            forEachValue(*group, [&](const KrData::FieldBase& field) {
                own.try_emplace(KrData::_getStoredPath(field), getImpliedParts(field));
            });
        std::erase_if(own, [](const auto& each) { return each.second == 0; });
    }

    void _readGroup(const std::string& name, KrData::Types::FieldTypeEnum role, ExtensionRecord& record) {
        auto& group = *new KrData::Container(Kr::KrID(name), &record.fields, role);  // belongs to the record
        FieldReadContext context{.toLive = &_toLive, .lines = &record.fieldLines};
        _reader.optional(name, [&] { readFields(_reader, name, group, context); });
        for (auto& reference : context.references) {
            reference.fieldPath.insert(0, name + ".");
            record.references.push_back(std::move(reference));
        }
        std::unique_ptr<KrData::FieldBase> marks;
        _readMarks(name + kMarks, KrData::Types::kContainer, marks);
        if (marks) takeMarks(group, *marks);
    }

    void _readMarks(const std::string& name, KrData::Types::DataTypeEnum type,
                    std::unique_ptr<KrData::FieldBase>& marks) {
        _reader.optional(name, [&] {
            FieldReadContext context;
            marks = readField(_reader, name, context);
            if (marks->getDataType() != type) _reader.fail("'" + name + "' is another kind of field");
        });
    }

    void _readDefinition(ExtensionRecord& record) {
        _reader.groupIf("Definition", [&] {
            DefinitionRecord definition;
            const auto stored = readContentID(_reader, "ContentID");
            _reader.optional("File", [&] { serializeFilename(_reader, definition.fileName, "File"); });
            definition.contentID = _toLive(stored);
            if (definition.fileName == kCurrentFileMarker) {
                definition.fileName = _reader.getArchiveName();
            } else if (stored.getFile().empty() && !definition.fileName.empty()) {
                // Written before files had a part in identity.
                definition.contentID.setFile(contentFileName(definition.fileName, _reader.getArchiveName()));
            }
            record.definition = std::move(definition);
        });
    }

    ArchiveReader& _reader;
    unsigned int _version;
    ContentIDMapping _toLive;
    ContentRecords& _content;
    std::vector<Level> _levels;
};

}  // namespace

void readContent(ArchiveReader& reader, unsigned int version, const std::string& file, ContentRecords& content) {
    Reader(reader, version, file, content).read();
}

}  // namespace KrPersistence::detail
