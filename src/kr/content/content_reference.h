#pragma once

#include <concepts>
#include <functional>
#include <utility>

#include "kr/content/content_directory.h"
#include "kr/content/content_id.h"
#include "kr/content/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Refers to content by its ID, whether that content is there yet or not.
///
/// The reference finds the extension that carries the ID as soon as it is registered, loses it when it is destroyed or
/// unregistered, and then waits for the ID again. It is weak at first: it keeps nothing alive. Of several extensions
/// with one ID it takes the one it was made from, else the first. Where no extension has the ID, it takes the only one
/// with the same raw ID, the same item from a file of another name, until one with the ID comes. When its extension
/// changes its ID, the reference follows it and has the new ID.
///
///     KrContentReference definition(id);
///     definition.setObserver([this] { _onDefinitionChanged(); });
///     if (const auto held = definition.lock()) held->getName();
///
/// Thread: a reference belongs to one thread at a time, while content comes and goes on any. get() is for where the
/// extension cannot be destroyed by another thread; lock() is safe everywhere.
/// Costs 8 bytes until it refers to something.
class KR_API KrContentReference {
public:
    using Observer = std::function<void()>;

    /// Refers to nothing.
    KrContentReference() noexcept;
    /// Null refers to nothing. An extension that is not registered is found when it is.
    explicit KrContentReference(KrExtension* extension);
    template <class T>
    requires std::convertible_to<T*, KrExtension*>
    explicit KrContentReference(const Kr::KrSmartPtr<T>& extension)
        : KrContentReference(static_cast<KrExtension*>(extension.get())) {}
    explicit KrContentReference(const KrContentID& id);
    /// Copies target, strength and connection. The observer stays: it belongs to the owner of the other one, and the
    /// target of an assignment keeps its own.
    KrContentReference(const KrContentReference& other);
    KrContentReference& operator=(const KrContentReference& other);
    /// Moves the observer, too; the other one refers to nothing.
    KrContentReference(KrContentReference&& other) noexcept;
    KrContentReference& operator=(KrContentReference&& other) noexcept;
    /// Returns when no other thread is in a call of the observer, so the observer must not wait for this thread.
    ~KrContentReference();

    // --- Target ----------------------------------------------------------------------------------------------------
    /// The extension, or null while none with the ID is registered. One atomic read. May be a dying one in its own
    /// destructor.
    [[nodiscard]] KrExtension* get() const noexcept;
    /// The same with a holder; null, too, for an extension without a holder. Needs <kr/extension/extension.h>.
    template <std::same_as<KrExtension> T = KrExtension>
    [[nodiscard]] Kr::KrSmartPtr<T> lock() const {
        const KrContentDirectory::Held held = _hold();
        return Kr::KrSmartPtr<T>(held.first);
    }
    /// The ID that it refers to, whether or not an extension carries it; empty when it refers to nothing.
    [[nodiscard]] KrContentID getContentID() const;
    /// Whether it refers to nothing, not even to an ID that no extension carries.
    [[nodiscard]] bool isEmpty() const;
    /// Refers to something else from now on, connected to the registry. The observer is not called for that.
    void setTarget(const KrContentID& id);
    void setTarget(KrExtension* extension);
    /// Refers to nothing; strength and observer stay.
    void reset();

    // --- Strength --------------------------------------------------------------------------------------------------
    /// A strong reference holds its extension as soon as it has found it, provided that it has another holder then, or
    /// that it was given to setTarget of a strong reference. It keeps an extension that is unregistered meanwhile.
    void enableStrongReference(bool enable);
    [[nodiscard]] bool isStrongReference() const;

    // --- Registry --------------------------------------------------------------------------------------------------
    /// Follows the ID; every new target does so by itself.
    void connectToRegistry();
    /// From now on a weak reference has no extension, and a strong one keeps its own.
    void disconnectFromRegistry();
    [[nodiscard]] bool isConnectedToRegistry() const;
    /// Takes the extension if it carries the ID and no other was found; answers whether it is the target now. The
    /// registry tells connected references by itself.
    bool onExtensionRegistered(KrExtension* extension);

    /// The function is called after the reference found or lost its extension; get() and lock() say which. It runs on
    /// the thread that registered, unregistered or destroyed the extension, without any lock, and may do everything,
    /// also destroy the reference. What it throws is logged as a warning. Null takes it away.
    /// Returns when no other thread is in a call of the observer before.
    void setObserver(Observer observer);

private:
    [[nodiscard]] detail::ContentLink& _makeLink();
    [[nodiscard]] KrContentDirectory::Held _hold() const;
    void _connect(const KrContentID& id, const KrContentDirectory::Held& preferred);
    void _copyTarget(const KrContentReference& other);
    void _close() noexcept;

    detail::ContentLink* _link{nullptr};  // shared with the directory, made when it is needed
};

}  // namespace KrSim
