#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field_array.h"
#include "kr/persistence/archives/finding.h"
#include "kr/persistence/fields/field_archive.h"

namespace KrPersistence::detail {

/// Finds the parts of saved fields that a type will not understand: names that it does not declare, values outside the
/// ranges that it declares, also in the items of field arrays, and texts that its enumerations do not contain.
///
/// Loading code may correct them, so a doubt becomes a finding only when it is still true afterwards. Without doubts,
/// memory is allocated only for arrays with more items than the type declares.
class SavedFieldsCheck {
public:
    /// The names to check.
    enum class eNames {
        kNone,    ///< the fields are those of another version
        kStatic,  ///< those of static fields: users add dynamic ones
        kAll,
    };

    /// \param owner  the extension, as findings name it: "'Vehicle'".
    /// \param lines  of saved fields. Borrowed.
    SavedFieldsCheck(std::string owner, eNames names, std::span<const FieldLine> lines);

    /// Compares a group of saved fields with the group of the type into which they will be loaded; both are borrowed.
    void compare(const KrData::Container& saved, const KrData::Container& declared);

    /// Call it after the fields were loaded.
    /// \param file  the file of the fields.
    void addFindings(const std::string& file, std::vector<Finding>& findings) const;

private:
    /// \param loaded  null when no field was loaded for it.
    using Condition = std::function<bool(const KrData::FieldBase* loaded)>;
    /// A field below a container.
    struct Step {
        Kr::KrID id;
        std::optional<std::size_t> index;  ///< of an item of an array, by which it is found
    };
    struct Doubt {
        Finding::eKind kind;
        std::string text;
        std::size_t line;
        const KrData::Container* group;
        std::vector<Step> way;  ///< from the group to the field
        Condition isStillTrue;

        [[nodiscard]] const KrData::FieldBase* findLoaded() const;
    };

    void _compareChildren(const KrData::Container& saved, const KrData::Container& declared);
    void _compareItems(const KrData::FieldArrayBase& saved, const KrData::FieldArrayBase& declared);
    void _compareFields(const KrData::FieldBase& saved, const KrData::FieldBase& declared);
    void _compareSizes(const KrData::FieldArrayBase& saved, const KrData::FieldArrayBase& declared);
    void _compareChoices(const KrData::FieldBase& saved, const KrData::FieldBase& declared);
    template <class... T>
    void _compareRanges(const KrData::FieldBase& saved, const KrData::FieldBase& declared);
    template <class T>
    void _compareRange(const KrData::Field<T>& saved, const KrData::Field<T>& declared);
    void _checkName(const KrData::FieldBase& saved, const KrData::Container& declared);
    void _doubt(Finding::eKind kind, const KrData::FieldBase& saved, std::string text, Condition isStillTrue);
    [[nodiscard]] std::string _describeField() const;
    [[nodiscard]] std::size_t _findLine(const KrData::FieldBase& saved) const;

    const std::string _owner;
    const eNames _names;
    const std::span<const FieldLine> _lines;
    const KrData::Container* _group{nullptr};  // of the type, that is being compared
    std::vector<Step> _way;                    // from the group to the field that is being compared
    std::vector<Doubt> _doubts;
};

}  // namespace KrPersistence::detail
