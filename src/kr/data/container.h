#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "kr/data/child_lookup.h"
#include "kr/data/field.h"
#include "kr/data/field_base.h"

namespace KrData {

namespace detail {
struct ContainerAccess;
struct DeprecatedName;
}  // namespace detail

/// A field whose value is an ordered list of child fields: the inputs of an extension, a group, a whole tree.
///
/// Lookups by identifier return the first match; identifiers should be unique among siblings, but this is not enforced
/// (getUniqueFieldId makes a unique one). Containers with many children make a table of their identifiers after a few
/// searches, so that adding and finding thousands takes linear time. Children are found again after a rename by their
/// internal identifier, which is unique in the container. A container never becomes its own descendant.
///
/// Thread: application. Ownership: the container owns its children and destroys them in order.
class KR_API Container : public FieldBase {
public:
    /// Visits `FieldBase*`; valid until children are added, removed or moved.
    using iterator = Children::const_iterator;

    /// With a parent the container adds itself to it, and is owned by it from then on.
    /// \param fieldType  the role of every field below it that is in no other container.
    explicit Container(const Kr::KrID& id, Container* parent = nullptr, Types::FieldTypeEnum fieldType = Types::kField);
    /// A detached deep copy.
    Container(const Container& source);
    ~Container() override;

    // --- Adding and removing ---------------------------------------------------------------------------------------
    /// Produces a field of this type at the end. Null when the type cannot be produced or is refused here; refused,
    /// with a warning, are also fields nested more than 1,000 levels deep.
    FieldBase* addField(const Kr::KrID& id, Types::DataTypeEnum dataType);
    /// Produces a field that refers to an extension of this interface.
    FieldBase* addExtensionField(const Kr::KrID& id, const Kr::KrID& interfaceId);
    /// Produces a Field<T> with this value: `container.add<double>("Mass", 12.0)->setRange(0.0, 100.0)`.
    template <class T>
    Field<T>* add(const Kr::KrID& id, const T& value = T{});
    /// Adds a container of the same field type. Null when it is refused, as by addField.
    Container* addContainer(const Kr::KrID& id);
    /// As addField, before `position`. Returns the place of the new field, end() without one.
    iterator insert(iterator position, const Kr::KrID& id, Types::DataTypeEnum dataType);
    /// The same by value type.
    iterator insert(iterator position, const Kr::KrID& id, const std::type_info& valueType);
    /// As addExtensionField, before `position`.
    iterator insertExtensionField(iterator position, const Kr::KrID& id, const Kr::KrID& interfaceId);
    /// Removes and destroys the first child with this identifier. False without such a child, and when that is refused.
    bool removeField(const Kr::KrID& id);
    /// Removes and destroys the child at `position`. Returns the place after it; `position` when that is refused.
    iterator erase(iterator position);
    /// Removes and destroys all children; does nothing when a size range forbids that.
    void clear();
    void reset() override;

