#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <unordered_set>
#include <vector>

#include "kr/extension/object_access.h"
#include "kr/persistence/fields/field_archive.h"
#include "kr/persistence/objects/file_identity.h"
#include "kr/persistence/objects/internal/own_content.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence {
class ArchiveWriter;
}  // namespace KrPersistence

namespace KrPersistence::detail {

/// Writes trees of extensions and the connections that end in them.
class ContentWriter {
public:
    /// Called with the number of written extensions and their total; may be empty.
    using Progress = std::function<void(std::size_t done, std::size_t total)>;
    using Roots = std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>;

    /// \param isSelfContained  whether instances are stored complete although their definitions are known.
    ContentWriter(ArchiveWriter& writer, bool isSelfContained, Progress progress);

    void write(const Roots& roots);

private:
    void _collect(const Roots& roots);
    struct Level;
    using Levels = std::deque<Level>;

    void _writeTree(KrSim::KrExtension& root, std::uint64_t position);
    void _begin(Levels& levels, KrSim::KrExtension& extension, std::uint64_t& nextPosition);
    void _end(Levels& levels);
    void _writeMembers(const KrSim::KrExtension& extension, std::uint64_t& nextPosition);
    void _writeVersions(const KrSim::KrExtension& extension);
    void _writeID(const KrSim::KrExtension& extension);
    void _writeFields(const KrSim::KrExtension& extension);
    void _writeNameMarks(const KrSim::KrExtension& extension);
    [[nodiscard]] const KrData::Container* _getRecord(const KrSim::KrExtension& extension) const;
    void _writeOwnFields(const OwnContent::Part& part);
    void _writeDefinition(const KrSim::KrObject& object);

    ArchiveWriter& _writer;
    bool _isSelfContained;
    Progress _progress;
    Roots _held;  // all written extensions: implementations may change the trees while they are saved
    std::unordered_set<const KrSim::KrExtension*> _included;
    std::optional<StoredIdentity> _identity;
    ContentIDMapping _toStored;                    // by that
    std::optional<OwnContent> _ownContent;         // of instances that are not stored complete
    KrSim::detail::ObjectAccess::OwnRecords _own;  // of the other ones, and connections of these
    std::size_t _done{0};
};

}  // namespace KrPersistence::detail
