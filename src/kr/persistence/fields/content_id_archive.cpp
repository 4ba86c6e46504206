#include "kr/persistence/fields/content_id_archive.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "kr/content/content_id_access.h"
#include "kr/persistence/archives/archive_error.h"
#include "kr/platform/text.h"

namespace KrPersistence {

namespace {

using KrSim::KrContentID;
using KrSim::detail::ContentIDAccess;
using Identifier = KrContentID::Identifier;

constexpr std::string_view kOwn = "Own";
constexpr std::string_view kRaw = "Raw";
constexpr std::string_view kFile = "File";
constexpr std::string_view kChain = "Chain";
constexpr std::string_view kPlacement = "Placement";
constexpr std::string_view kContentID = "ContentID";

const std::string kTooDeep = "content ID with chains more than " + std::to_string(KrContentID::kMaxNesting) + " deep";

std::string originName(std::string_view name) {
    return std::string(name) + "Origin";
}

/// Whether the runtime ID says all.
bool isPlain(const KrContentID& id) {
    return id.getOwnIdentifier() == id.getRuntimeID() && id.getRawID() == id.getRuntimeID() && id.getFile().empty() &&
           id.getParentInstances().empty();
}

void writeNested(ArchiveWriter& writer, std::string_view name, const KrContentID& id, int depth) {
    if (depth > KrContentID::kMaxNesting) {
        throw ArchiveError(boost::archive::archive_exception::other_exception, kTooDeep);
    }
    writer.write(name, id.getRuntimeID().toString());
    const bool hasOrigin = !isPlain(id);
    writer.groupIf(hasOrigin, hasOrigin ? originName(name) : std::string(), [&] {
        const auto& chain = id.getParentInstances();
        writer.writeIf(!id.getOwnIdentifier().isNull(), kOwn, id.getOwnIdentifier().toString());
        writer.write(kRaw, id.getRawID().toString());
        writer.writeIf(!id.getFile().empty(), kFile, id.getFile());
        writer.sequence(kChain, chain.size(), [&](std::size_t index) {
            writer.group(kPlacement, [&] { writeNested(writer, kContentID, chain[index], depth + 1); });
        });
    });
}

Identifier parsed(const ArchiveReader& reader, std::string_view name, const std::string& text) {
    Identifier identifier;
    if (!Identifier::parse(text, identifier)) {
        reader.fail("'" + std::string(name) + "' is no content identifier, but '" + text.substr(0, 64) + "'");
    }
    return identifier;
}

KrContentID readNested(ArchiveReader& reader, std::string_view name, int depth) {
    if (depth > KrContentID::kMaxNesting) reader.fail(kTooDeep);
    std::string text;
    reader.read(name, text);
    const Identifier runtime = parsed(reader, name, text);
    Identifier own;
    Identifier raw;
    std::string file;
    KrContentID::Chain chain;
    const bool hasOrigin = reader.groupIf(originName(name), [&] {
        if (reader.readIf(kOwn, text)) own = parsed(reader, kOwn, text);
        reader.read(kRaw, text);
        raw = parsed(reader, kRaw, text);
        reader.readIf(kFile, file);
        reader.sequence(kChain, [&](std::size_t) {
            reader.group(kPlacement, [&] { chain.push_back(readNested(reader, kContentID, depth + 1)); });
        });
    });
    if (!hasOrigin) return KrContentID::createFromWords(runtime.first, runtime.second);
    return ContentIDAccess::fromParts(own, runtime, raw, std::move(file), std::move(chain));
}

}  // namespace

void writeContentID(ArchiveWriter& writer, std::string_view name, const KrContentID& id) {
    writeNested(writer, name, id, 0);
}

KrContentID readContentID(ArchiveReader& reader, std::string_view name) {
    return readNested(reader, name, 0);
}

void writeUuid(ArchiveWriter& writer, std::string_view name, const KrSim::KrUuid& uuid) {
    auto text = uuid.toString();
    if (const int stored = uuid.getBytes().back(); stored != 0) text += "/" + std::to_string(stored);
    writer.write(name, text);
}

KrSim::KrUuid readUuid(ArchiveReader& reader, std::string_view name) {
    std::string text;
    reader.read(name, text);
    const auto slash = std::min(text.find('/'), text.size());
    KrSim::KrUuid uuid;
    const auto stored = slash == text.size() ? std::optional<std::uint8_t>(0)
                                             : Kr::parseNumber<std::uint8_t>(std::string_view(text).substr(slash + 1));
    if (!stored || !KrSim::KrUuid::parse(std::string_view(text).substr(0, slash), uuid)) {
        reader.fail("'" + std::string(name) + "' is no UUID, but '" + text.substr(0, 64) + "'");
    }
    auto bytes = uuid.getBytes();
    bytes.back() = *stored;
    return KrSim::KrUuid(bytes);
}

}  // namespace KrPersistence
