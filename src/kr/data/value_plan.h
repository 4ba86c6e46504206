#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kr/core/enum.h"
#include "kr/core/fwd.h"
#include "kr/core/id.h"
#include "kr/data/extension_pointer.h"
#include "kr/data/fwd.h"
#include "kr/data/types.h"
#include "kr/platform/export.h"

namespace KrData {

/// The values of many fields at one moment, taken by a ValuePlan; only usable with that plan.
/// Thread: one at a time. Ownership: owns the values.
class KR_API FieldValues {
public:
    FieldValues() noexcept;
    FieldValues(FieldValues&& other) noexcept;
    FieldValues& operator=(FieldValues&& other) noexcept;
    ~FieldValues();

    /// Memory of the values in bytes, without this object.
    [[nodiscard]] std::size_t getSizeBytes() const;

    std::vector<std::byte> _plain;  // numbers and types made of numbers, one run of fields after the other
    std::vector<std::string> _texts;
    std::vector<Kr::KrEnum> _enumerations;
    std::vector<ExtensionPointer> _references;
    std::vector<std::unique_ptr<FieldBase>> _others;  // copies of vectors
};

/// The fields with values below some containers, sorted so that taking and restoring all values is a few loops.
///
/// Proxies have no values of their own, and field arrays are represented by their items. A plan is valid as long as no
/// field below its containers is added, removed or renamed; make another one then. Values of an older plan are found by
/// identifier, those of field arrays by position.
/// Thread: application.
/// Ownership: fields are borrowed.
class KR_API ValuePlan {
public:
    using Changed = std::vector<FieldBase*>;

    /// The groups are borrowed while the plan is made; their fields as long as it is used.
    explicit ValuePlan(std::span<Container* const> groups);
    ValuePlan(const ValuePlan&) = delete;
    ValuePlan& operator=(const ValuePlan&) = delete;
    ~ValuePlan();

    /// Number of values.
    [[nodiscard]] std::size_t size() const noexcept { return _fields.size(); }
    /// Allocates nothing when `values` held values of this plan before, except for texts and vectors that grew.
    void take(FieldValues& values) const;
    /// Allocates the memory of the following restore, so that it cannot fail half way.
    void prepare(const FieldValues& values, const ValuePlan& source) const;
    /// Sets each field to its value, without clamping or notification: `changed` receives the fields whose observers
    /// and connections must be notified. Returns the number of values of `source` without a field here.
    std::size_t restore(const FieldValues& values, const ValuePlan& source, Changed& changed) const;
    /// The same for the values below one group.
    void restoreGroup(const Kr::KrID& group, const FieldValues& values, const ValuePlan& source,
                      Changed& changed) const;
    /// The field of a value, by index below size(). Valid until a field below the containers is removed.
    [[nodiscard]] const FieldBase& getField(std::size_t index) const { return *_fields.at(index); }
    /// Whether the value of the field is taken.
    [[nodiscard]] bool contains(const FieldBase* field) const noexcept;
    /// Prefetches the lists of this plan, or the values of its fields: otherwise a loop over many extensions mostly
    /// waits for memory. Fields that have died do no harm.
    void fetchLists() const noexcept;
    void fetchFields() const noexcept;
    /// Resizes the field arrays below the groups to their former sizes, if their size range allows it. After that the
    /// groups may need another plan.
    void resizeArrays(std::span<Container* const> groups, ArrayResizes& resizes) const;

    // --- One value, by index below size() -------------------------------------------------------------------------
    /// Identifiers from the group down, "Outputs.Speed"; items of arrays by their index.
    [[nodiscard]] std::string getPath(std::size_t index) const;
    /// A new field of the same type, identifier and value, without parent. References to extensions that died are null.
    [[nodiscard]] std::unique_ptr<FieldBase> makeField(std::size_t index, const FieldValues& values) const;
    /// For people: vectors as their size and first items.
    [[nodiscard]] std::string getText(std::size_t index, const FieldValues& values) const;
    /// The first value that differs from that of another plan, or exists in one plan only, compared bit by bit.
    [[nodiscard]] std::optional<std::size_t> findDifference(const FieldValues& values, const ValuePlan& other,
                                                            const FieldValues& otherValues) const;
    /// Containers like the groups, with the values; field arrays become containers.
    [[nodiscard]] std::unique_ptr<Container> makeContainer(const Kr::KrID& id, const FieldValues& values) const;

