#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/platform/smart_ptr.h"

// An object file does not know the names that others have for it. So what belongs to it stands there without a file,
// and gets the name that the file is loaded under.

namespace KrPersistence::detail {

/// From the IDs of a file to those of live content.
class LoadedIdentity {
public:
    /// \param file  the file part of what the file holds; with an empty one all IDs stay as they are.
    explicit LoadedIdentity(const std::string& file);

    [[nodiscard]] KrSim::KrContentID operator()(const KrSim::KrContentID& stored) const;

private:
    KrSim::KrContentID _pattern;  // has the file; its memory is shared by all that get it
};

/// From the IDs of live content to those of a file that holds these extensions.
class StoredIdentity {
public:
    explicit StoredIdentity(const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& included);

    [[nodiscard]] KrSim::KrContentID operator()(const KrSim::KrContentID& live) const;
    /// The same for a runtime ID of included content; null where it stays as it is.
    [[nodiscard]] const KrSim::KrContentID* find(const KrSim::KrContentID::Identifier& live) const;

private:
    [[nodiscard]] KrSim::KrContentID _changed(const KrSim::KrContentID& live) const;
    [[nodiscard]] bool _isLeftOver(const KrSim::KrContentID& live) const;

    std::unordered_map<KrSim::KrContentID::Identifier, KrSim::KrContentID> _stored;  // by runtime ID, where it differs
    std::unordered_set<std::string> _files;                                          // of included content
};

}  // namespace KrPersistence::detail
