#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/content/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/uuid.h"

namespace KrSim {

/// Identifies a piece of content: equal after every save, different for each placement of the same item.
///
/// The runtime ID identifies this placement. The raw ID identifies the content independent of the file it was loaded
/// from and, in a chain of placements, the same chain of items. Both are computed from the own identifier, the file and
/// the chain of placements by the formulas of docs/content-identity.md.
///
/// Two IDs are equal, ordered and hashed by their runtime ID, which distinguishes live content. Use isRawIDSame to
/// compare items from different files.
/// Copies share file and chain, so they are cheap. Thread: value. Ownership: value.
class KR_API KrContentID {
public:
    /// A number of 128 bits with a text form, such as 00000000000000AB-0123456789ABCDEF.
    /// Thread: value. Ownership: value.
    struct KR_API Identifier {
        static constexpr std::size_t kTextLength = 33;

        std::uint64_t first{0};
        std::uint64_t second{0};

        /// Whether both words are zero.
        [[nodiscard]] constexpr bool isNull() const noexcept { return (first | second) == 0; }
        [[nodiscard]] std::string toString() const;
        /// Reads two words of 16 hexadecimal digits, upper or lower case, with a "-" between them. Returns false for
        /// any other text and leaves the result unchanged.
        [[nodiscard]] static bool parse(std::string_view text, Identifier& result) noexcept;

        [[nodiscard]] friend constexpr bool operator==(const Identifier&, const Identifier&) noexcept = default;
        [[nodiscard]] friend constexpr std::strong_ordering operator<=>(const Identifier&,
                                                                        const Identifier&) noexcept = default;
        /// Leaves the state of the stream unchanged, except that it resets the width.
        friend KR_API std::ostream& operator<<(std::ostream& stream, const Identifier& identifier);
        /// Skips white space and reads 33 characters. A text that does not parse sets failbit, leaves the identifier
        /// unchanged and the first wrong character in the stream.
        friend KR_API std::istream& operator>>(std::istream& stream, Identifier& identifier);
    };

    using Words = std::pair<std::uint64_t, std::uint64_t>;
    using Chain = std::vector<KrContentID>;

    /// Largest depth of chains within the entries of chains. Operations of this class make flat chains from flat
    /// chains; readers of stored IDs refuse deeper ones.
    static constexpr int kMaxNesting = 64;

    /// The empty ID, which identifies nothing.
    KrContentID() noexcept;
    KrContentID(const KrContentID& other) noexcept;
    KrContentID(KrContentID&& other) noexcept;
    KrContentID& operator=(const KrContentID& other) noexcept;
    KrContentID& operator=(KrContentID&& other) noexcept;
    ~KrContentID();

    // --- Making one ------------------------------------------------------------------------------------------------
    /// A random ID. Any thread.
    [[nodiscard]] static KrContentID createUnique();
    /// The same uuid always gives the same ID; the null uuid gives the empty one.
    [[nodiscard]] static KrContentID createFromUuid(const KrUuid& uuid);
    /// Both words zero give the empty ID.
    [[nodiscard]] static KrContentID createFromWords(std::uint64_t first, std::uint64_t second) noexcept;
    /// The ID of `instance` when it is placed inside `parent`. For a placement inside a placement pass the ID of the
    /// inner placement as parent.
    [[nodiscard]] static KrContentID createFromParentInstance(const KrContentID& parent, const KrContentID& instance);

    // --- Changing it -----------------------------------------------------------------------------------------------
    /// Moves a placed item into another parent. Does nothing for an ID without a chain.
    void setParentID(const KrContentID& parent);
    /// The name of the file that the content is loaded from, empty for none. Unplaced content gets another runtime ID.
    void setFile(const std::string& file);

    // --- Reading it ------------------------------------------------------------------------------------------------
    [[nodiscard]] const Identifier& getRuntimeID() const noexcept { return _runtime; }
    /// Equal for one item in all files, see isRawIDSame.
    [[nodiscard]] const Identifier& getRawID() const noexcept { return _raw; }
    /// The identifier from which the ID was made; null for placements.
    [[nodiscard]] const Identifier& getOwnIdentifier() const noexcept { return _own; }
    [[nodiscard]] Words getRuntimeIDAsWords() const noexcept { return {_runtime.first, _runtime.second}; }
    [[nodiscard]] Words getRawIDAsWords() const noexcept { return {_raw.first, _raw.second}; }
    /// The references to file and chain are valid until this ID changes.
    [[nodiscard]] const std::string& getFile() const noexcept;
    /// The placements from the outermost container to this item, which is the last entry; empty for content that is not
    /// placed inside other content.
    [[nodiscard]] const Chain& getParentInstances() const noexcept;
    /// Whether the ID identifies nothing: all words are zero.
    [[nodiscard]] bool isEmpty() const noexcept;
    /// Whether both IDs identify the same item, possibly from different files.
    [[nodiscard]] bool isRawIDSame(const KrContentID& other) const noexcept { return _raw == other._raw; }
    /// The runtime ID as text.
    [[nodiscard]] std::string toString() const;

    [[nodiscard]] friend bool operator==(const KrContentID& left, const KrContentID& right) noexcept {
        return left._runtime == right._runtime;
    }
    [[nodiscard]] friend std::strong_ordering operator<=>(const KrContentID& left, const KrContentID& right) noexcept {
        return left._runtime <=> right._runtime;
    }

private:
    friend struct detail::ContentIDAccess;
    struct Origin;

    void _setOrigin(std::string file, Chain chain);
    void _recompute();

    Identifier _runtime;
    Identifier _raw;
    Identifier _own;
    Kr::KrSmartPtr<const Origin>
        _origin;  // file and chain, shared by copies and never changed; null when both are empty
};

}  // namespace KrSim

template <>
struct std::hash<KrSim::KrContentID::Identifier> {
    // The words of an ID are hashes already, but those made from words are whatever the caller gave.
    std::size_t operator()(const KrSim::KrContentID::Identifier& identifier) const noexcept {
        const std::uint64_t mixed =
            (identifier.first ^ (identifier.second >> 32U | identifier.second << 32U)) * 0x9E3779B97F4A7C15U;
        return mixed ^ mixed >> 32U;
    }
};
template <>
struct std::hash<KrSim::KrContentID> {
    std::size_t operator()(const KrSim::KrContentID& id) const noexcept {
        return hash<KrSim::KrContentID::Identifier>()(id.getRuntimeID());
    }
};
