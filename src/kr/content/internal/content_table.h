#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <random>
#include <unordered_map>

#include "kr/content/internal/content_link.h"

namespace KrSim::detail {

/// Data that most IDs do not need: further extensions with the ID, and references that follow it.
struct FurtherContent {
    std::list<KrExtension*> others;  // in the order of registration
    std::unordered_map<const KrExtension*, std::list<KrExtension*>::iterator> places;
    ContentLink* links{nullptr};
};

/// The extensions and references of one ID.
struct ContentPlace {
    KrExtension* first{nullptr};
    std::unique_ptr<FurtherContent> further;
};

/// IDs come from files, too: the seed prevents an author from choosing IDs that all share a bucket.
struct SeededIdentifierHash {
    std::uint64_t seed{std::uint64_t{std::random_device{}()} << 32U | std::random_device{}()};

    std::size_t operator()(const KrContentID::Identifier& id) const noexcept {
        std::uint64_t mixed = (id.first ^ seed) * 0x9E3779B97F4A7C15U;
        mixed = (mixed ^ mixed >> 32U ^ id.second) * 0xD6E8FEB86659FD93U;
        return mixed ^ mixed >> 32U;
    }
};

/// By ID of one kind, the extensions that have it and the references that follow it. One hash probe for a look-up;
/// every change takes the same time for any number of extensions and references of one ID.
/// Thread: one at a time (the directory's lock).
class ContentTable {
public:
    explicit ContentTable(eIDKind kind) : _kind(kind) {}

    /// Null when the ID has neither extensions nor references. Valid until the next change.
    [[nodiscard]] const ContentPlace* find(const KrContentID::Identifier& id) const;
    [[nodiscard]] KrExtension* findFirst(const KrContentID::Identifier& id) const;
    [[nodiscard]] bool contains(const KrContentID::Identifier& id, const KrExtension* extension) const;
    /// Number of extensions with the ID.
    [[nodiscard]] std::size_t countOf(const KrContentID::Identifier& id) const;
    [[nodiscard]] std::size_t extensionCount() const noexcept { return _extensionCount; }
    /// The references that follow the ID, as a list linked by the hooks of this kind.
    [[nodiscard]] ContentLink* linksOf(const KrContentID::Identifier& id) const;

    /// False when it was registered already. Throws std::bad_alloc, and nothing has changed then.
    bool add(const KrContentID::Identifier& id, KrExtension* extension);
    bool remove(const KrContentID::Identifier& id, const KrExtension* extension) noexcept;
    void addLink(ContentLink& link);
    void removeLink(ContentLink& link) noexcept;

private:
    using Places = std::unordered_map<KrContentID::Identifier, ContentPlace, SeededIdentifierHash>;

    FurtherContent& _furtherOf(ContentPlace& place);
    void _eraseIfUnused(Places::iterator place) noexcept;

    eIDKind _kind;
    Places _places;
    std::size_t _extensionCount{0};
};

}  // namespace KrSim::detail
