#pragma once

#include <cstddef>
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

/// The section of a file that holds content: objects and extensions with all that is below them, and the connections
/// that end there. docs/object-files.md tells what is stored and in which order. saveObjects and loadObjects are the
/// short way.
///
/// A connection belongs to the content that its sink is in. What refers to content that is not there is kept with the
/// extensions, saved again, and put in place when the other content is loaded.
///
/// Thread: that of the content. Saving calls onSaving of all implementations; loading makes extensions, and loads the
/// plug-ins that they need, once the whole file was read.
/// Ownership: holds the objects.
class KR_API KrObjectSection final : public NamedFileSection {
    KR_BASE_CLASS(KrObjectSection, NamedFileSection)

    using Objects = std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>;

    KrObjectSection();
    ~KrObjectSection() override;

    /// Adds an object or extension to be saved with all below it. Null, and one that is here already, are ignored.
    void addObject(KrSim::KrExtension* object);
    /// In the order of the file. After a load they have no owner.
    [[nodiscard]] const Objects& getObjects() const noexcept { return _objects; }

    // --- After a load ------------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t getLoadedExtensionCount() const noexcept;
    [[nodiscard]] std::size_t getLoadedConnectionCount() const noexcept;
    /// What is not as it was saved, one text each, for people: types that are missing, connections and references
    /// whose other end is not there.
    [[nodiscard]] std::vector<std::string> getProblems() const;

    // --- The section -------------------------------------------------------------------------------------------------
    void declareReferencableObjects(KrFile* file) override;
    void _onLoaded() noexcept override;
    void _write(ArchiveWriter& writer) const override;
    void _read(ArchiveReader& reader, unsigned int version) override;

private:
    Objects _objects;
    std::unordered_set<const KrSim::KrExtension*> _known;  // the same; filled when one is added
    std::unique_ptr<detail::ContentBuilder> _builder;      // of the last load
};

}  // namespace KrPersistence