    // --- Access ----------------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t size() const noexcept { return _children.size(); }
    [[nodiscard]] bool empty() const noexcept { return _children.empty(); }
    [[nodiscard]] iterator begin() const noexcept { return _children.begin(); }
    [[nodiscard]] iterator end() const noexcept { return _children.end(); }
    [[nodiscard]] iterator find(const Kr::KrID& id) const noexcept;  ///< end() without such a child.
    [[nodiscard]] FieldBase& operator[](const Kr::KrID& id) override;
    [[nodiscard]] const FieldBase& operator[](const Kr::KrID& id) const override;
    /// By index; the invalid field when the index is not below size().
    [[nodiscard]] FieldBase& operator[](std::size_t index);
    [[nodiscard]] const FieldBase& operator[](std::size_t index) const;
    /// The invalid field when the index is not below size().
    [[nodiscard]] FieldBase& at(std::size_t index) { return (*this)[index]; }
    [[nodiscard]] const FieldBase& at(std::size_t index) const { return (*this)[index]; }
    [[nodiscard]] const Children& getChildren() const override { return _children; }
    /// The field below this container whose getPath() is `path`, or null. Paths are absolute, whichever container is
    /// called. Allocates only the table of a container with many children, after a few searches.
    [[nodiscard]] FieldBase* findFieldFromPath(std::string_view path) const;
    /// The child with this internal identifier, or null.
    [[nodiscard]] FieldBase* getFieldByInternalIdentifier(std::uint32_t identifier) const noexcept;
    /// `id` itself when no child has it, else its text with a blank and the first free number from 2 up.
    [[nodiscard]] Kr::KrID getUniqueFieldId(const Kr::KrID& id) const;
    [[nodiscard]] Types::FieldTypeEnum getFieldType() const override { return _fieldType; }
    /// Declares that the child `present` had the identifier `former` in earlier releases. While no child has the former
    /// name, lookups by it, also in paths, and loading find the present child; the first use of each deprecated name of
    /// a type is logged as a warning. Part of code, not of content: it is neither copied nor saved. False for an empty
    /// name, when the former name belongs to another child already, and when names would form a cycle.
    bool addDeprecatedName(const Kr::KrID& former, const Kr::KrID& present);

    // --- Order -----------------------------------------------------------------------------------------------------
    /// Moves the first child with this identifier directly after the child at `position`; end() appends. Returns its
    /// new place, end() without such a child. Notifies no observer.
    iterator moveField(iterator position, const Kr::KrID& id);

    // --- Copying and comparing -------------------------------------------------------------------------------------
    [[nodiscard]] Container* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] Container* clone(Container* parent) const override;
    /// Appends clones of all children.
    void copyFieldsTo(Container* destination) const;
    /// Copies into each child the value of the child of `other` with the same identifier. Adds and removes no child.
    Container& operator=(const Container& other);
    bool copyValue(const FieldBase& source) override;
    bool initializeFrom(const FieldBase& source) override;
    /// Whether both have the same number of children, and equal children by identifier, in any order.
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;

    // --- Observing and walking -------------------------------------------------------------------------------------
    void refreshObservers() const override;
    void _clearObservers() override;
    /// Visits this container, then each child, depth first.
    void accept(FieldVisitor& visitor);
    /// Sets or clears "notify also without receivers" on a field and its descendants.
    static void _setAlwaysCallObservers(FieldBase& field, bool always);

    // --- For fields and producers, not for plug-ins ----------------------------------------------------------------
    /// Appends an existing field, which the container owns from then on. False when it is a child already, has another
    /// parent, is this container or one above it, or is refused.
    bool _addField(FieldBase* field);
    bool _addField(FieldBase* field, iterator position);
    /// Detaches a field without destroying it; the caller owns it from then on.
    bool _removeField(FieldBase* field);
    /// Notifies the observers of this container that its list of children changed because of `field`.
    void _notifyLater(const FieldBase& field) const;
    /// Gives the field a number that no other child has, keeping its own where possible.
    void _validateInternalIdentifier(FieldBase* field) noexcept;
    void _cloneFrom(const FieldBase& source) override;

protected:
    /// For derived classes that add themselves to their parent when they are complete.
    struct Detached {};
    Container(Detached, const Kr::KrID& id, Types::FieldTypeEnum fieldType);

