#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "kr/core/connection_base.h"
#include "kr/data/container.h"
#include "kr/data/field_reference.h"
#include "kr/extension/clone_map.h"
#include "kr/extension/object.h"
#include "kr/extension/waiting_connection.h"

namespace KrSim::detail {

/// The connections between parts of an instance and content outside of it, while the definition does not have these
/// parts: kept by the instance, and made again when the parts are there again.
///
/// A kept connection lives, disabled, between copies of its two fields: so connections of every class keep their
/// settings.
/// Thread: the application thread.
class OutsideConnections {
public:
    OutsideConnections();
    OutsideConnections(const OutsideConnections&) = delete;
    OutsideConnections& operator=(const OutsideConnections&) = delete;
    ~OutsideConnections();

    /// Keeps the connections that the extension, and all below it, has with others. Call it before the extension is
    /// removed from `instance`, directly or not.
    void noteLeaving(const KrObject& instance, const KrExtension& extension);
    /// Makes the connections whose parts and other ends are there. One between two parts of the instance is dropped: it
    /// follows the definition.
    void restore(KrObject& instance, const KrCloneMap& pairs);
    /// Those whose other end is there, or may come back.
    [[nodiscard]] std::vector<KrWaitingConnection> describe() const;
    /// Logs a warning for each connection that is kept since the last call.
    void report(const KrObject& instance);

private:
    /// A field, and by what it is found once it is gone.
    struct End {
        KrContentID extension;
        std::string path;  // as it is stored
        KrData::FieldReference field;
        std::string name;  // the path of the extension, that of a part below the instance
    };
    struct Kept {
        End part;
        End other;
        bool isPartSource;
        bool isEnabled;
        bool isOrdering;  // its extensions; of one that is disabled
        bool isReported{false};
        std::unique_ptr<KrData::Container> source;
        std::unique_ptr<KrData::Container> sink;
        std::unique_ptr<Kr::KrConnectionBase> prototype;  // between children of these two
    };
    enum class Outcome { kDone, kStays, kBelongsToOther };
    using Extensions = std::unordered_set<const KrExtension*>;
    class Parts;

    void _noteField(const KrObject& instance, const KrExtension& part, KrData::FieldBase& field,
                    const Extensions& leaving);
    void _keep(const KrObject& instance, const KrExtension& part, KrData::FieldBase& field,
               const Kr::KrConnectionBase& connection);
    [[nodiscard]] static Outcome _tryToRestore(Kept& kept, const Parts& parts, const KrCloneMap& pairs);
    static void _handOver(Kept kept);

    std::list<Kept> _kept;
};

}  // namespace KrSim::detail
