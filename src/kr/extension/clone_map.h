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

/// Maps cloned extensions to their clones, in the order of cloning. Holds both, except extensions without a holder, for
/// example on the stack, so that callbacks may drop them.
/// Thread: application. Ownership: holds the extensions.
class KR_API KrCloneMap final : public KrData::ICopyMap {
public:
    /// The values of a clone after all clones were made.
    enum class Values {
        kOfSource,  ///< those of its source
        kOwn,       ///< the clone existed before and keeps its own
    };

    using ConnectionFilter = std::function<bool(const KrData::FieldBase& source, const KrData::FieldBase& sink)>;

    KrCloneMap();
    ~KrCloneMap();
    KrCloneMap(const KrCloneMap&) = delete;
    KrCloneMap& operator=(const KrCloneMap&) = delete;

    void add(const KrExtension* source, KrExtension* clone, Values values = Values::kOfSource);
    /// The clone of an extension, or null.
    [[nodiscard]] KrExtension* find(const KrExtension* source) const;

private:
    friend class KrExtension;
    friend class detail::InstanceSync;

    struct Pair {
        const KrExtension* source;
        KrExtension* clone;
        Values values;
        Kr::KrSmartPtr<const Kr::KrRefCount> sourceHolder;
        Kr::KrSmartPtr<const Kr::KrRefCount> cloneHolder;
    };

    /// For an instance: removes messages that came from a source and that the source has no more.
    void _followMessages(const KrObject& instance) const;
    /// Copies links, connections and references to the clones, in this order; a reference to a source becomes one to
    /// its clone. Connections transfer once; then the values of each clone are set to those of its source, without a
    /// transfer, and the observers are notified. Clones that keep their own values keep their links, too.
    /// \param mayConnect  returns for two fields of sources whether their connection is copied; empty for all.
    void _complete(const ConnectionFilter& mayConnect = {}) const;
    /// Instances whose definition was cloned become instances of the clone, with matching content IDs.
    void _redirectDefinitions() const;
    /// Calls onSynchronized of each new clone with the implementation of its source.
    void _synchronizeImplementations() const;
    [[nodiscard]] KrExtension* findExtension(const KrExtension* original) const override { return find(original); }
    [[nodiscard]] KrData::FieldBase* findField(const KrData::FieldBase& original) const override;
    void _copyConnectionsOf(const KrData::FieldBase& field, const Pair& pair, const ConnectionFilter& mayConnect) const;
    void _copyOutgoing(const KrData::FieldBase& field, const Pair& pair, const ConnectionFilter& mayConnect) const;
    void _copyValuesOf(const Pair& pair) const;
    [[nodiscard]] bool _redirectIDs() const;

    std::vector<Pair> _pairs;
    std::unordered_map<const KrExtension*, KrExtension*> _clones;
};

/// Decides which extensions are copied along.
using KrCloneFilter = std::function<bool(const KrExtension*)>;

/// Parameters of KrExtension::_clone.
struct KrCloneRequest {
    KrContentID contentID;                  ///< of the clone
    KrObject* owner = nullptr;              ///< to which the clone is added, or null
    bool registerContent = true;            ///< whether to register the clone in the content registry
    KrCloneMap* clones = nullptr;           ///< the clones so far; required
    const KrCloneFilter* filter = nullptr;  ///< null accepts everything
    bool copyFields = true;
    /// whether all extensions below get IDs derived from contentID; else only those that had derived IDs
    bool isPlacing = false;
    bool synchronize = true;  ///< whether to call onSynchronized now; false when connections will still be made
};

}  // namespace KrSim
