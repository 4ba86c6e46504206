#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "kr/core/connection_base.h"
#include "kr/data/container.h"
#include "kr/data/field_reference.h"
#include "kr/extension/object.h"
#include "kr/extension/waiting_connection.h"

namespace KrSim::detail {

class TreeIndex;

/// The connections of an instance that do not come from its definition, while the definition lacks their parts or
/// fields: those with content outside, and those that the user made between two parts. The instance keeps them, and
/// makes them again when both ends exist.
///
/// A kept connection is stored as a disabled copy between copies of its two fields, so that connections of every class
/// keep their settings.
/// Thread: application.
class OutsideConnections {
public:
    OutsideConnections();
    OutsideConnections(const OutsideConnections&) = delete;
    OutsideConnections& operator=(const OutsideConnections&) = delete;
    ~OutsideConnections();

    /// Whether a connection was not made by the definition.
    using IsOwn = std::function<bool(const Kr::KrConnectionBase&)>;

    /// Keeps the own connections of the extension and of all below it. Call it before the extension is removed.
    void noteLeaving(const KrObject& instance, const KrExtension& extension, const IsOwn& isOwn);
    /// Keeps those of the field and of all below it. Call it before the field is destroyed.
    void noteLeaving(const KrObject& instance, const KrData::FieldBase& field, const IsOwn& isOwn);
    /// Makes the connections whose two ends exist, and drops those whose other end has been destroyed permanently.
    void restore(const KrObject& instance);
    /// Copies those between two parts of another instance, of which this one has copies.
    /// \param from  the content ID of the other instance; \param to  that of this one.
    void copyInner(const OutsideConnections& source, const KrContentID& from, const KrContentID& to);
    /// The content IDs of the instance and of its parts have changed.
    void move(const KrContentID& from, const KrContentID& to);
    /// Those whose other end exists, or belongs to an instance and may be created again.
    [[nodiscard]] std::vector<KrWaitingConnection> describe() const;
    /// Logs a warning for each connection that has been kept or dropped since the last call.
    void report(const KrObject& instance);

private:
    /// A field, and the data for finding it after its destruction.
    struct End {
        End(const KrObject& instance, KrData::FieldBase& at, const KrExtension& owner);
        [[nodiscard]] std::string describe(const KrObject& instance) const;

        KrContentID extension;
        std::string path;  // as it is stored
        KrData::FieldReference field;
        bool isInside{false};  // the instance
        std::string name;      // the path of the extension; inside, that from the instance on
    };
    struct Kept {
        [[nodiscard]] const End& getSource() const noexcept { return isPartSource ? part : other; }
        [[nodiscard]] const End& getSink() const noexcept { return isPartSource ? other : part; }

        End part;
        End other;
        bool isPartSource;
        bool isEnabled;
        bool isOrdering;  // its extensions; for a disabled one
        bool isReported{false};
        std::unique_ptr<KrData::Container> source;
        std::unique_ptr<KrData::Container> sink;
        std::unique_ptr<Kr::KrConnectionBase> prototype;  // between children of these two

        /// False when a connection like the given one cannot be made.
        [[nodiscard]] bool makePrototype(const Kr::KrConnectionBase& connection);
    };
    enum class Outcome { kDone, kStays, kBelongsToOther };
    struct Leaving;

    void _keepAll(Leaving& leaving);
    void _keep(const KrObject& instance, const Kr::KrConnectionBase& connection, bool isPartSource);
    [[nodiscard]] static Outcome _tryToRestore(Kept& kept, const TreeIndex& parts);
    /// Gives the first one to the instance at its other end.
    void _handOver(const KrObject& from, std::list<Kept>& open);

    std::list<Kept> _kept;
    std::list<Kept> _dropped;  // since the last report
};

}  // namespace KrSim::detail
