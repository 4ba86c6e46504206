#pragma once

#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>
#include <utility>

#include "kr/application/context/fwd.h"
#include "kr/data/fwd.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The implementation half of an extension: the behaviour that a plug-in author writes. The framework half, its proxy,
/// holds everything that is saved and shown.
///
///     class Vehicle final : public KrSim::IExtension {
///     public:
///         static constexpr int kVersion = 1;
///         explicit Vehicle(KrSim::KrExtension* proxy) : IExtension(proxy, kVersion) {}
///
///         KrSim::Input<double> force{this, "Force", {.dimension = Kr::kForce}};
///         KrSim::Output<double> speed{this, "Speed", {.dimension = Kr::kSpeed}};
///     };
///
/// The fields come from <kr/extension/typed_field.h>; the factory makes both halves (KR_EXTENSION, KR_PLUGIN).
///
/// Thread: the application thread makes, calls and destroys it.
/// Ownership: made with `new`, it belongs to its proxy, which destroys it.
/// Failure: an exception that leaves a callback is logged as a warning with the name of the extension, and the
/// framework goes on as if the callback had returned.
class KR_API IExtension {
public:
    /// The framework half that the factory makes for implementations of this kind.
    using Proxy = KrExtension;

    /// A version that marks a placeholder: the proxy keeps it, but calls nothing and says that it has no
    /// implementation.
    static constexpr std::int32_t kNoImplementationVersion = std::numeric_limits<std::int32_t>::min();

    /// Attaches itself to the proxy, and replaces the implementation that it had. A null proxy is an error; the
    /// implementation stays harmless then: its fields hold nothing and read as their defaults.
    /// \param version  of the data that this implementation saves; it comes back in onLoading and onLoaded.
    IExtension(KrExtension* proxy, int version);
    IExtension(const IExtension&) = delete;
    IExtension& operator=(const IExtension&) = delete;

    // --- Callbacks, in slot order; do nothing by default -----------------------------------------------------------
    virtual ~IExtension();
    /// The first module manages the extension: it takes part in the simulation from now on.
    virtual void onActive();
    /// No module manages the extension any more.
    virtual void onInactive();
    virtual void onAddToOwner(KrObject* owner);
    virtual void onRemoveFromOwner(KrObject* owner);
    /// The fields have their loaded values. `data` holds the bytes that onSaving wrote.
    virtual void onLoaded(std::istream& data, int version);
    /// Writes what the fields do not hold.
    virtual void onSaving(std::ostream& data);
    /// Before the fields are loaded from `fields`, which may be changed to suit: renamed inputs, other units. All of
    /// them count as produced meanwhile, so setID and setParent work. \param version  of the implementation that saved
    /// them, -1 when it is not known.
    virtual void onLoading(KrData::Container& fields, int version);
    /// Redirects a saved connection of a field that is there no more: answers the fields to connect instead.
    /// \param other      the extension at the other end, null when it is not there.
    /// \param fieldPath  of the missing field of this extension.
    /// \param isSource   whether that field was the source.
    /// \return the source and the sink; null, null (the default) keeps the connection for the next save, unmade.
    virtual std::pair<KrData::FieldBase*, KrData::FieldBase*> onRestoringConnection(KrExtension* other,
                                                                                    const std::string& fieldPath,
                                                                                    int version, bool isSource);
    /// Writes what a snapshot of the running simulation needs beyond the fields; onStateRestore reads it back.
    virtual void onStateSave(std::ostream& state);
    virtual void onStateRestore(std::istream& state);
    /// This extension was cloned from, or brought in line with, `source`: its fields and connections are copied.
    virtual void onSynchronized(const IExtension& source);

    // --- The proxy -------------------------------------------------------------------------------------------------
    /// The name field of the proxy; empty without a proxy.
    [[nodiscard]] std::string getName() const;
    /// Nothing happens when the name is the same.
    void setName(const std::string& name);
    /// The implementation of the object that holds this extension; empty when there is none.
    [[nodiscard]] KrSmartInterface<IObject> getParent() const;
    /// The application that this extension belongs to; the context of no application without one.
    [[nodiscard]] ApplicationContext getApplicationContext() const;
    /// Whether the proxy counts this as its implementation: false without a proxy and for placeholders.
    [[nodiscard]] bool hasImplementation() const noexcept;

    /// Null for an implementation made without a proxy.
    [[nodiscard]] KrExtension* _getProxy() const noexcept { return _proxy; }
    [[nodiscard]] std::int32_t _getVersion() const noexcept { return _version; }

private:
    friend class KrExtension;

    KrExtension* _proxy;
    std::int32_t _version;
};

}  // namespace KrSim
