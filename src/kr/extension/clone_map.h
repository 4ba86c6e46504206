#pragma once

#include <cstddef>
#include <functional>
#include <unordered_map>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Which extension was cloned into which, in the order of cloning. Keeps both alive where somebody holds them, so that
/// a callback may drop what is still to be told.
class KR_API KrCloneMap {
public:
    KrCloneMap();
    ~KrCloneMap();
    KrCloneMap(const KrCloneMap&) = delete;
    KrCloneMap& operator=(const KrCloneMap&) = delete;

    void add(const KrExtension* source, KrExtension* clone);
    /// The clone of an extension, or null.
    [[nodiscard]] KrExtension* find(const KrExtension* source) const;

    /// Gives each clone clones of the connections between its source and other cloned extensions.
    void _copyConnections() const;
    /// Tells each clone that it is in line with its source.
    void _synchronizeImplementations() const;

private:
    struct Pair {
        const KrExtension* source;
        KrExtension* clone;
        Kr::KrSmartPtr<const Kr::KrRefCount> sourceHolder;
        Kr::KrSmartPtr<const Kr::KrRefCount> cloneHolder;
    };

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
