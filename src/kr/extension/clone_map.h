#pragma once

#include <cstddef>
#include <functional>
#include <unordered_map>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/data/i_copy_map.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Which extension was cloned into which, in the order of cloning. Holds both, unless they are not held by anything, as
/// on the stack, so that callbacks may drop them. Thread: the application thread.
class KR_API KrCloneMap final : public KrData::ICopyMap {
public:
    /// What becomes of the values of a clone when all clones are made.
    enum class Values {
        kOfSource,  ///< they are those of its source in the end
        kOwn,       ///< it was there before and keeps its own
    };

    using ConnectionFilter = std::function<bool(const KrData::FieldBase& source, const KrData::FieldBase& sink)>;

    KrCloneMap();
    ~KrCloneMap();
    KrCloneMap(const KrCloneMap&) = delete;
    KrCloneMap& operator=(const KrCloneMap&) = delete;

    void add(const KrExtension* source, KrExtension* clone, Values values = Values::kOfSource);
    /// The clone of an extension, or null.
    [[nodiscard]] KrExtension* find(const KrExtension* source) const;
    /// For an instance: removes messages that came from a source and that the source does not have any more.
    void _followMessages(const KrObject& instance) const;
    /// Links, connections and references of the clones, in this order: what leads to a source leads to its clone.
    /// Connections transfer once; then the values of each clone are made those of its source, without a transfer, and
    /// the observers are notified. Clones that keep their own values keep their links, too.
    /// \param mayConnect  tells for two fields of sources whether their connection is copied; empty for all.
    void _complete(const ConnectionFilter& mayConnect = {}) const;
    /// Instances whose definition was cloned become instances of the clone, with the content IDs that go with it.
    void _redirectDefinitions() const;
    /// Calls onSynchronized of each new clone with the implementation of its source.
    void _synchronizeImplementations() const;

    [[nodiscard]] KrExtension* _findExtension(const KrExtension* original) const override { return find(original); }
    [[nodiscard]] KrData::FieldBase* _findField(const KrData::FieldBase& original) const override;

private:
    struct Pair {
        const KrExtension* source;
        KrExtension* clone;
        Values values;
        Kr::KrSmartPtr<const Kr::KrRefCount> sourceHolder;
        Kr::KrSmartPtr<const Kr::KrRefCount> cloneHolder;
    };

    void _copyConnectionsOf(const KrData::FieldBase& field, const Pair& pair, const ConnectionFilter& mayConnect) const;
    void _copyOutgoing(const KrData::FieldBase& field, const Pair& pair, const ConnectionFilter& mayConnect) const;
    void _copyValuesOf(const Pair& pair) const;
    [[nodiscard]] bool _redirectIDs() const;

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
    bool isPlacing = false;   ///< whether all below gets IDs derived from contentID; else only what had such ones
    bool synchronize = true;  ///< whether to call onSynchronized now; false where connections are still to be made
};

}  // namespace KrSim
