#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

// For sections that hold content IDs. A file does not know the names that others have for it: the IDs of what belongs
// to it are stored without a file, and get the name under which the file is loaded. See docs/content-identity.md.

namespace KrPersistence {

/// The file part of the identity of what a file holds: contentFileName, but where no other file refers to it and living
/// content was loaded from another file of the same name, with so many folders in front that the names differ.
/// Thread: any.
[[nodiscard]] KR_API std::string chooseFilePart(const std::string& path, const std::string& referringFile);

/// Notes the file for chooseFilePart and findSourceFile, until the extensions are dead. Thread: any.
KR_API void noteSourceFile(const std::string& filePart, const std::string& path,
                           const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& extensions);

/// From the IDs of a file to those of live content.
class KR_API LoadedIdentity {
public:
    /// \param filePart  of what the file holds; with an empty one all IDs stay as they are.
    explicit LoadedIdentity(const std::string& filePart);

    [[nodiscard]] KrSim::KrContentID operator()(const KrSim::KrContentID& stored) const;

private:
    KrSim::KrContentID _pattern;  // has the file; its memory is shared by all that get it
};

/// From the IDs of live content to those of a file.
class KR_API StoredIdentity {
public:
    /// \param included  the IDs of all that the file holds.
    explicit StoredIdentity(const std::vector<KrSim::KrContentID>& included);

    [[nodiscard]] KrSim::KrContentID operator()(const KrSim::KrContentID& live) const;
    /// The same for a runtime ID of included content; null where it stays as it is. Good as long as this object.
    [[nodiscard]] const KrSim::KrContentID* find(const KrSim::KrContentID::Identifier& live) const;

private:
    [[nodiscard]] KrSim::KrContentID _changed(const KrSim::KrContentID& live) const;
    [[nodiscard]] bool _isLeftOver(const KrSim::KrContentID& live) const;

    std::unordered_map<KrSim::KrContentID::Identifier, KrSim::KrContentID> _stored;  // by runtime ID, where it differs
    std::unordered_set<std::string> _files;                                          // of included content
};

}  // namespace KrPersistence
