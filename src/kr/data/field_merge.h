#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field_reference.h"
#include "kr/platform/export.h"

namespace KrData {

/// The parts of a field that the holder of its tree has changed; bits. The numbers are saved with content.
enum eOwnPart : std::int32_t {
    kOwnValue = 1,
    kOwnRange = 2,  ///< of an array: its size range
    kOwnDescription = 4,
    kOwnDimension = 8,  ///< the physical dimension; its display unit is hidden metadata
    kOwnMetadata = 16,  ///< hidden fields: visibility, display unit, fields of tools
    kOwnOrder = 32,     ///< of the children
    kOwnField = 64,     ///< the whole field: it was added, or replaces one of another type
    kOwnRemoval = 128,  ///< the field was removed: the path has no field
    kOwnState = 256,    ///< the value comes over a connection: it is kept, but does not keep a lost field
};

/// Marks in the metadata bits of fields.
/// \{
/// the value is own, also when it equals that of the source
inline constexpr auto kMarkedAsOwn = static_cast<eMetadata>(256);
inline constexpr auto kMarkedInSource = static_cast<eMetadata>(512);  ///< copied from a tree in which the value is own
inline constexpr auto kMarkedAsLost = static_cast<eMetadata>(1024);   ///< own value of a field that the source lost
/// \}

/// The own parts of a tree of fields, by the addresses of its fields: valid until one of them is destroyed.
/// Thread: application. Ownership: the fields are borrowed.
class KR_API OwnFields {
public:
    using Paths = std::map<std::string, std::int32_t>;

    void add(const FieldBase& field, std::int32_t parts);
    /// The field and all fields below it.
    void addTree(const FieldBase& field, std::int32_t parts);
    /// \param step  the stored step of the removed field.
    void addRemoval(const Container& parent, std::string step);
    /// The values of this field, or of those below it, that are marked as own or lost.
    void addMarked(const FieldBase& field);
    /// The result of toPaths() of another tree like this one. Skips paths without a field.
    void addPaths(const Container& tree, const Paths& paths);

    [[nodiscard]] bool empty() const noexcept { return _parts.empty() && _removals.empty(); }
    [[nodiscard]] std::int32_t getParts(const FieldBase& field) const;
    /// Whether the field, or one below it, has one of these parts.
    [[nodiscard]] bool hasAny(const FieldBase& field, std::int32_t parts) const;
    /// Whether the counterpart of this field was removed from `parent`.
    [[nodiscard]] bool isRemoved(const Container& parent, const FieldBase& original) const;
    /// By stored paths (kr/data/stored_path.h).
    [[nodiscard]] Paths toPaths() const;

private:
    std::unordered_map<const FieldBase*, std::int32_t> _parts;
    std::set<std::pair<const Container*, std::string>> _removals;  // by stored steps
};

/// How two trees of fields are compared and merged.
struct MergeRules {
    /// False when values are state, as those of outputs: they are neither compared nor copied.
    bool withValues{true};
    /// Whether values that are own as state are kept although no connection drives the field now.
    bool keepsState{false};
    /// Whether the tree holds only what is own there: all other values come from the source, state and driven ones,
    /// too.
    bool isOwnOnly{false};
    /// Whether marks in the source are those of an inner holder.
    bool isInner{false};
    /// Whether a field that refers to extensions refers to the counterparts of the targets of `base`. Without it
    /// isEqual decides.
    std::function<bool(const FieldBase& field, const FieldBase& base)> isSameReference{};
    /// Called for each reference that is to follow its source. Without it the value is copied.
    std::function<void(FieldBase& field, const FieldBase& source)> followReference{};
    /// Called for each field that is about to be destroyed because the source does not have it.
    std::function<void(FieldBase& field)> noteLeaving{};
};

// The three-way merge of fields: `base` is what a tree was made from, `tree` has changed since then, and so has the
// source of `base`. Children are paired by identifier, items of arrays, too. Thread: the application thread.

/// Adds to `own` the changes of `tree` since it equalled `base`.
KR_API void findOwnFields(const Container& tree, const Container& base, const MergeRules& rules, OwnFields& own);

/// Gives `tree` all that `source` has, but for what is own: values, types, ranges, descriptions, dimensions, hidden
/// metadata, fields and their order. A field that the source does not have is destroyed, unless the holder added it.
/// With an own value it is kept and marked as lost, as is one whose own value does not convert to the new type.
/// Fields that are not dynamic are neither added to `own` nor destroyed. Notifies observers of changed values.
/// \return  the paths of all fields that are marked as lost.
KR_API std::vector<std::string> followFields(Container& tree, const Container& source, const OwnFields& own,
                                             const MergeRules& rules);

/// Makes a tree that was copied from `source` ready to follow it: items of arrays get the identifiers of the originals,
/// and marks are inherited.
KR_API void settleCopy(Container& tree, const Container& source, bool isInner);

/// Copies those of these parts to the field that are properties: range, description, dimension, metadata.
KR_API void takeProperties(FieldBase& field, const FieldBase& source, std::int32_t parts);

/// Puts the children that both have in the order of `source`, in their common places. Notifies no observer.
KR_API void takeOrder(Container& fields, const Container& source);

/// Whether both trees are the same as far as merges are concerned.
[[nodiscard]] KR_API bool areSameFields(const Container& first, const Container& second, const MergeRules& rules);

/// Whether the value is a reference to extensions: an extension, a vector of such, or the links of a proxy.
[[nodiscard]] KR_API bool isReferenceField(const FieldBase& field);

}  // namespace KrData
