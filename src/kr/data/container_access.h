#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "kr/data/container.h"
#include "kr/data/field_internal.h"

namespace KrData::detail {

/// The functions of a container and of hidden fields for the framework; container.h and field_internal.h say what each
/// does.
struct ContainerAccess {
    static void endConnections(Container& container) noexcept { container._endConnections(); }
    static auto findDeprecated(const Container& container, const Kr::KrID& former) noexcept {
        return container._findDeprecated(former);
    }
    static auto findOwn(const Container& container, const Kr::KrID& id) noexcept { return container._findOwn(id); }
    static bool addNumberedField(Container& container, FieldBase* field, Container::iterator position) {
        return container._addNumberedField(field, position);
    }
    static void takeInternalIdentifiers(Container& container, const Container& source) {
        container._takeInternalIdentifiers(source);
    }
    /// The internal identifier of the next child without one.
    static std::uint32_t getNextInternalIdentifier(const Container& container) noexcept {
        return container._nextInternalIdentifier;
    }
    static bool mayAdd(const Container& container, const FieldBase& field) { return container._mayAdd(field); }
    static bool mayRemove(const Container& container, std::size_t count) { return container._mayRemove(count); }
    [[nodiscard]] static bool adopt(FieldBase* made, Container* parent) { return Container::_adopt(made, parent); }
    static void setHiddenFields(FieldInternal& internal, std::unique_ptr<Container> fields) {
        internal._adopt(std::move(fields));
    }
    static void refuseHiddenFields(FieldInternal& internal) noexcept { internal._refuseFields(); }
    template <class Copy>
    [[nodiscard]] static Copy* adoptAs(const Kr::KrID& id, Copy* copy, Container* parent) {
        return Container::_adoptAs(id, copy, parent);
    }
};

}  // namespace KrData::detail
