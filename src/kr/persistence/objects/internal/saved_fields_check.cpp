#include "kr/persistence/objects/internal/saved_fields_check.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "kr/core/enum.h"
#include "kr/data/container.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/nearest_name.h"

namespace KrPersistence::detail {

using KrData::Container;
using KrData::FieldBase;
using KrData::Types;

namespace {

const Container* asContainer(const FieldBase& field) {
    const bool isGroup = field.getDataType() == Types::kContainer && !field.isFieldArray();
    return isGroup ? static_cast<const Container*>(&field) : nullptr;
}

const FieldBase* findCounterpart(const Container& fields, std::size_t index, const Kr::KrID& id) {
    if (index < fields.size() && fields.at(index).getID() == id) return &fields.at(index);  // the usual case
    const auto found = fields.find(id);
    return found != fields.end() ? *found : nullptr;
}

// A file that is nothing but faults takes no more memory for them than this.
constexpr std::size_t kMostDoubts = 100;  // of one extension
constexpr std::size_t kMostFindings = 1000;
constexpr std::size_t kLongestName = 200;

std::string shortened(const std::string& name) {
    return name.size() <= kLongestName ? name : name.substr(0, kLongestName) + "...";
}

template <class T>
bool isOutside(const T& value, const T& minimum, const T& maximum) {
    return !(value >= minimum && value <= maximum);  // NaN, too
}

}  // namespace

SavedFieldsCheck::SavedFieldsCheck(KrSim::KrExtension& extension, const ExtensionRecord& record)
    : _extension(extension),
      _record(record),
      // Other versions have other fields: what has gone stays as it was saved.
      _areNamesComparable(record.dataVersion == extension.getImplementationVersion()) {
    if (!extension.hasImplementation()) return;
    for (const auto* declared : extension.getFieldsContainer()._getGroups()) {
        const auto* saved = asContainer(record.fields[declared->getID()]);
        _role = declared->getFieldType();
        if (saved != nullptr) _compare(*saved, *declared, declared->getID().str());
    }
}

void SavedFieldsCheck::addFindings(const std::string& file, std::vector<Finding>& findings) {
    for (const auto& doubt : _doubts) {
        const auto* loaded = KrData::_findStoredPath(_extension.getFieldsContainer(), doubt.path);
        if (findings.size() < kMostFindings && loaded != nullptr && doubt.isStillTrue(*loaded))
            findings.push_back({doubt.kind, doubt.text, file, doubt.line});
    }
}

void SavedFieldsCheck::_compare(const Container& saved, const Container& declared, const std::string& path) {
    for (std::size_t i = 0; i < saved.size() && _doubts.size() < kMostDoubts; ++i) {
        const auto& each = saved.at(i);
        const auto* counterpart = findCounterpart(declared, i, each.getID());
        const auto* group = asContainer(each);
        if (counterpart == nullptr) {
            if (_areNamesComparable && !each.isDynamic()) _doubtName(each, declared, path);
        } else if (group != nullptr && asContainer(*counterpart) != nullptr) {
            _compare(*group, *asContainer(*counterpart), path + "." + each.getID().str());
        } else if (each.getDataType() == counterpart->getDataType()) {
            _compareValue(each, *counterpart, path);
        }
    }
}

void SavedFieldsCheck::_compareValue(const FieldBase& saved, const FieldBase& declared, const std::string& path) {
    if (const auto* choice = saved.as<Kr::KrEnum>()) {
        const auto* type = Kr::KrEnum::getEnumeration(declared.get<Kr::KrEnum>().getTypeString());
        const auto& text = choice->getValue().toString();
        if (type == nullptr || text.empty() || type->findValue(text) != nullptr) return;
        _doubts.push_back({Finding::eKind::kUnknownChoice, path + "." + saved.getID().str(),
                           _describe(saved) + " is '" + text + "', which its enumeration does not have" +
                               explainChoice(text, listChoices(*type)),
                           _findLine(saved), [](const FieldBase&) { return true; }});
        return;
    }
    _compareRanges<double, float, int, unsigned int, short, unsigned short>(saved, declared, path);
}

template <class... T>
void SavedFieldsCheck::_compareRanges(const FieldBase& saved, const FieldBase& declared, const std::string& path) {
    const auto compare = [&](const auto* value, const auto* limits) {
        if (value != nullptr && limits != nullptr) _compareRange(*value, *limits, path);
    };
    (compare(saved.as<T>(), declared.as<T>()), ...);
}

template <class T>
void SavedFieldsCheck::_compareRange(const KrData::Field<T>& saved, const KrData::Field<T>& declared,
                                     const std::string& path) {
    const auto minimum = declared.getMinimum();
    const auto maximum = declared.getMaximum();
    if (!declared.hasRange() || !isOutside(saved.getValue(), minimum, maximum)) return;
    _doubts.push_back({Finding::eKind::kOutOfRange, path + "." + saved.getID().str(),
                       _describe(saved) + " is " +
                           describeOutside(static_cast<double>(saved.getValue()), static_cast<double>(minimum),
                                           static_cast<double>(maximum)),
                       _findLine(saved), [minimum, maximum](const FieldBase& loaded) {
                           const auto* same = loaded.as<T>();
                           return same != nullptr && isOutside(same->getValue(), minimum, maximum);
                       }});
}

void SavedFieldsCheck::_doubtName(const FieldBase& saved, const Container& declared, const std::string& path) {
    std::vector<std::string> names;
    for (const auto* each : declared)
        names.push_back(each->getID().str());
    const auto& name = saved.getID().str();
    _doubts.push_back({Finding::eKind::kUnknownName, path + "." + name,
                       _describe(saved) + " does not exist in its type" + Kr::suggestName(name, names),
                       _findLine(saved), [](const FieldBase& loaded) { return loaded.isDynamic(); }});
}

std::string SavedFieldsCheck::_describe(const FieldBase& field) const {
    std::string role = Types::nameFor(_role);
    role.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(role.front())));
    return role + " '" + shortened(field.getID().str()) + "' of '" + shortened(_record.name) + "'";
}

std::size_t SavedFieldsCheck::_findLine(const FieldBase& field) const {
    const auto& lines = _record.fieldLines;
    const auto found = std::find_if(lines.begin(), lines.end(), [&](const FieldLine& each) {
        return each.role == _role && each.id == field.getID();
    });
    return found != lines.end() ? found->line : 0;
}

}  // namespace KrPersistence::detail
