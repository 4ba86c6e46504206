#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/core/connection_base.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/export.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

/// How a connection of a ConnectionContainer transfers.
struct ContainedConnectionOptions {
    bool isQueued{false};        ///< a KrSimQueuedConnection
    bool isUnitDelay{false};     ///< a KrUnitDelayConnection
    bool isInterpolated{false};  ///< a KrInterpolatedConnection
    bool isEnabled{true};        ///< besides the switch of the container
    double gain{1.0};            ///< the sink gets gain * source + offset, for numbers and vectors
    double offset{0.0};
};

/// Connections as content: an extension with a list of connections, which are enabled, disabled, saved and cloned
/// together. The type "Content.Connections".
///
///     auto* wiring = extension->getImplementationAs<KrSim::ConnectionContainer>();
///     wiring->add(*pedal.position.getField(), *motor.pedal.getField());
///     application->add(extension);                       // a ConnectionModule of the application connects them
///     wiring->enabled = false;                           // all of them at the same time
///
/// The list is the parameter "Connections", a group for each, which editors show and change: Source and Sink refer to
/// extensions, SourceField and SinkField are paths below them ("Outputs.Position"), Queued, UnitDelay,
/// Interpolated, Enabled, Gain and Offset as in ContainedConnectionOptions; UnitDelay and Interpolated may be missing.
/// Changes of the list take effect with the next frame. docs/connections.md.
///
/// A connection whose ends do not exist is not made, which is an error of the extension; it is made when both exist.
/// Object files contain the list, but not the connections made from it.
/// Thread: application. Ownership: owns its connections; owned by its proxy.
class KR_API ConnectionContainer final : public IExtension {
public:
    static constexpr int kVersion = 1;

    explicit ConnectionContainer(KrExtension* proxy);
    ~ConnectionContainer() override;

    /// Adds a connection; while the container is connected, it is made immediately. False, with a warning, for a field
    /// that belongs to no extension.
    bool add(const KrData::FieldBase& source, const KrData::FieldBase& sink,
             const ContainedConnectionOptions& options = {});
    /// Ends the connection and takes it out. False past the end.
    bool remove(std::size_t index);
    [[nodiscard]] std::size_t size() const;  ///< Entries of the list, made or not.
    /// Null past the end, and for a connection that is not made. Borrowed until the next change of this container.
    [[nodiscard]] Kr::KrConnectionBase* getConnection(std::size_t index) const;

    /// Makes all connections whose ends exist, and applies changes of the list. For modules, and hosts without one.
    /// \return  number of connections that are not made.
    std::size_t connect();
    /// Disconnects all connections; the list is kept.
    void disconnect();
    [[nodiscard]] bool isConnected() const noexcept { return _isConnected; }  ///< Since connect, until disconnect.
    /// Whether the list was changed since connect.
    [[nodiscard]] bool hasChangedList() const noexcept { return _isStale; }
    /// Whether a connection is not made: the list was changed, or an end is missing or has died.
    [[nodiscard]] bool isIncomplete() const;

    void onActive() override { connect(); }
    void onInactive() override { disconnect(); }

    Parameter<bool> enabled{this, "Enabled", {.value = true, .description = "Whether the connections transfer."}};

private:
    class Entry;
    struct Made;

    [[nodiscard]] KrData::Container* _list() const;
    void _watch();
    void _onChanged(const KrData::FieldBase& changed);
    void _enableAll();
    void _make(std::size_t index);
    void _report(std::size_t index, const std::string& error);

    std::vector<Made> _made;  // one for each entry of the list, unless it is stale
    KrData::DelegateConnection _listWatch;
    KrData::DelegateConnection _enabledWatch;
    bool _isConnected{false};
    bool _isStale{true};     // the list has changed
    bool _isEditing{false};  // here
};

}  // namespace KrSim
