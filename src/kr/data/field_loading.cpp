#include "kr/data/field_loading.h"

#include <algorithm>
#include <memory>

#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_copying.h"
#include "kr/data/internal/array_conversion.h"
#include "kr/data/internal/child_pairs.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"

namespace KrData {

namespace {

bool isGroup(const FieldBase& field) {
    return field.getDataType() == Types::kContainer && !field.isFieldArray();
}

/// What clones do not have of their source: they are dynamic, nothing forces their observers, vectors do not track.
void takeFlags(FieldBase& clone, const FieldBase& source) {
    detail::FieldAccess::takeDeclaration(clone, source);
    clone._setDynamic(source.isDynamic());
    const auto& children = source.getChildren();
    const auto count = std::min(children.size(), clone.getChildren().size());
    for (std::size_t i = 0; i < count; ++i)
        takeFlags(*clone.getChildren()[i], *children[i]);
}

bool addMissing(Container& fields, const FieldBase& source, std::size_t index, FieldLoading how) {
    std::unique_ptr<FieldBase> made(source.clone(nullptr));
    if (!made) return false;
    if (how.withoutLinks) _dropLinks(*made);
    takeFlags(*made, source);
    if (!how.keepsDynamic) made->_setDynamic(true);
    const auto place = fields.begin() + static_cast<std::ptrdiff_t>(std::min(index, fields.size()));
    if (!fields._addField(made.get(), place)) return false;
    static_cast<void>(made.release());
    return true;
}

void loadField(FieldBase& field, const FieldBase& source, FieldLoading how);

void takeSizeRange(FieldArrayBase& array, const FieldArrayBase& saved) {
    array.setSizeRange(saved.getMinimumSize(), saved.getMaximumSize());
    if (!saved.hasSizeRange()) array.clearSizeRange();
}

/// An array that content has does not know the class of its items: they are made here, and take over one by one what
/// was saved. False where the size range forbids their number.
bool loadItems(FieldArrayBase& array, const FieldArrayBase& saved, FieldLoading how) {
    const detail::NotificationFrame frame(array, saved);
    if (how.withDeclarations) array.clearSizeRange();  // an array may have more items than its range lets it add
    if (!array.resize(saved.size())) return false;
    for (std::size_t i = 0; !frame.fieldDied() && i < array.size() && i < saved.size(); ++i) {
        auto& item = array.at(i);
        const detail::NotificationFrame itemFrame(item, item);
        item.setID(saved.at(i).getID());
        if (!itemFrame.fieldDied()) loadField(item, saved.at(i), how);
    }
    if (how.withDeclarations && !frame.fieldDied() && !frame.changedDied()) {
        takeSizeRange(array, saved);
        detail::ContainerAccess::takeInternalIdentifiers(array, saved);
    }
    return true;
}

/// Whether arrays are to be loaded item by item: a copied value says nothing about ranges and descriptions of items.
bool areLoadedByItem(const FieldBase& field, const FieldBase& source, FieldLoading how) {
    return field.isFieldArray() && source.isFieldArray() &&
           (how.withDeclarations || !detail::areSameKind(field, source));
}

bool areProxies(const FieldBase& field, const FieldBase& source) {
    return field.getDataType() == Types::kProxy && source.getDataType() == Types::kProxy;
}

void loadField(FieldBase& field, const FieldBase& source, FieldLoading how) {
    const detail::NotificationFrame frame(field, source);  // observers may destroy it
    if (how.withDeclarations) detail::FieldAccess::takeDeclaration(field, source);
    if (frame.fieldDied()) return;
    bool isLoaded = false;
    if (isGroup(field) && isGroup(source)) {
        _loadFields(static_cast<Container&>(field), static_cast<const Container&>(source), how);
        isLoaded = true;
    } else if (areLoadedByItem(field, source, how)) {
        isLoaded = loadItems(static_cast<FieldArrayBase&>(field), static_cast<const FieldArrayBase&>(source), how);
    }
    if (frame.fieldDied()) return;
    if (isLoaded) {
        detail::FieldAccess::replaceInternal(field, detail::FieldAccess::getInternalIfAny(source));
    } else if (how.withoutLinks && areProxies(field, source)) {
        detail::ProxyAccess::initializeWithoutLinks(static_cast<Proxy&>(field), static_cast<const Proxy&>(source));
    } else {
        detail::FieldAccess::takeBits(field, source);
        field.initializeFrom(source);
    }
}

/// The field that was called like `source` when it was saved, unless it was saved under its present name, too.
FieldBase* findFormer(const Container& fields, const Container& saved, const FieldBase& source) {
    const auto former = detail::ContainerAccess::findDeprecated(fields, source.getID());
    return former != fields.end() && detail::ContainerAccess::findOwn(saved, (*former)->getID()) == saved.end()
               ? *former
               : nullptr;
}

}  // namespace

void _loadFields(Container& fields, const Container& saved, FieldLoading how) {
    const detail::NotificationFrame frame(fields, saved);
    detail::ChildPairs pairs(saved.getChildren(), fields.getChildren());
    for (std::size_t i = 0; !frame.fieldDied() && !frame.changedDied() && i < saved.size(); ++i) {
        auto* field = pairs.find(i);
        if (field == nullptr) field = findFormer(fields, saved, saved[i]);
        if (field != nullptr) {
            loadField(*field, saved[i], how);
        } else if (addMissing(fields, saved[i], i, how)) {
            pairs.noteInserted();
        }
    }
    if (how.withDeclarations && !frame.fieldDied() && !frame.changedDied())
        detail::ContainerAccess::takeInternalIdentifiers(fields, saved);
}

}  // namespace KrData
