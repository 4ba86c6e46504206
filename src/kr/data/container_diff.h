#pragma once

#include <string>
#include <string_view>

#include "kr/data/field_array.h"

namespace KrData {

/// The difference of two containers, as a container: it can be examined, cloned and saved, and changes a copy of the
/// first container into a copy of the second.
///
/// Its first children are always its three arrays: "AddedFields", "RemovedFields", "ModifiedFields". Fields are named
/// by their path relative to the compared container.
/// Thread: application. Ownership: owns its records.
class KR_API ContainerDiff : public Container {
public:
    /// A recorded field: its path, and a clone of it, the second child.
    /// Thread: application. Ownership: owns the clone.
    class KR_API Item : public Container {
    public:
        explicit Item(const Kr::KrID& id, Container* parent = nullptr);
        Item(const Item& source);
        ~Item() override;

        /// Records a clone of `field`, replacing the previous one, and its path without the first characters, as many
        /// as `prefix` has. False when the field cannot be cloned.
        bool set(const FieldBase& field, std::string_view prefix);
        /// The clone, or null.
        [[nodiscard]] FieldBase* getField() const noexcept { return size() > 1 ? getChildren()[1] : nullptr; }
        /// The path relative to the compared container.
        [[nodiscard]] std::string getFieldPath() const;

        [[nodiscard]] Item* clone(const Kr::KrID& id, Container* parent) const override;
        [[nodiscard]] Item* clone(Container* parent) const override;

    protected:
        [[nodiscard]] Item* _duplicate() const override;
    };

    using Items = FieldArray<Item>;
    using Paths = FieldArray<Field<std::string>>;

    /// Without differences.
    explicit ContainerDiff(const Kr::KrID& id, Container* parent = nullptr);
    ContainerDiff(const ContainerDiff& source);
    ~ContainerDiff() override;

    /// Records the changes from `first` to `second`, replacing earlier records. Children are matched by identifier,
    /// containers compared child by child, other fields by isEqual. Neither container may change meanwhile, for example
    /// by an observer of this difference.
    void diff(const Container& first, const Container& second);
    /// Applies the recorded removals, additions and modifications to `target`, in this order.
    ///
    /// A removed field is destroyed, as by Container::removeField. An added field is appended to its parent, or
    /// replaces the child with its identifier, which is destroyed. A modified field keeps its type and gets the
    /// recorded value, converted when the types differ (FieldBase::copyValue). True when every entry was applied. An
    /// entry is skipped when its path is not found, the field refuses its value, or the parent refuses the removal.
    bool apply(Container& target) const;

    /// Whether anything was recorded.
    [[nodiscard]] bool hasDifferences() const noexcept {
        return !_added.empty() || !_removed.empty() || !_modified.empty();
    }
    /// Fields of the second container only.
    [[nodiscard]] const Items& getAddedFields() const noexcept { return _added; }
    /// Paths of fields of the first container only.
    [[nodiscard]] const Paths& getRemovedFields() const noexcept { return _removed; }
    /// With the values of the second container.
    [[nodiscard]] const Items& getModifiedFields() const noexcept { return _modified; }

    [[nodiscard]] ContainerDiff* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] ContainerDiff* clone(Container* parent) const override;
    void _cloneFrom(const FieldBase& source) override;

protected:
    [[nodiscard]] ContainerDiff* _duplicate() const override;
    /// Always false: the arrays are part of the difference.
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
