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
/// Lookups by identifier answer the first match; identifiers should be unique among siblings, but nothing enforces it
/// (getUniqueFieldId makes one). Many children get a table of their identifiers once they have been searched a few
/// times, so that adding and finding thousands takes linear time. Children are found again across renames by their
/// internal identifier, which is unique in the container. A container never becomes its own descendant.
///
/// Ownership: the container owns its children and destroys them in order.
class KR_API Container : public FieldBase {
public:
    /// Visits `FieldBase*`; good until children are added, removed or moved.
    using iterator = Children::const_iterator;

    /// With a parent the container adds itself to it, and then belongs to it.
    /// \param fieldType  the role of every field below that is in no other container.
    explicit Container(const Kr::KrID& id, Container* parent = nullptr, Types::FieldTypeEnum fieldType = Types::kField);
    /// A detached deep copy.
    Container(const Container& source);
    ~Container() override;

    // --- Adding and removing ---------------------------------------------------------------------------------------
    /// Produces a field of this type at the end. Null when the type cannot be produced or is refused here, as it is,
    /// with a warning, where fields would lie more than 1,000 levels deep inside one another.
    FieldBase* addField(const Kr::KrID& id, Types::DataTypeEnum dataType);
    /// Produces a field that refers to an extension of this interface.
    FieldBase* addExtensionField(const Kr::KrID& id, const Kr::KrID& interfaceId);
    /// Produces a Field<T> with this value: `container.add<double>("Mass", 12.0)->setRange(0.0, 100.0)`.
    template <class T>
    Field<T>* add(const Kr::KrID& id, const T& value = T{});
    /// Adds a container of the same field type. Null when it is refused, likewise.
    Container* addContainer(const Kr::KrID& id);
    /// Like addField, before `position`. Answers the place of the new field, end() when there is none.
    iterator insert(iterator position, const Kr::KrID& id, Types::DataTypeEnum dataType);
    iterator insert(iterator position, const Kr::KrID& id, const std::type_info& valueType);
    iterator insertExtensionField(iterator position, const Kr::KrID& id, const Kr::KrID& interfaceId);
    /// Removes and destroys the first child with this identifier. False when there is none, or it may not go.
    bool removeField(const Kr::KrID& id);
    /// Removes and destroys the child there. Answers the place after it; `position` itself when it may not go.
    iterator erase(iterator position);
    /// Removes and destroys all children; nothing happens where a size range forbids that.
    void clear();
    void reset() override;

    // --- Access ----------------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t size() const noexcept { return _children.size(); }
    [[nodiscard]] bool empty() const noexcept { return _children.empty(); }
    [[nodiscard]] iterator begin() const noexcept { return _children.begin(); }
    [[nodiscard]] iterator end() const noexcept { return _children.end(); }
    [[nodiscard]] iterator find(const Kr::KrID& id) const noexcept;
    [[nodiscard]] FieldBase& operator[](const Kr::KrID& id) override;
    [[nodiscard]] const FieldBase& operator[](const Kr::KrID& id) const override;
    /// By index; the invalid field when it is not below size().
    [[nodiscard]] FieldBase& operator[](std::size_t index);
    [[nodiscard]] const FieldBase& operator[](std::size_t index) const;
    [[nodiscard]] FieldBase& at(std::size_t index) { return (*this)[index]; }
    [[nodiscard]] const FieldBase& at(std::size_t index) const { return (*this)[index]; }
    [[nodiscard]] const Children& getChildren() const override { return _children; }
    /// The field below this container whose getPath() is `path`, or null. Paths are absolute, whatever container is
    /// asked. Allocates nothing but the table that a container of many children makes once it was searched a few times.
    [[nodiscard]] FieldBase* findFieldFromPath(std::string_view path) const;
    [[nodiscard]] FieldBase* getFieldByInternalIdentifier(std::uint32_t identifier) const noexcept;
    /// `id` itself when no child has it, else its text with a blank and the first free number from 2 up.
    [[nodiscard]] Kr::KrID getUniqueFieldId(const Kr::KrID& id) const;
    [[nodiscard]] Types::FieldTypeEnum getFieldType() const override { return _fieldType; }
    /// Declares that the child `present` was called `former` in earlier releases. While no child has the former name,
    /// lookups by it, also in paths, and loading find the present child; the first use of each deprecated name of a
    /// type is logged as a warning. Belongs to code, not to content: it is neither copied nor saved. False for an empty
    /// name, where the former name stands for another one already, and where names would lead in a circle.
    bool addDeprecatedName(const Kr::KrID& former, const Kr::KrID& present);

