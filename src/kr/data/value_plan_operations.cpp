// Values of each type: taking, restoring, comparing, and making fields of them.

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/data/field.h"
#include "kr/data/field_access.h"
#include "kr/data/internal/value_operations.h"
#include "kr/data/value_plan.h"
#include "kr/data/vector.h"
#include "kr/data/vector_access.h"

namespace KrData {

using Fields = FieldBase* const*;

namespace {

template <class T, class Value>
void restoreOne(FieldBase* field, const Value& value, ValuePlan::Changed& changed) {
    if (detail::FieldAccess::restoreValue(*static_cast<Field<T>*>(field), value)) changed.push_back(field);
}

}  // namespace

template <class T>
struct ValuePlan::PlainOperations {
    static constexpr std::size_t kBytes = sizeof(T);  // NOLINT(bugprone-sizeof-expression): one type is a pointer

    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        auto* out = values._plain.data() + place;
        for (std::size_t i = 0; i < count; ++i)
            std::memcpy(out + i * kBytes, &static_cast<const Field<T>*>(fields[i])->getValue(), kBytes);
    }
    static T at(std::size_t place, const FieldValues& values) {
        T value;
        std::memcpy(&value, values._plain.data() + place, kBytes);
        return value;
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i)
            restoreOne<T>(fields[i], at(place + i * kBytes, values), changed);
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return std::memcmp(first._plain.data() + place, second._plain.data() + otherPlace, kBytes) == 0;
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::make_unique<Field<T>>(id, nullptr, at(place, values));
    }
    static constexpr Operations kAll{&ValuePlan::_plainBytes, kBytes, take, restore, nullptr, isSame, make};
};

struct ValuePlan::TextOperations {
    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i)
            values._texts[place + i] = static_cast<const Field<std::string>*>(fields[i])->getValue();
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i)
            restoreOne<std::string>(fields[i], values._texts[place + i], changed);
    }
    static void prepare(Fields fields, std::size_t count, std::size_t place, const FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto& own = static_cast<const Field<std::string>*>(fields[i])->getValue();
            const_cast<std::string&>(own).reserve(values._texts[place + i].size());
        }
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return first._texts[place] == second._texts[otherPlace];
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::make_unique<Field<std::string>>(id, nullptr, values._texts[place]);
    }
    static constexpr Operations kAll{&ValuePlan::_textCount, 1, take, restore, prepare, isSame, make};
};

struct ValuePlan::EnumerationOperations {
    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i) {
            // Values of different enumerations refuse assignment.
            const auto& value = static_cast<const Field<Kr::KrEnum>*>(fields[i])->getValue();
            std::construct_at(&values._enumerations[place + i], value);
        }
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i)
            restoreOne<Kr::KrEnum>(fields[i], values._enumerations[place + i], changed);
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return first._enumerations[place] == second._enumerations[otherPlace];
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::make_unique<Field<Kr::KrEnum>>(id, nullptr, values._enumerations[place]);
    }
    static constexpr Operations kAll{&ValuePlan::_enumerationCount, 1, take, restore, nullptr, isSame, make};
};

struct ValuePlan::ReferenceOperations {
    using ReferenceField = Field<KrSim::KrExtension*>;

    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i)
            values._references[place + i] = static_cast<const ReferenceField*>(fields[i])->getValue();
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i)
            restoreOne<KrSim::KrExtension*>(fields[i], values._references[place + i], changed);
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return first._references[place].get() == second._references[otherPlace].get();
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::make_unique<ReferenceField>(id, nullptr, values._references[place]);
    }
    static constexpr Operations kAll{&ValuePlan::_referenceCount, 1, take, restore, nullptr, isSame, make};
};

struct ValuePlan::VectorOperations {
    static void take(Fields fields, std::size_t count, std::size_t place, FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto& vector = static_cast<const VectorBase&>(*fields[i]);
            auto& copy = values._others[place + i];
            if (copy == nullptr) {
                copy.reset(detail::FieldAccess::duplicate(vector));
            } else {
                detail::VectorAccess::restoreItems(static_cast<VectorBase&>(*copy), vector);
            }
        }
    }
    static const VectorBase& at(std::size_t place, const FieldValues& values) {
        return static_cast<const VectorBase&>(*values._others[place]);
    }
    static void restore(Fields fields, std::size_t count, std::size_t place, const FieldValues& values,
                        Changed& changed) {
        for (std::size_t i = 0; i < count; ++i) {
            if (detail::VectorAccess::restoreItems(*static_cast<VectorBase*>(fields[i]), at(place + i, values)))
                changed.push_back(fields[i]);
        }
    }
    static void prepare(Fields fields, std::size_t count, std::size_t place, const FieldValues& values) {
        for (std::size_t i = 0; i < count; ++i)
            detail::VectorAccess::prepareRestore(*static_cast<VectorBase*>(fields[i]), at(place + i, values));
    }
    static bool isSame(const FieldValues& first, std::size_t place, const FieldValues& second, std::size_t otherPlace) {
        return detail::VectorAccess::hasIdenticalItems(at(place, first), at(otherPlace, second));
    }
    static std::unique_ptr<FieldBase> make(const Kr::KrID& id, std::size_t place, const FieldValues& values) {
        return std::unique_ptr<FieldBase>(at(place, values).clone(id, nullptr));
    }
    static constexpr Operations kAll{&ValuePlan::_otherCount, 1, take, restore, prepare, isSame, make};
};

const ValuePlan::Operations* ValuePlan::_operationsFor(const FieldBase& field) {
    if (field.getDataType() == Types::kVector) {
        return dynamic_cast<const VectorBase*>(&field) != nullptr ? &VectorOperations::kAll : nullptr;
    }
    return withValueType(field.getDataType(), []<class T>(std::type_identity<T>) {
        if constexpr (std::is_same_v<T, std::string>) {
            return &TextOperations::kAll;
        } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
            return &EnumerationOperations::kAll;
        } else if constexpr (std::is_same_v<T, KrSim::KrExtension*>) {
            return &ReferenceOperations::kAll;
        } else {
            return &PlainOperations<T>::kAll;
        }
    });
}

}  // namespace KrData
