#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/data/field_base.h"
#include "kr/data/types.h"
#include "kr/data/value_plan.h"
#include "kr/platform/export.h"

namespace KrData {

/// A hash of 64 bits of the values of many fields: the sum of one number for each field, which depends on its value,
/// its path and the key that it was added with. So neither the order of fields nor the number of hashes over which they
/// are spread changes the sum. A change of one number in one field always changes it.
///
/// Numbers count bit by bit: -0.0 is not 0.0, and NaN equals the same NaN. References count as the key of their
/// extension, enumerations as number and type name, pointers to materials as the same one. The hash is the same for all
/// compilers and builds, on machines that store the lowest byte first.
/// Thread: application. Ownership: fields are borrowed, until clear().
class KR_API ValueHash {
public:
    /// The key of an extension to which a field refers.
    using ExtensionKey = std::function<std::uint64_t(const KrSim::KrExtension& extension)>;

    explicit ValueHash(ExtensionKey keyOf);
    ValueHash(const ValueHash&) = delete;
    ValueHash& operator=(const ValueHash&) = delete;
    ~ValueHash();

    /// A bijection in which each bit of the result depends on each bit of the word.
    [[nodiscard]] static constexpr std::uint64_t mix(std::uint64_t word) noexcept {
        // The finaliser of SplitMix64: Steele, Lea, Flood, "Fast splittable pseudorandom number generators", 2014.
        word = (word ^ word >> 30U) * 0xBF58476D1CE4E5B9U;
        word = (word ^ word >> 27U) * 0x94D049BB133111EBU;
        return word ^ word >> 31U;
    }
    /// The hash of a text under a key.
    [[nodiscard]] static std::uint64_t mix(std::string_view text, std::uint64_t key) noexcept;

    /// Adds all fields of the plan; they must live until clear(). The plan is used during the call only.
    void add(const ValuePlan& plan, std::uint64_t key);
    void clear() noexcept;
    /// Of the present values. Allocates nothing, but for vectors of references.
    [[nodiscard]] std::uint64_t calculate() const;

private:
    struct Entry {
        const FieldBase* field;
        std::uint64_t key;
    };
    /// The fields of one data type.
    struct Group {
        Types::DataTypeEnum dataType;
        std::vector<Entry> entries;
    };
    using Entries = std::span<const Entry>;

    void _addBelow(const ValuePlan& plan, ValuePlan::Place place, std::uint64_t key);
    void _addField(const FieldBase& field, std::uint64_t key);
    template <class T>
    [[nodiscard]] std::uint64_t _hashValue(const T& value, std::uint64_t key) const;
    template <class T>
    [[nodiscard]] std::uint64_t _hashItems(const FieldBase& field, std::uint64_t key) const;
    [[nodiscard]] std::uint64_t _hashVector(const FieldBase& field, std::uint64_t key) const;
    template <class HashOne>
    [[nodiscard]] static std::uint64_t _sum(Entries entries, const HashOne& hashOne);

    ExtensionKey _keyOf;
    std::vector<Group> _groups;
};

}  // namespace KrData
