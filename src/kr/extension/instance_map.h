#pragma once

#include <cstddef>
#include <mutex>

#include "kr/extension/extension.h"
#include "kr/platform/array.h"

namespace KrSim::detail {

/// The living extensions of each type that the factory created. They are linked through the extensions themselves, so
/// that creation allocates nothing and destruction searches nothing.
///
/// Its mutex is locked inside that of the factory's registry, never the other way round.
class ObjectMap {
public:
    /// The instances of one type, stored with the type, which remains registered as long as there are any.
    struct Instances {
        KrExtension* first{nullptr};
        KrExtension* last{nullptr};
        std::size_t count{0};  ///< including those that are being created and cannot be linked yet
    };

    static ObjectMap& instance();

    /// Counts an extension that will be created.
    void announce(Instances& instances);
    /// Ends the announcement and links the extension; null when none was created. A linked extension is unchanged.
    void add(Instances& instances, KrExtension* extension);
    void remove(KrExtension& extension) noexcept;

    [[nodiscard]] std::size_t getCount(const Instances& instances) const;
    /// In the order of creation, without those whose destruction has begun.
    [[nodiscard]] Kr::KrArray<KrExtension*> getAll(const Instances& instances) const;

private:
    mutable std::mutex _mutex;  // guards the instances of all types and the links in all extensions
};

}  // namespace KrSim::detail
