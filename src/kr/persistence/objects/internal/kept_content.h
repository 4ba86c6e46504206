#pragma once

#include <string>
#include <vector>

#include "kr/extension/fwd.h"
#include "kr/extension/kept_content.h"
#include "kr/persistence/objects/internal/content_records.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

/// A reference that shows the only content of the item that was there, since its own was not.
struct StandIn {
    ExtensionReference reference;
    KrSim::KrContentID::Identifier shown;
};

/// A connection that was made with other content of the item at one end or at both, since its own was not there.
struct StandInConnection {
    ConnectionRecord meant;
    ConnectionEnd source, sink;  // that it was made with
};

/// What waits with one extension for content that is missing.
struct KeptItems {
    std::vector<ConnectionRecord> connections;
    std::vector<ExtensionReference> references;
    bool isAwaitingDefinition{false};  // has not followed any definition since it was loaded
    // In place, but not with the content that was meant, which takes over when it comes.
    std::vector<StandIn> standIns;
    std::vector<StandInConnection> standInConnections;
    bool isFollowingStandIn{false};  // has followed other content of the item than its definition
};

/// What was loaded with an extension and could not be put in place, because other content is missing. It is saved with
/// the extension, and tried again after each load and after each sync that follows another version of a definition.
/// Thread: that of the extension.
class KeptContent final : public KrSim::IKeptContent, public KeptItems {
public:
    explicit KeptContent(KrSim::KrExtension& extension);
    KeptContent(const KeptContent&) = delete;
    KeptContent& operator=(const KeptContent&) = delete;
    ~KeptContent() override;

    /// That of the extension, which gets one if need be.
    [[nodiscard]] static KeptContent& of(KrSim::KrExtension& extension);
    /// Null when the extension has none.
    [[nodiscard]] static const KeptContent* find(const KrSim::KrExtension& extension);
    enum class Whose {
        kAll,           ///< but for the content of an application that runs on another thread
        kOfThisThread,  ///< also without content that no application runs and another thread loaded: it may use it
    };
    /// All living extensions that have one, in the order in which they got it. Any thread.
    [[nodiscard]] static std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> getExtensions(Whose whose = Whose::kAll);
    /// Drops what an extension has, once nothing is left in it and no load that may fail has found it there.
    static void dropIfEmpty(KrSim::KrExtension& extension);
    /// Copies references and what concerns the definition, but no connections: one end may not be copied.
    void _copyTo(KrSim::KrExtension& copy) const override;

private:
    std::uint64_t _number;
};

/// What waits with all content when a load begins. Unless keep() is called, it waits again when this object dies: the
/// load has failed, and the content that was put in place goes. Allocates nothing then.
/// Thread: that of the content.
class KeptBefore {
public:
    KeptBefore();
    KeptBefore(const KeptBefore&) = delete;
    KeptBefore& operator=(const KeptBefore&) = delete;
    ~KeptBefore();

    /// The load has succeeded.
    void keep() noexcept;
    /// Whether one that exists on this thread has found kept content with the extension.
    [[nodiscard]] static bool holds(const KrSim::KrExtension& keeper) noexcept;
    /// Call it before what was meant takes the place of a stand-in, which would not return: it waits like new then.
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
/// loaded or runs. Nothing happens during a RetryPause.
void retryKeptContent();

}  // namespace KrPersistence::detail