    // --- Order -----------------------------------------------------------------------------------------------------
    /// Puts the first child with this identifier right behind the child that stands at `position`; end() appends.
    /// Answers its new place, end() when there is no such child. Notifies no observer.
    iterator moveField(iterator position, const Kr::KrID& id);

    // --- Copying and comparing -------------------------------------------------------------------------------------
    [[nodiscard]] Container* _duplicate() const override;
    [[nodiscard]] Container* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] Container* clone(Container* parent) const override;
    /// Appends clones of all children.
    void copyFieldsTo(Container* destination) const;
    /// Copies into each child the value of the child of `other` with the same identifier. Adds and removes nothing.
    Container& operator=(const Container& other);
    bool copyValue(const FieldBase& source) override;
    bool initializeFrom(const FieldBase& source) override;
    /// Whether both have as many children, and each child here has an equal one of its name there, in any order.
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;

    // --- Observing and walking -------------------------------------------------------------------------------------
    void refreshObservers() const override;
    void _clearObservers() override;
    /// Visits this container, then each child, depth first.
    void accept(FieldVisitor& visitor);
    /// Sets or clears "notify even when nothing else asks for it" on a field and its descendants.
    static void _setAlwaysCallObservers(FieldBase& field, bool always);

    // --- For fields and producers, not for plug-ins ----------------------------------------------------------------
    /// Appends an existing field, which then belongs here. False when it is a child already, has another parent, is
    /// this container or one above it, or is refused.
    bool _addField(FieldBase* field);
    bool _addField(FieldBase* field, iterator position);
    /// Detaches a field without destroying it; the caller owns it then.
    bool _removeField(FieldBase* field);
    /// Notifies the observers of this container that its list of children changed on account of `field`.
    void _notifyLater(const FieldBase& field) const;
    /// Gives the field a number that no other child has, keeping its own where possible.
    void _validateInternalIdentifier(FieldBase* field) noexcept;
    void _cloneFrom(const FieldBase& source) override;

protected:
    /// For subclasses that add themselves to their parent when they are complete.
    struct Detached {};
    Container(Detached, const Kr::KrID& id, Types::FieldTypeEnum fieldType);

    /// Whether `count` children may be taken away; field arrays with a size range say no.
    [[nodiscard]] virtual bool _mayRemove(std::size_t count) const;
    /// Finishes a clone: gives it to `parent`, if any; where that refuses, destroys it. Answers whether it lives: an
    /// observer may remove a child as soon as it comes.
    [[nodiscard]] static bool _adopt(FieldBase* made, Container* parent);
    /// The same under another identifier: the copy where it lives, else null. All that is left to do for clone().
    template <class Copy>
    [[nodiscard]] static Copy* _adoptAs(const Kr::KrID& id, Copy* copy, Container* parent) {
        static_cast<FieldBase*>(copy)->_id = id;  // a new copy has no observers
        return _adopt(copy, parent) ? copy : nullptr;
    }
    /// Whether a field of this kind may be a child; field arrays take items only.
    [[nodiscard]] virtual bool _accepts(const FieldBase& field) const;
    /// A detached copy of a child of another container of this class; null where the child has none.
    [[nodiscard]] virtual FieldBase* _duplicateChild(const FieldBase& child) const;
    /// Takes every child out and destroys it, whatever the size range.
    void _destroyChildren();
    /// Counts internal identifiers from 1 again; does nothing while there are children.
    void _restartInternalIdentifiers() noexcept;

private:
    friend class FieldBase;
    friend struct detail::ContainerAccess;

    // --- For the framework, through detail::ContainerAccess --------------------------------------------------------
    /// Makes the connections of all fields below this one invalid, as their death would. Before an owner dies.
    void _endConnections() noexcept;
    /// The child that a deprecated name stands for, as addDeprecatedName says; end() when there is none.
    [[nodiscard]] iterator _findDeprecated(const Kr::KrID& former) const noexcept;
    /// The first child that has this identifier itself.
    [[nodiscard]] iterator _findOwn(const Kr::KrID& id) const noexcept;
    /// Like _addField, without the search for a double of the internal identifier: the caller knows that no child has
    /// it. The number 0 asks for a new one.
    bool _addNumberedField(FieldBase* field, iterator position);
    /// Called by a dying child.
    void _onChildDies(FieldBase& field);
    /// Called by a child that has another identifier.
    void _onChildRenamed() noexcept { _lookup.drop(); }
    /// Gives the children the numbers that their likenesses in `source` have: of the same identifier, in arrays at the
    /// same position. Children without one keep theirs, or get a new one where it is taken.
    void _takeInternalIdentifiers(const Container& source);
    /// Whether `field` could be added: neither this container nor one above it, of a kind that is accepted, and not too
    /// deep, which is a warning.
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
