#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kr/extension/fwd.h"
#include "kr/persistence/archives/finding.h"
#include "kr/persistence/objects/internal/content_records.h"

namespace KrPersistence::detail {

/// Finds what an implementation will not understand of its saved fields: names that it does not declare, values outside
/// the ranges that it declares, texts that its enumerations do not have.
///
/// Upgrade steps and onLoading may put such fields right, so a doubt becomes a finding only when it is still true after
/// the fields were loaded. Where nothing is doubtful, memory is taken for the paths of groups inside groups only.
class SavedFieldsCheck {
public:
    /// Before the fields of the record are loaded into the extension. Borrows both.
    SavedFieldsCheck(KrSim::KrExtension& extension, const ExtensionRecord& record);

    /// After they were loaded.
    /// \param file  from which they are.
    void addFindings(const std::string& file, std::vector<Finding>& findings);

private:
    struct Doubt {
        Finding::eKind kind;
        std::string path;  ///< in the extension
        std::string text;
        std::size_t line;
        std::function<bool(const KrData::FieldBase& loaded)> isStillTrue;
    };

    void _compare(const KrData::Container& saved, const KrData::Container& declared, const std::string& path);
    void _compareValue(const KrData::FieldBase& saved, const KrData::FieldBase& declared, const std::string& path);
    template <class... T>
    void _compareRanges(const KrData::FieldBase& saved, const KrData::FieldBase& declared, const std::string& path);
    template <class T>
    void _compareRange(const KrData::Field<T>& saved, const KrData::Field<T>& declared, const std::string& path);
    void _doubtName(const KrData::FieldBase& saved, const KrData::Container& declared, const std::string& path);
    [[nodiscard]] std::string _describe(const KrData::FieldBase& field) const;
    [[nodiscard]] std::size_t _findLine(const KrData::FieldBase& field) const;

    KrSim::KrExtension& _extension;
    const ExtensionRecord& _record;
    bool _areNamesComparable;
    KrData::Types::FieldTypeEnum _role{};  // of the group that is being compared
    std::vector<Doubt> _doubts;
};

}  // namespace KrPersistence::detail
