#pragma once

#include <string>
#include <vector>

#include "kr/extension/fwd.h"
#include "kr/extension/kept_content.h"
#include "kr/persistence/objects/internal/content_records.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

/// A reference to the only existing content of an item, used because the saved content does not exist.
struct StandIn {
    ExtensionReference reference;
    KrSim::KrContentID::Identifier shown;
};

/// A connection to other content of an item at one end or both, because the saved content does not exist.
struct StandInConnection {
    ConnectionRecord meant;
    ConnectionEnd source, sink;  // that were connected
};

/// Data of an extension that wait for missing content.
struct KeptItems {
    std::vector<ConnectionRecord> connections;
    std::vector<ExtensionReference> references;
    bool isAwaitingDefinition{false};  // has not followed any definition since it was loaded
    // Resolved, but with other content than saved; replaced when the saved content is loaded.
    std::vector<StandIn> standIns;
    std::vector<StandInConnection> standInConnections;
    bool isFollowingStandIn{false};  // has followed other content of the item than its definition
};

/// The parts that were loaded with an extension and could not be resolved, because other content is missing. They are
/// saved with the extension, and resolved after each load and each sync with another version of a definition.
/// Thread: that of the extension. Ownership: owned by the extension.
class KeptContent final : public KrSim::IKeptContent, public KeptItems {
public:
    explicit KeptContent(KrSim::KrExtension& extension);
    KeptContent(const KeptContent&) = delete;
    KeptContent& operator=(const KeptContent&) = delete;
    ~KeptContent() override;

    /// The kept content of the extension, which is created if needed.
    [[nodiscard]] static KeptContent& of(KrSim::KrExtension& extension);
    /// Null when the extension has none.
    [[nodiscard]] static const KeptContent* find(const KrSim::KrExtension& extension);
    enum class Whose {
        kAll,  ///< except the content of an application that runs on another thread
        /// also without content of no running application that another thread loaded: that thread may be using it
        kOfThisThread,
    };
    /// All living extensions that have kept content, in the order of its creation. Any thread.
    [[nodiscard]] static std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> getExtensions(Whose whose = Whose::kAll);
    /// Drops the kept content of an extension when it is empty and no load that may still fail has found it.
    static void dropIfEmpty(KrSim::KrExtension& extension);
    /// Copies references and the state of the definition, but no connections: one end may not be copied.
    void _copyTo(KrSim::KrExtension& copy) const override;

private:
    std::uint64_t _number;
};

/// The kept content of all extensions at the beginning of a load. Unless keep() is called, the destructor restores it:
/// the load has failed, and the content that was resolved is removed. The destructor allocates nothing.
/// Thread: that of the content.
class KeptBefore {
public:
    KeptBefore();
    KeptBefore(const KeptBefore&) = delete;
    KeptBefore& operator=(const KeptBefore&) = delete;
    ~KeptBefore();

    /// The load has succeeded.
    void keep() noexcept;
    /// Whether an object of this class on this thread has found kept content with the extension.
    [[nodiscard]] static bool holds(const KrSim::KrExtension& keeper) noexcept;
    /// Call it before the saved content replaces a stand-in, which would not be restored after a failure.
    static void onReplaced(const KrSim::KrExtension& keeper, const StandIn& standIn) noexcept;
    static void onReplaced(const KrSim::KrExtension& keeper, const StandInConnection& standIn) noexcept;

private:
    struct Entry {
        Kr::KrSmartPtr<KrSim::KrExtension> extension;
        KeptItems items;
    };
    [[nodiscard]] Entry* _find(const KrSim::KrExtension& keeper) noexcept;

    std::vector<Entry> _entries;  // by address
    KeptBefore* _outer;
    static thread_local constinit KeptBefore* _top;
};

/// While one exists, a sync on this thread does not try kept content again: a load syncs many instances, and then tries
/// once.
class RetryPause {
public:
    RetryPause() noexcept;
    RetryPause(const RetryPause&) = delete;
    RetryPause& operator=(const RetryPause&) = delete;
    ~RetryPause();
    [[nodiscard]] static bool isOn() noexcept;
};

/// Makes the connections and sets the references whose missing content exists now, for content that this thread has
/// loaded or runs. Does nothing during a RetryPause.
void retryKeptContent();

}  // namespace KrPersistence::detail
