#include "kr/persistence/objects/factory_key_archive.h"

#include "kr/extension/factory_key.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence {

namespace {

void writeText(ArchiveWriter& writer, std::string_view name, const std::string& text) {
    writer.optional(!text.empty(), name, [&] { writer.writeRepeated(name, text); });
}

std::string readText(ArchiveReader& reader, std::string_view name) {
    std::string text;
    reader.optional(name, [&] { text = reader.readRepeated(name); });
    return text;
}

}  // namespace

void writeFactoryKey(ArchiveWriter& writer, std::string_view name, const KrSim::KrFactoryKey& key) {
    writer.groupIf(key != KrSim::KrFactoryKey(), name, [&] {
        writeText(writer, "Uuid", key.isNull() ? std::string() : key.uuid.toString());
        writeText(writer, "Category", key.category);
        writeText(writer, "Name", key.name);
        writeText(writer, "Plugin", key.plugin);
    });
}

KrSim::KrFactoryKey readFactoryKey(ArchiveReader& reader, std::string_view name) {
    KrSim::KrFactoryKey key;
    reader.groupIf(name, [&] {
        const auto uuid = readText(reader, "Uuid");
        if (!uuid.empty() && !KrSim::KrUuid::parse(uuid, key.uuid)) reader.fail("'" + uuid + "' is no uuid");
        key.category = readText(reader, "Category");
        key.name = readText(reader, "Name");
        key.plugin = readText(reader, "Plugin");
    });
    return key;
}

}  // namespace KrPersistence
