#pragma once

#include <cstddef>
#include <string>

#include "kr/core/base.h"
#include "kr/persistence/archives/finding.h"
#include "kr/persistence/files/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// A part of a KrFile. Derive from NamedFileSection: this class does not write content.
///
/// An exception of any virtual function fails the load or save, which then returns false with its text.
/// Thread: that of the file. Ownership: owned by the file.
class KR_API KrFileSection : public Kr::KrBase {
    KR_BASE_CLASS(KrFileSection, Kr::KrBase)

public:
    ~KrFileSection() override = 0;

    /// Called for each section before the first one is written. The default calls declareReferencableObjects.
    /// \param flags  those of the save.
    virtual void prepareBeforeSaving(KrFile* file, int flags);
    /// Registers, with KrFile::registerReferencableObject, the objects that other sections may refer to. Called before
    /// a save and after a load. The default does nothing.
    virtual void declareReferencableObjects(KrFile* file);
    /// Called when the whole file was read; the sections before this one are in the file. The default does nothing.
    virtual void postLoad(KrFile* file);

    /// The file of the section, or null; already set while a section is read.
    [[nodiscard]] KrFile* getOwner() const noexcept { return _owner; }
    /// Called by files.
    virtual void setOwner(KrFile* file);

protected:
    KrFileSection();

    /// Called after the load has succeeded: nothing can fail any more. The default does nothing.
    virtual void _onLoaded() noexcept;
    /// Reports to the file's progress handler how many of how many steps of loading or saving are done.
    void _reportProgress(std::size_t done, std::size_t total) const;
    /// Adds to the findings of the file that is loaded.
    void _addFinding(Finding finding);
    /// For a section that cannot be read further: true while a damaged file is recovered. The section then keeps the
    /// data read so far and throws nothing; the rest of the file is not read.
    [[nodiscard]] bool _endsHere(const std::string& reason);

private:
    friend class KrFile;

    KrFile* _owner{nullptr};
};

}  // namespace KrPersistence