    // --- The tree, for writers -------------------------------------------------------------------------------------
    /// A container by its place; kTop holds the groups.
    using Place = std::uint32_t;
    static constexpr Place kTop = 0xffffffff;
    struct Children {
        std::vector<std::size_t> values;  ///< by index
        std::vector<Place> containers;
    };
    /// Throws std::out_of_range for an invalid place.
    [[nodiscard]] Children getChildren(Place place) const;
    [[nodiscard]] const Kr::KrID& getID(Place place) const { return _nodes.at(place).id; }
    [[nodiscard]] bool isArray(Place place) const { return _nodes.at(place).isArray; }

    class Builder;

private:
    struct Operations;
    template <class T>
    struct PlainOperations;
    struct TextOperations;
    struct EnumerationOperations;
    struct ReferenceOperations;
    struct VectorOperations;

    /// A field or container, each before the fields below it.
    struct Node {
        Kr::KrID id;
        std::uint32_t end{0};    // one past the last node below
        std::uint32_t index{0};  // among the values; kNoValue for containers
        Types::FieldTypeEnum fieldType{Types::kField};
        bool isArray{false};
    };
    /// Neighbours of one type.
    struct Run {
        const Operations* operations{nullptr};
        std::uint32_t first{0};
        std::uint32_t count{0};
        std::size_t place{0};  // of the first value in its store
    };

    /// The part of a run that lies in one group.
    struct GroupRun {
        Kr::KrID group;
        Run run;
    };

    [[nodiscard]] static const Operations* _operationsFor(const FieldBase& field);
    ValuePlan();
    void _add(FieldBase& field);
    void _addValue(FieldBase& field);
    std::uint32_t _beginContainer(const Kr::KrID& id, Types::FieldTypeEnum fieldType, bool isArray);
    void _sort();
    [[nodiscard]] std::size_t _placeOf(std::size_t index, const Run*& run) const;
    /// Nodes first to last, without last.
    struct Nodes {
        std::uint32_t first;
        std::uint32_t last;
        bool areItems;
    };
    [[nodiscard]] Nodes _allNodes() const noexcept { return {0, static_cast<std::uint32_t>(_nodes.size()), false}; }
    /// Calls `match` with the values of both trees that belong together, by index, this tree in its order, and
    /// `miss` with nodes of this tree that have none there.
    template <class Match, class Miss>
    void _pair(Nodes own, const ValuePlan& other, Nodes others, const Match& match, const Miss& miss) const;
    /// The node among `others` that had the identifier `id` before, and has no node of its present name in this tree.
    [[nodiscard]] std::uint32_t _placeOfFormer(Nodes own, const ValuePlan& other, Nodes others,
                                               const Kr::KrID& id) const;
    std::size_t _restorePairs(Nodes own, const ValuePlan& source, Nodes others, const FieldValues& values,
                              Changed& changed) const;
    void _resizeBelow(std::uint32_t first, std::uint32_t last, Container& group, ArrayResizes& resizes) const;
    void _fill(Container& container, std::uint32_t first, std::uint32_t last, const FieldValues& values) const;
    /// The nodes with this identifier among the siblings from `first` up to `last`.
    [[nodiscard]] std::size_t _countBefore(std::uint32_t first, std::uint32_t last, const Kr::KrID& id) const;
    [[nodiscard]] std::size_t _countValues(const Node& node) const;

    std::vector<Node> _nodes;
    std::vector<FieldBase*> _fields;     // run by run
    std::vector<std::uint32_t> _nodeOf;  // of each field
    std::vector<Run> _runs;
    std::vector<GroupRun> _groupRuns;
    std::size_t _plainBytes{0};
    std::size_t _textCount{0};
    std::size_t _enumerationCount{0};
    std::size_t _referenceCount{0};
    std::size_t _otherCount{0};
};

/// Makes a plan of a tree without containers, for readers. Thread: one at a time. Ownership: borrows the fields.
class KR_API ValuePlan::Builder {
public:
    Builder();
    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;
    ~Builder();

    void begin(const Kr::KrID& id, bool isArray);  ///< Begins a container, to which the next fields belong.
    /// Borrowed as long as values are taken. False for a field without a value.
    bool add(FieldBase& field);
    void end();  ///< Ends the container begun last.
    /// The finished plan; `places` receives the index of the value of each added field, in order.
    [[nodiscard]] std::shared_ptr<const ValuePlan> build(std::vector<std::size_t>& places);

private:
    std::shared_ptr<ValuePlan> _plan;
    std::vector<std::uint32_t> _open;
};

}  // namespace KrData
