#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kr/core/base_pointer.h"
#include "kr/core/fwd.h"
#include "kr/persistence/archives/finding.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// The part of an archive that is independent of its format: the name of the file, the flags, and the current objects.
/// Thread: one at a time. Ownership: objects are borrowed.
class KR_API KrArchive {
public:
    // Flags of binary archives
    static constexpr std::uint32_t kNoHeader = 1;       ///< the body alone
    static constexpr std::uint32_t kByteVersions = 16;  ///< class versions take one byte
    // Flag of XML and JSON archives
    static constexpr std::uint32_t kRecover = 512;       ///< of a broken document, the part before the break is read
    static constexpr std::size_t kDeepestNesting = 512;  ///< objects inside one another; deeper ones are refused

    explicit KrArchive(std::uint32_t flags = 0);
    KrArchive(const KrArchive&) = delete;
    KrArchive& operator=(const KrArchive&) = delete;
    virtual ~KrArchive();

    /// The path of the file being written or read; paths stored in the file are relative to it.
    [[nodiscard]] const std::string& getArchiveName() const noexcept { return _archiveName; }
    void setArchiveName(const std::string& name) { _archiveName = name; }
    [[nodiscard]] std::uint32_t getArchiveFlags() const noexcept { return _archiveFlags; }

    // The stack of objects: ArchiveObjectScope pushes and pops.

    /// The object is borrowed and may die while it is on the stack.
    void pushObject(Kr::KrBase* object);
    /// Does nothing on an empty stack.
    void popObject() noexcept;
    /// The object pushed last; null without one and after its death.
    [[nodiscard]] Kr::KrBase* getCurrentObject() const noexcept;

    /// Doubts of the readers about the values read so far.
    [[nodiscard]] std::vector<Finding>& getFindings() noexcept { return _findings; }

private:
    std::string _archiveName;
    std::uint32_t _archiveFlags;
    std::vector<Kr::KrBasePointer> _objects;  // the first entry is null
    std::vector<Finding> _findings;
};

/// What ArchiveReader and ArchiveWriter have in common: the archive, with its name and its current objects.
/// Thread: one at a time. Ownership: the archive is borrowed.
class KR_API ArchiveUser {
public:
    ArchiveUser(const ArchiveUser&) = delete;
    ArchiveUser& operator=(const ArchiveUser&) = delete;

    // See KrArchive
    [[nodiscard]] const std::string& getArchiveName() const noexcept { return _state.getArchiveName(); }
    void pushObject(Kr::KrBase* object) { _state.pushObject(object); }
    void popObject() noexcept { _state.popObject(); }
    [[nodiscard]] Kr::KrBase* getCurrentObject() const noexcept { return _state.getCurrentObject(); }

protected:
    enum class eNesting : std::uint8_t { kGroup, kSequence };

    explicit ArchiveUser(KrArchive& archive) noexcept : _state(archive) {}
    ~ArchiveUser() = default;

    KrArchive& _state;
    std::size_t _depth{0};  // of actions of group()
};

}  // namespace KrPersistence
