#pragma once

#include <cstddef>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Which extension was cloned into which, in the order of cloning.
class KR_API KrCloneMap {
public:
    using Pair = std::pair<const KrExtension*, KrExtension*>;

    void add(const KrExtension* source, KrExtension* clone);
    /// The clone of an extension, or null.
    [[nodiscard]] KrExtension* find(const KrExtension* source) const;
    [[nodiscard]] const std::vector<Pair>& getPairs() const noexcept { return _pairs; }

    /// Gives each clone clones of the connections between its source and other cloned extensions.
    void _copyConnections() const;
    /// Tells each clone that it is in line with its source.
    void _synchronizeImplementations() const;

private:
    std::vector<Pair> _pairs;
    std::unordered_map<const KrExtension*, KrExtension*> _clones;
};

/// Decides which extensions are copied along.
using KrCloneFilter = std::function<bool(const KrExtension*)>;

/// What _clone is to make.
struct KrCloneRequest {
    KrContentID contentID;                  ///< of the clone
    KrObject* owner = nullptr;              ///< where to add it, or null
    bool registerContent = true;            ///< whether the content registry shall know it
    KrCloneMap* clones = nullptr;           ///< what was cloned so far; required
    const KrCloneFilter* filter = nullptr;  ///< null takes everything
    bool copyFields = true;
    bool synchronize = true;  ///< whether to call onSynchronized at once; no, where connections are still to come
};

}  // namespace KrSim
