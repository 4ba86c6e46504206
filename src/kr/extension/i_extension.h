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

/// The implementation half of an extension: the behaviour, written by a plug-in author. The framework half, its proxy,
/// has everything that is saved and shown.
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
/// The fields come from <kr/extension/typed_field.h>; the factory creates both halves (KR_EXTENSION, KR_PLUGIN).
///
/// Thread: application, for creation, calls and destruction.
/// Ownership: created with `new`, owned by its proxy, which destroys it.
/// Errors: an exception of a callback is logged as a warning with the name of the extension, and the framework
/// continues as if the callback had returned.
class KR_API IExtension {
public:
    /// The framework half that the factory creates for implementations of this kind.
    using Proxy = KrExtension;

    /// A version that marks a placeholder: the proxy keeps it, but reports no implementation and calls nothing.
    static constexpr std::int32_t kNoImplementationVersion = std::numeric_limits<std::int32_t>::min();

    /// Attaches itself to the proxy, and replaces its previous implementation. A null proxy is an error; without a
    /// proxy the fields read as their defaults.
    /// \param version  of the data that this implementation saves; onLoading and onLoaded get it back.
    IExtension(KrExtension* proxy, int version);
    IExtension(const IExtension&) = delete;
    IExtension& operator=(const IExtension&) = delete;

    // --- Callbacks, in slot order; do nothing by default ------------------------------------------------------------
    virtual ~IExtension();
    /// The first module manages the extension: it takes part in the simulation from now on.
    virtual void onActive();
    /// No module manages the extension any more.
    virtual void onInactive();
    /// After the extension was added to an object.
    virtual void onAddToOwner(KrObject* owner);
    virtual void onRemoveFromOwner(KrObject* owner);
    /// The fields have their loaded values. `data` contains the bytes that onSaving wrote.
    virtual void onLoaded(std::istream& data, int version);
    /// Writes the data that the fields do not contain.
    virtual void onSaving(std::ostream& data);
    /// Before the fields are loaded from `fields`, which may be changed to fit: renamed inputs, other units. All of
    /// them count as produced meanwhile, so setID and setParent work.
    /// \param version  of the implementation that saved them, -1 when unknown.
    virtual void onLoading(KrData::Container& fields, int version);
    /// Redirects a saved connection of a field that does not exist any more: returns the fields to connect instead.
    /// \param other      the extension at the other end, null when it does not exist.
    /// \param fieldPath  of the missing field of this extension.
    /// \param isSource   whether that field was the source.
    /// \return the source and the sink; null, null (the default) only keeps the connection for the next save.
    virtual std::pair<KrData::FieldBase*, KrData::FieldBase*> onRestoringConnection(KrExtension* other,
                                                                                    const std::string& fieldPath,
                                                                                    int version, bool isSource);
    /// Writes the data that a snapshot of the running simulation needs besides the fields; onStateRestore reads it.
    virtual void onStateSave(std::ostream& state);
    virtual void onStateRestore(std::istream& state);
    /// This extension was cloned from `source`, or synchronised with it: its fields and connections are copied already.
    virtual void onSynchronized(const IExtension& source);

    // --- The proxy -------------------------------------------------------------------------------------------------
    /// The name field of the proxy; empty without a proxy.
    [[nodiscard]] std::string getName() const;
    /// Does nothing when the name is the same.
    void setName(const std::string& name);
    /// The implementation of the object that contains this extension; empty without one.
    [[nodiscard]] KrSmartInterface<IObject> getParent() const;
    /// The application that this extension belongs to; the context of no application without one.
    [[nodiscard]] ApplicationContext getApplicationContext() const;
    /// Whether this is the proxy's implementation: false without a proxy and for placeholders.
    [[nodiscard]] bool hasImplementation() const noexcept;

    /// Null for an implementation created without a proxy.
    [[nodiscard]] KrExtension* _getProxy() const noexcept { return _proxy; }

private:
    friend class KrExtension;

    KrExtension* _proxy;
    std::int32_t _version;
};

}  // namespace KrSim
