#pragma once

#include <string>
#include <string_view>

#include "kr/data/field_array.h"

namespace KrData {

/// The difference of two containers, as a container: it can be looked at, cloned and saved, and turns another likeness
/// of the first container into one of the second.
///
/// It always has its three arrays as first children: "AddedFields", "RemovedFields", "ModifiedFields". Fields are
/// named by their path relative to the container that was compared.
class KR_API ContainerDiff : public Container {
public:
    /// A recorded field: its path, and a clone of it, the second child.
    class KR_API Item : public Container {
    public:
        explicit Item(const Kr::KrID& id, Container* parent = nullptr);
        Item(const Item& source);
        ~Item() override;

        /// Records a clone of `field` in place of the one held so far, and its path without as many characters as
        /// `prefix` has. False when the field has no clone.
        bool set(const FieldBase& field, std::string_view prefix);
        /// The clone, or null.
        [[nodiscard]] FieldBase* getField() const noexcept { return size() > 1 ? getChildren()[1] : nullptr; }
        [[nodiscard]] std::string getFieldPath() const;

        [[nodiscard]] Item* _duplicate() const override;
        [[nodiscard]] Item* clone(const Kr::KrID& id, Container* parent) const override;
        [[nodiscard]] Item* clone(Container* parent) const override;
    };

    using Items = FieldArray<Item>;
    using Paths = FieldArray<Field<std::string>>;

    explicit ContainerDiff(const Kr::KrID& id, Container* parent = nullptr);
    ContainerDiff(const ContainerDiff& source);
    ~ContainerDiff() override;

    /// Records what turns `first` into `second`, in place of what was recorded so far. Children are matched by
    /// identifier, containers compared child by child, everything else by isEqual. Neither container may change
    /// meanwhile, under an observer of this difference for example.
    void diff(const Container& first, const Container& second);
    /// Removes, adds and copies in `target` what was recorded, in this order.
    ///
    /// A removed field is destroyed, as Container::removeField does it. An added field goes to the end of its parent,
    /// or takes the place of the child with its identifier, which is destroyed. A modified field keeps its type and
    /// takes the recorded value, converted where the types differ (FieldBase::copyValue). True when every entry was
    /// applied. An entry whose path is not found, whose value the field refuses, or whose removal the parent refuses is
    /// passed over.
    bool apply(Container& target) const;

    [[nodiscard]] bool hasDifferences() const noexcept {
        return !_added.empty() || !_removed.empty() || !_modified.empty();
    }
    [[nodiscard]] const Items& getAddedFields() const noexcept { return _added; }
    [[nodiscard]] const Paths& getRemovedFields() const noexcept { return _removed; }
    [[nodiscard]] const Items& getModifiedFields() const noexcept { return _modified; }

    [[nodiscard]] ContainerDiff* _duplicate() const override;
    [[nodiscard]] ContainerDiff* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] ContainerDiff* clone(Container* parent) const override;
    void _cloneFrom(const FieldBase& source) override;
    /// Never: the arrays are part of the difference.
    [[nodiscard]] bool _mayRemove(std::size_t count) const override;

private:
    struct Prefixes {
        std::string first;
        std::string second;
    };
    void _compare(const Container& first, const Container& second, const Prefixes& prefixes);

    Items _added;
    Paths _removed;
    Items _modified;
};

}  // namespace KrData
