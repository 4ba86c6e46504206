#pragma once

#include <cstddef>
#include <mutex>

#include "kr/extension/extension.h"
#include "kr/platform/array.h"

namespace KrSim::detail {

/// The living extensions of each type that the factory made. They are linked through the extensions themselves, so that
/// nothing is allocated when one comes and nothing is searched when one goes.
///
/// Its mutex is taken inside that of the factory's registry, never the other way round.
class ObjectMap {
public:
    /// The instances of one type, kept with the type, which stays as long as there are any.
    struct Instances {
        KrExtension* first{nullptr};
        KrExtension* last{nullptr};
        std::size_t count{0};  ///< with those that are being made, of which there is nothing to link yet
    };

    static ObjectMap& instance();

    /// Counts an extension that is about to be made.
    void announce(Instances& instances);
    /// Ends the announcement and links the extension; null when none was made, unchanged when it was linked before.
    void add(Instances& instances, KrExtension* extension);
    void remove(KrExtension& extension) noexcept;

    [[nodiscard]] std::size_t getCount(const Instances& instances) const;
    /// In the order of their making, without those whose destruction has begun.
    [[nodiscard]] Kr::KrArray<KrExtension*> getAll(const Instances& instances) const;

private:
    mutable std::mutex _mutex;  // guards the instances of all types and the links in all extensions
};

}  // namespace KrSim::detail
