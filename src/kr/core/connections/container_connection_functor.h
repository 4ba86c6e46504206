#pragma once

#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/container.h"
#include "kr/data/field_reference.h"

namespace Kr {

/// Makes the children of a container follow those of another container with the same identifiers, each pair with its
/// own functor. A change of one child transfers that child alone. Children without a fitting partner are skipped;
/// fields that are added later find theirs when they change. Nothing is added to the sink or removed from it, except
/// for two field arrays, which are paired by position: the sink gets as many items. Siblings that change during a
/// transfer are transferred once at its end.
/// Thread: that of the connection. Ownership: owned by its connection; the containers are borrowed.
class KR_API ContainerConnectionFunctor final : public ConnectionFunctor {
public:
    ContainerConnectionFunctor(const KrData::Container& source, KrData::Container& sink);
    ~ContainerConnectionFunctor() override;

    void transfer(const KrData::FieldBase& changed) override;
    void setSinkOwner(KrSim::KrExtension* owner) override;

private:
    struct Pair {
        KrData::FieldReference source;
        KrData::FieldReference sink;
        std::unique_ptr<ConnectionFunctor> functor;  // null when the two do not fit
    };

    void _pairUp();
    [[nodiscard]] bool _isPairedUp() const;
    [[nodiscard]] const Pair* _findPair(const KrData::FieldBase& child);
    [[nodiscard]] bool _isCurrent(const Pair& pair) const;
    void _transferAll();
    void _onBlocked(const KrData::FieldBase& changed) override;

    const KrData::Container& _container;
    KrData::Container& _sinkContainer;
    KrData::FieldReference _containerLife;
    KrData::FieldReference _sinkLife;
    bool _areArrays;
    std::vector<Pair> _pairs;  // in the order of the children of the source
    std::unordered_map<const KrData::FieldBase*, std::size_t> _places;
    const KrData::FieldBase* _child{nullptr};  // that is being transferred; for comparison only
    bool _wasBlocked{false};                   // others have changed meanwhile
};

}  // namespace Kr
