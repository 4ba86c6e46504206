#pragma once

#include "kr/core/base.h"
#include "kr/persistence/files/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// A part of a KrFile, which owns it. Derive from NamedFileSection: this class knows nothing of how content is written.
///
/// An exception from any of the virtual functions ends the load or save, which then answers false with its text.
class KR_API KrFileSection : public Kr::KrBase {
    KR_BASE_CLASS(KrFileSection, Kr::KrBase)

public:
    ~KrFileSection() override = 0;

    /// Called for each section before the first one is written. Without override: declareReferencableObjects.
    /// \param flags  of the save.
    virtual void prepareBeforeSaving(KrFile* file, int flags);
    /// Registers, with KrFile::registerReferencableObject, the objects that others may refer to. Called before a save
    /// and after a load. Does nothing unless overridden.
    virtual void declareReferencableObjects(KrFile* file);
    /// Called when the whole file was read; the sections before this one are in place. Does nothing unless overridden.
    virtual void postLoad(KrFile* file);
    /// Called when the load has succeeded: nothing fails any more. Does nothing unless overridden.
    virtual void _onLoaded() noexcept;

    /// The file that holds the section, or null; set from the start while a section is read.
    [[nodiscard]] KrFile* getOwner() const noexcept { return _owner; }
    /// Called by files.
    virtual void setOwner(KrFile* file);

protected:
    KrFileSection();

private:
    KrFile* _owner{nullptr};
};

}  // namespace KrPersistence
