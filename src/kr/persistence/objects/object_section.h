#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "kr/extension/fwd.h"
#include "kr/persistence/files/named_file_section.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence {

namespace detail {
class ContentBuilder;
}  // namespace detail

/// The section of a file with content: objects and extensions with all extensions below them, and the connections that
/// end there. Members and order: docs/object-files.md. saveObjects and loadObjects are simpler to use.
///
/// A connection belongs to the content that contains its sink. References to missing content are kept with the
/// extensions, saved again, and resolved when that content is loaded. Instances are stored only with what is their own
/// where a load finds their definitions; KrFile::kSelfContained stores them complete.
///
/// Thread: application. Saving calls onSaving of all implementations; loading creates extensions, and loads the
/// plug-ins that they need, after the whole file was read.
/// Ownership: holds the objects.
class KR_API KrObjectSection final : public NamedFileSection {
    KR_BASE_CLASS(KrObjectSection, NamedFileSection)

    using Objects = std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>;

    KrObjectSection();
    ~KrObjectSection() override;

    /// Adds an object or extension, which is saved with all extensions below it. Ignores null and duplicates.
    void addObject(KrSim::KrExtension* object);
    /// Nothing of it is saved any more. False for one that is not in the list.
    bool removeObject(const KrSim::KrExtension* object);
    /// In the order of the file. After a load they have no owner.
    [[nodiscard]] const Objects& getObjects() const noexcept { return _objects; }

    // --- After a load ------------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t getLoadedExtensionCount() const noexcept;
    [[nodiscard]] std::size_t getLoadedConnectionCount() const noexcept;
    /// Parts that differ from the saved state, one text each, for people: missing types, connections and references
    /// whose other end does not exist.
    [[nodiscard]] std::vector<std::string> getProblems() const;

    // --- The section -------------------------------------------------------------------------------------------------
    void prepareBeforeSaving(KrFile* file, int flags) override;
    void declareReferencableObjects(KrFile* file) override;

private:
    void _onLoaded() noexcept override;
    /// Reports every hundredth step, and the last one.
    [[nodiscard]] std::function<void(std::size_t done, std::size_t total)> _makeProgress() const;
    void _write(ArchiveWriter& writer) const override;
    void _read(ArchiveReader& reader, unsigned int version) override;

    bool _isSelfContained{false};  // the save in progress
    Objects _objects;
    std::unordered_set<const KrSim::KrExtension*> _known;  // the same; filled when one is added
    std::unique_ptr<detail::ContentBuilder> _builder;      // of the last load
};

}  // namespace KrPersistence
