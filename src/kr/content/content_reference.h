#pragma once

#include <concepts>
#include <functional>
#include <utility>

#include "kr/content/content_id.h"
#include "kr/content/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Refers to content by its ID, whether or not that content exists.
///
/// The reference finds the extension with the ID as soon as it is registered, loses it when it is destroyed or
/// unregistered, and then waits for the ID again. It is weak by default: it keeps nothing alive. Of several extensions
/// with one ID it takes the one it was made from, else the first. When no extension has the ID, it takes the only one
/// with the same raw ID, the same item from a file of another name, until an extension with the ID is registered. When
/// its extension changes its ID, the reference follows it and has the new ID.
///
///     KrContentReference definition(id);
///     definition.setObserver([this] { _onDefinitionChanged(); });
///     if (const auto held = definition.lock()) held->getName();
///
/// Thread: one at a time for each reference, while extensions are registered and destroyed on any. Use get() only while
/// no other thread can destroy the extension; lock() is safe everywhere.
/// Ownership: borrows the extension; a strong reference shares it. Costs 8 bytes until it refers to something.
class KR_API KrContentReference {
public:
    using Observer = std::function<void()>;

    /// Refers to nothing.
    KrContentReference() noexcept;
    /// Null refers to nothing. An extension that is not registered is found after its registration.
    explicit KrContentReference(KrExtension* extension);
    template <class T>
    requires std::convertible_to<T*, KrExtension*>
    explicit KrContentReference(const Kr::KrSmartPtr<T>& extension)
        : KrContentReference(static_cast<KrExtension*>(extension.get())) {}
    /// The empty ID refers to nothing.
    explicit KrContentReference(const KrContentID& id);
    /// Copies target, strength and connection. A copy has no observer, the target of an assignment keeps its own.
    KrContentReference(const KrContentReference& other);
    KrContentReference& operator=(const KrContentReference& other);
    /// Moves the observer, too; the other reference refers to nothing afterwards.
    KrContentReference(KrContentReference&& other) noexcept;
    KrContentReference& operator=(KrContentReference&& other) noexcept;
    /// Returns when no other thread is calling the observer, so the observer must not wait for this thread.
    ~KrContentReference();

    // --- Target ----------------------------------------------------------------------------------------------------
    /// The extension, or null while no extension with the ID is registered. One atomic read. While the extension is
    /// being destroyed it may be the dying one.
    [[nodiscard]] KrExtension* get() const noexcept;
    /// The extension with a holder; null, too, for an extension without a holder. Needs <kr/extension/extension.h>.
    template <std::same_as<KrExtension> T = KrExtension>
    [[nodiscard]] Kr::KrSmartPtr<T> lock() const {
        const Held held = _hold();
        return Kr::KrSmartPtr<T>(held.first);
    }
    /// The ID that it refers to, whether or not an extension has it; empty when it refers to nothing.
    [[nodiscard]] KrContentID getContentID() const;
    /// Whether it refers to nothing; false for an ID that no extension has.
    [[nodiscard]] bool isEmpty() const;
    /// Replaces the target and connects the reference to the registry, without a call of the observer.
    void setTarget(const KrContentID& id);
    void setTarget(KrExtension* extension);
    /// Refers to nothing; strength and observer stay.
    void reset();

    // --- Strength --------------------------------------------------------------------------------------------------
    /// A strong reference holds its extension as soon as it finds it, provided that the extension has another holder
    /// then, or was given to setTarget of a strong reference. It keeps an extension that is unregistered meanwhile.
    void enableStrongReference(bool enable);
    [[nodiscard]] bool isStrongReference() const;  ///< False initially.

    // --- Registry --------------------------------------------------------------------------------------------------
    /// Follows the ID; setTarget does the same.
    void connectToRegistry();
    /// From now on a weak reference has no extension; a strong reference keeps its extension.
    void disconnectFromRegistry();
    [[nodiscard]] bool isConnectedToRegistry() const;
    /// Takes the extension if it has the ID and no other was found; returns whether it is the target now. The registry
    /// calls it for connected references.
    bool onExtensionRegistered(KrExtension* extension);

    /// The function is called after the reference found or lost its extension; get() and lock() give the new state. It
    /// runs on the thread that registered, unregistered or destroyed the extension, without any lock, and may call
    /// everything, also destroy the reference. An exception is logged as a warning. Null removes the observer.
    /// Returns when no other thread is calling the previous observer.
    void setObserver(Observer observer);

private:
    using Held = std::pair<KrExtension*, Kr::KrSmartPtr<Kr::KrRefCount>>;  // with a holder of it, or both null

    [[nodiscard]] detail::ContentLink& _makeLink();
    [[nodiscard]] Held _hold() const;
    void _connect(const KrContentID& id, const Held& preferred);
    void _copyTarget(const KrContentReference& other);
    void _close() noexcept;

    detail::ContentLink* _link{nullptr};  // shared with the directory, made when needed
};

}  // namespace KrSim
