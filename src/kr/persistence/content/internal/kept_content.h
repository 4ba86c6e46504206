#pragma once

#include <string>
#include <vector>

#include "kr/extension/fwd.h"
#include "kr/extension/kept_content.h"
#include "kr/persistence/content/internal/content_records.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/weak_ptr.h"

namespace KrPersistence::detail {

/// A reference that shows the only content of the item that was there, since its own was not.
struct StandIn {
    ExtensionReference reference;
    KrSim::KrContentID::Identifier shown;
};

/// What was loaded with an extension and could not be put in place: other content is not there. It is saved with the
/// extension again, and tried again whenever more content is loaded.
class KeptContent final : public KrSim::IKeptContent {
public:
    explicit KeptContent(KrSim::KrExtension& extension);
    KeptContent(const KeptContent&) = delete;
    KeptContent& operator=(const KeptContent&) = delete;
    ~KeptContent() override;

    /// That of the extension, which gets one if need be.
    [[nodiscard]] static KeptContent& of(KrSim::KrExtension& extension);
    /// Null when the extension has none.
    [[nodiscard]] static const KeptContent* find(const KrSim::KrExtension& extension);
    /// All living extensions that have one, in the order in which they got it.
    [[nodiscard]] static std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> getExtensions();
    /// Drops what an extension has, once nothing is left in it.
    static void dropIfEmpty(KrSim::KrExtension& extension);
    /// References, and that the definition is awaited; connections are not copied to where one end is not copied.
    void _copyTo(KrSim::KrExtension& copy) const override;

    std::vector<ConnectionRecord> connections;
    std::vector<ExtensionReference> references;
    bool isAwaitingDefinition{false};
    // In place, but not with the content that was meant, which takes over when it comes.
    std::vector<StandIn> standIns;
    std::vector<ConnectionRecord> standInConnections;

private:
    Kr::KrWeakPtr<KrSim::KrExtension> _extension;
    std::uint64_t _number;
};

}  // namespace KrPersistence::detail
