#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

// For sections that contain content IDs. A file does not contain its own name: the IDs of its content are stored
// without a file, and get the name under which the file is loaded. See docs/content-identity.md.

namespace KrPersistence {

/// The file part of the identity of a file's content: contentFileName. When no other file refers to it and living
/// content was loaded from another file of the same name, it includes enough folders to distinguish the two.
/// Any thread.
[[nodiscard]] KR_API std::string chooseFilePart(const std::string& path, const std::string& referringFile);

/// Records the file for chooseFilePart and findSourceFile, until the extensions are dead. Any thread.
KR_API void noteSourceFile(const std::string& filePart, const std::string& path,
                           const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& extensions);

/// Maps the IDs of a file to those of live content.
/// Thread: any. Ownership: value.
class KR_API LoadedIdentity {
public:
    /// \param filePart  of the file's content; with an empty one all IDs are unchanged.
    explicit LoadedIdentity(const std::string& filePart);

    [[nodiscard]] KrSim::KrContentID operator()(const KrSim::KrContentID& stored) const;

private:
    KrSim::KrContentID _pattern;  // has the file; its memory is shared by all IDs made from it
};

/// Maps the IDs of live content to those of a file.
/// Thread: any. Ownership: value.
class KR_API StoredIdentity {
public:
    /// \param included  the IDs of all content of the file.
    explicit StoredIdentity(const std::vector<KrSim::KrContentID>& included);

    [[nodiscard]] KrSim::KrContentID operator()(const KrSim::KrContentID& live) const;
    /// The same for a runtime ID of included content; null when it is unchanged. Valid as long as this object.
    [[nodiscard]] const KrSim::KrContentID* find(const KrSim::KrContentID::Identifier& live) const;

private:
    [[nodiscard]] KrSim::KrContentID _changed(const KrSim::KrContentID& live) const;
    [[nodiscard]] bool _isLeftOver(const KrSim::KrContentID& live) const;

    std::unordered_map<KrSim::KrContentID::Identifier, KrSim::KrContentID> _stored;  // by runtime ID, where it differs
    std::unordered_set<std::string> _files;                                          // of included content
};

}  // namespace KrPersistence