    /// Whether `count` children may be removed; field arrays with a size range may refuse.
    [[nodiscard]] virtual bool _mayRemove(std::size_t count) const;
    /// Finishes a clone: adds it to `parent`, if any, and destroys it when that refuses. Returns whether it is alive:
    /// an observer may remove a child immediately.
    [[nodiscard]] static bool _adopt(FieldBase* made, Container* parent);
    /// The same under another identifier: the copy if it is alive, else null. The last step of clone().
    template <class Copy>
    [[nodiscard]] static Copy* _adoptAs(const Kr::KrID& id, Copy* copy, Container* parent) {
        static_cast<FieldBase*>(copy)->_id = id;  // a new copy has no observers
        return _adopt(copy, parent) ? copy : nullptr;
    }
    /// Whether a field of this kind may be a child; field arrays take items only.
    [[nodiscard]] virtual bool _accepts(const FieldBase& field) const;
    /// A detached copy of a child of another container of this class; null when it cannot be copied.
    [[nodiscard]] virtual FieldBase* _duplicateChild(const FieldBase& child) const;
    /// Removes and destroys every child, whatever the size range.
    void _destroyChildren();
    /// Counts internal identifiers from 1 again; does nothing while it has children.
    void _restartInternalIdentifiers() noexcept;
    [[nodiscard]] Container* _duplicate() const override;

private:
    friend class FieldBase;
    friend struct detail::ContainerAccess;

    // --- For the framework, through detail::ContainerAccess --------------------------------------------------------
    /// Makes the connections of all fields below this one invalid, as their death would. Call it before an owner dies.
    void _endConnections() noexcept;
    /// The child of a deprecated name, see addDeprecatedName; end() without one.
    [[nodiscard]] iterator _findDeprecated(const Kr::KrID& former) const noexcept;
    /// The first child with this identifier, without deprecated names.
    [[nodiscard]] iterator _findOwn(const Kr::KrID& id) const noexcept;
    /// As _addField, without the search for a duplicate internal identifier: the caller knows that no child has it. The
    /// number 0 requests a new one.
    bool _addNumberedField(FieldBase* field, iterator position);
    /// Called by a dying child.
    void _onChildDies(FieldBase& field);
    /// Called by a child whose identifier has changed.
    void _onChildRenamed() noexcept { _lookup.drop(); }
    /// Gives the children the internal identifiers of their counterparts in `source`: of the same identifier, in arrays
    /// at the same position. Children without a counterpart keep theirs, or get a new one when it is taken.
    void _takeInternalIdentifiers(const Container& source);
    /// Whether `field` could be added: neither this container nor one above it, of an accepted kind, and not nested too
    /// deep, which logs a warning.
    [[nodiscard]] bool _mayAdd(const FieldBase& field) const;

    [[nodiscard]] FieldBase* _findBelow(std::string_view path, std::size_t matched) const;
    [[nodiscard]] FieldBase* _findOwnBelow(std::string_view path, std::size_t matched) const;
    [[nodiscard]] FieldBase* _findDeprecatedBelow(std::string_view path, std::size_t matched) const;
    [[nodiscard]] const detail::DeprecatedName* _findDeclaration(const Kr::KrID& former) const noexcept;
    void _tellDeprecated(const Kr::KrID& former, const FieldBase& field) const noexcept;
    [[nodiscard]] static FieldBase* _findFrom(FieldBase& child, std::string_view path, std::size_t matched);
    void _insertChild(FieldBase* field, std::size_t index);
    /// The same for a copy that was just made: it has no connections, which are not searched for then.
    void _insertCopy(FieldBase* copy, std::size_t index);
    void _place(FieldBase* field, std::size_t index);
    void _takeOut(FieldBase& field, bool isDying);
    [[nodiscard]] Children _duplicateChildren(const Container& source) const;
    void _takeCopy(FieldBase* copy);
    iterator _placed(FieldBase* field, iterator position);
    template <class PairAction>
    void _forEachPair(const Container& other, PairAction&& action);

    Children _children;
    detail::ChildLookup _lookup;
    Types::FieldTypeEnum _fieldType;
    std::uint32_t _nextInternalIdentifier{1};
};

template <class T>
Field<T>* Container::add(const Kr::KrID& id, const T& value) {
    auto* field = new Field<T>(id, nullptr, value);
    field->_setDynamic(true);
    return _adopt(field, this) ? field : nullptr;
}

}  // namespace KrData
