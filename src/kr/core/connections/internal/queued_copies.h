#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"

namespace Kr::detail {

class CopyStore;

/// A copy of a value on its way to the sink. The address of this object is the payload of its event.
struct QueuedCopy {
    std::shared_ptr<KrData::FieldBase> value;
    KrData::FieldReference sink;
    std::shared_ptr<CopyStore> store{};  // takes the copy back; null: it is destroyed after delivery
    bool isShared{false};                // a simulation state has the value, too, so it must not change
};

/// The copies in progress in this process, so that none is lost with its event, and no address is used that this
/// process did not send.
///
/// Thread: any. Ownership: owns the copies. Never destroyed: events may be delivered until the very end of the process.
class QueuedCopies {
public:
    using Map = std::unordered_map<const void*, std::unique_ptr<QueuedCopy>>;
    using Node = Map::node_type;

    static QueuedCopies& instance();

    /// A node for a copy that is not sent yet. Throws std::bad_alloc.
    [[nodiscard]] static Node makeNode(QueuedCopy copy);
    /// Returns the payload. The node is lost when memory does not suffice.
    const void* add(Node node);
    /// An empty node when the payload belongs to no copy in progress.
    [[nodiscard]] Node take(const void* payload);
    /// The copy, which stays in progress; empty for an unknown payload. The value does not change any more.
    [[nodiscard]] QueuedCopy peek(const void* payload);
    [[nodiscard]] std::size_t count();

private:
    void _free();

    std::mutex _mutex;  // guards the map
    Map _underWay;
};

/// The delivered copies of one connection, which its next transfers use again, so that a steady frame allocates
/// nothing. It keeps as many as were in progress at the same time.
///
/// Thread: any. Shared by the connection and its copies in progress.
class CopyStore : public std::enable_shared_from_this<CopyStore> {
public:
    /// A copy of the value for the sink; an empty node for a proxy without a value.
    [[nodiscard]] QueuedCopies::Node makeCopy(const KrData::FieldBase& source, const KrData::FieldReference& sink);
    /// For a copy that was delivered or never will be: its store takes it back, or it is destroyed.
    static void finish(QueuedCopies::Node node) noexcept;
    /// The connection ends: copies are destroyed from now on.
    void close() noexcept;

private:
    [[nodiscard]] QueuedCopies::Node _takeSpare();
    void _giveBack(QueuedCopies::Node node) noexcept;

    std::mutex _mutex;  // guards the members
    std::vector<QueuedCopies::Node> _spares;
    std::size_t _nodeCount{0};  // made by this store; _spares has room for all
    bool _isClosed{false};
};

}  // namespace Kr::detail
