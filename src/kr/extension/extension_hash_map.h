#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "kr/content/content_id.h"
#include "kr/core/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"

namespace KrSim {

/// A set of extensions, each found by its hash, the two words of its runtime ID, which is unique in the set.
///
/// Thread: any. Ownership: extensions are borrowed; remove each one before it dies.
class KR_API KrExtensionHashMap : public Kr::KrRefCount {
public:
    using Hash = std::pair<std::uint64_t, std::uint64_t>;

    KrExtensionHashMap();
    KrExtensionHashMap(const KrExtensionHashMap&) = delete;
    KrExtensionHashMap& operator=(const KrExtensionHashMap&) = delete;
    ~KrExtensionHashMap() override;

    /// Ignores null and an extension of the set. Logs an error and changes nothing when the extension is in the set
    /// with another hash, because its ID changed meanwhile, or another one has its hash.
    void registerExtension(KrExtension* extension);
    /// Finds it by the hash that it had when it was registered.
    void unregisterExtension(const KrExtension* extension);
    [[nodiscard]] bool isRegistered(const KrExtension* extension) const;

    /// Null without such an extension.
    [[nodiscard]] KrExtension* operator[](const Hash& hash) const;
    /// The hash with which it was registered; zeros when it is not in the set.
    [[nodiscard]] Hash operator[](const KrExtension* extension) const;
    [[nodiscard]] std::size_t getExtensionsCount() const;
    /// Whether each extension is found by its hash, and still has it.
    [[nodiscard]] bool isValid() const;

private:
    using Key = KrContentID::Identifier;

    mutable std::mutex _mutex;  // guards both tables
    std::unordered_map<Key, KrExtension*> _extensions;
    std::unordered_map<const KrExtension*, Key> _hashes;
};

}  // namespace KrSim
