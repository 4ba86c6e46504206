#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/data/fwd.h"
#include "kr/extension/fwd.h"
#include "kr/platform/array.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

/// A closed path along connections.
struct KrConnectionCycle {
    struct Step {
        KrExtension* extension;   ///< borrowed
        std::string sourceField;  ///< path of its output, where the connection to the next step begins
        std::string sinkField;    ///< path of the field of the next step, where it ends
    };
    std::vector<Step> steps;  ///< the last one leads to the first
};

/// Orders extensions so that the source of every connection runs before its sink.
///
/// The order is computed by the first query after a change, and shared by all lists. Queued connections are excluded
/// from ordering. When connections form a cycle no order is right: a warning names the extensions, and they run in the
/// order of their registration, before extensions that only follow from them.
///
/// Thread: any. The mutex guards the tables only; listeners and the log are called without it. Changes of the fields,
/// names and owners of registered extensions belong to the thread of their application, as do the queries with an
/// extension, an object or a field. Applications may run in several threads: each sorts its own content by the common
/// order, and the cycles of each are reported on its own thread. getCycles and toDot omit content that runs on another
/// thread.
/// Ownership: extensions and connections are borrowed; both remove themselves when they die.
class KR_API KrExtensionSorter {
public:
    class Listener;
    using ConnectionFunction = std::function<void(const Kr::KrConnectionBase*)>;

    [[nodiscard]] static KrExtensionSorter& instance();  ///< Created with the first call, never destroyed.
    /// Whether instance() was called already.
    [[nodiscard]] static bool hasInstance() noexcept;
    KrExtensionSorter(const KrExtensionSorter&) = delete;
    KrExtensionSorter& operator=(const KrExtensionSorter&) = delete;

    // --- The graph -------------------------------------------------------------------------------------------------
    /// Ignores null and a registered extension.
    void addExtension(KrExtension* extension);
    /// Ignores null and an extension that is not registered; its connections are kept.
    void removeExtension(KrExtension* extension);
    /// Removes all extensions and connections.
    void reset();

    // --- The order -------------------------------------------------------------------------------------------------
    /// Computes the order if something changed since the last time; costs nothing otherwise.
    void build();
    /// Puts the extensions of the list in the global order. Extensions that were not added are placed after the others,
    /// with a warning that counts them; null and repeated entries, too.
    void sortExtensions(Kr::KrArray<Kr::KrSmartPtr<KrExtension>>& list);
    /// Incremented by every build: code that sorted a list stores it and sorts again when it differs.
    [[nodiscard]] std::uint32_t getLastBuildNumber() const;
    /// All extensions, in the order in which they were added.
    [[nodiscard]] Kr::KrArray<KrExtension*> getExtensions() const;
    /// All extensions in the order in which they run; builds if need be.
    [[nodiscard]] Kr::KrArray<KrExtension*> getGlobalOrder();
    /// Whether connections form a cycle; builds if necessary.
    [[nodiscard]] bool hasGraphCycle() const;
    /// Cycles among the connections, at least one for each strongly connected part; builds if necessary.
    [[nodiscard]] std::vector<KrConnectionCycle> getCycles() const;

    // --- Connections -----------------------------------------------------------------------------------------------
    /// From and to the fields of an extension.
    [[nodiscard]] std::vector<Kr::KrConnectionBase*> getConnections(const KrExtension* extension) const;
    /// Appends all registered connections, in the order of registration.
    void getConnections(std::vector<Kr::KrConnectionBase*>& connections) const;
    /// Whose source the extension owns.
    [[nodiscard]] std::vector<Kr::KrConnectionBase*> getConnectionsFrom(const KrExtension* extension) const;
    /// Whose sink the extension owns.
    [[nodiscard]] std::vector<Kr::KrConnectionBase*> getConnectionsTo(const KrExtension* extension) const;
    /// Those with one end in or below one object and the other in or below the other, in either direction.
    [[nodiscard]] std::vector<Kr::KrConnectionBase*> getConnectionsBetween(const KrObject* first,
                                                                           const KrObject* second) const;
    /// Calls the function with each connection of an extension.
    void _foreachConnection(const KrExtension* extension, const ConnectionFunction& function) const;
    /// Whether a registered connection ends or begins at the field.
    [[nodiscard]] bool isFieldConnected(const KrData::FieldBase* field) const;
    /// As the beginning of a connection.
    [[nodiscard]] bool isFieldConnectedAsSource(const KrData::FieldBase* field) const;
    [[nodiscard]] bool isFieldConnectedAsSink(const KrData::FieldBase* field) const;  ///< As the end of a connection.
    /// Destroys the connections that begin or end at the field, or at one below it, and have no owner: those created by
    /// the connection factory that no owner took. The others are kept.
    void destroyConnections(KrData::FieldBase* field);

    // --- Examining it ------------------------------------------------------------------------------------------------
    /// Writes the graph in the Graphviz dot language: extensions in the global order, connections with the paths of
    /// their fields. Extensions of cycles are red, connections that order nothing dashed.
    void toDot(std::ostream& stream) const;
    /// Ignores a listener that is registered already. The listener is borrowed: unregister it before it dies, and not
    /// on another thread while it may be called. Rules of a delivery: docs/notification.md.
    void registerListener(Listener* listener);
    void unregisterListener(Listener* listener);
    /// The same for a shared listener, which may be released on any thread: it lives until the handle ends the
    /// registration and the calls in progress have ended. An empty handle when it is registered already.
    [[nodiscard]] KrData::DelegateConnection holdListener(std::shared_ptr<Listener> listener);

    // --- For connections and extensions ----------------------------------------------------------------------------
    void _addConnection(Kr::KrConnectionBase* connection);
    void _removeConnection(Kr::KrConnectionBase* connection);

private:
    struct State;
    struct ForExtensions;

    KrExtensionSorter();
    ~KrExtensionSorter();

    void _onConnectionChanged(const Kr::KrConnectionBase& connection);

    std::unique_ptr<State> _state;
};

/// Observes changes of the graph. Override the functions that you need; they do nothing by default. A callback may
/// change the graph and the listeners; an exception is logged as a warning.
/// Thread: the one that makes the change or builds. Ownership: borrowed, or shared by holdListener.
class KR_API KrExtensionSorter::Listener {
public:
    virtual ~Listener();
    virtual void onExtensionAdded(KrExtension* extension);
    /// The extension may be dying: use its address only.
    virtual void onExtensionRemoved(KrExtension* extension);
    virtual void onConnectionAdded(Kr::KrConnectionBase* connection);
    /// The connection may be dying: use its address only.
    virtual void onConnectionRemoved(Kr::KrConnectionBase* connection);
    /// A new order was computed.
    virtual void onBuilt(std::uint32_t buildNumber);
};

}  // namespace KrSim
