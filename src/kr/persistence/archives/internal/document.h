#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KrPersistence::detail {

/// The contents of an XML or JSON document, for reading: its nodes in the order of the text, outer ones first.
///
/// A node takes 20 bytes, and a long list of numbers is one node, so that a hostile document cannot allocate more
/// memory than a few times its own size.
class Document {
public:
    enum class eKind : std::uint8_t {
        kText,       // a quoted text
        kLiteral,    // a number, true, false or null
        kUntyped,    // the text of an XML element, whose type is unknown
        kNumbers,    // an array of numbers only: its text, with commas between them
        kGroup,      // named members
        kSequence,   // items
        kAttribute,  // bookkeeping of its group, before all members
    };
    struct Node {
        std::uint32_t nameAndKind{0};  // and whether it was read
        std::uint32_t offset{0};
        std::uint32_t length{0};  // of its text
        std::uint32_t end{0};     // the next node that is not inside this one
        std::uint32_t line{0};    // in which its value begins
    };
    static constexpr std::uint32_t kNoName = (1U << 28U) - 1;

    Document();

    [[nodiscard]] std::size_t size() const noexcept { return _size; }
    [[nodiscard]] Node& node(std::uint32_t number) { return _blocks[number >> kBlockBits][number & kBlockMask]; }
    [[nodiscard]] const Node& node(std::uint32_t number) const {
        return _blocks[number >> kBlockBits][number & kBlockMask];
    }
    [[nodiscard]] eKind kind(const Node& node) const { return static_cast<eKind>(node.nameAndKind >> 29U); }
    [[nodiscard]] std::uint32_t nameNumber(const Node& node) const { return node.nameAndKind & kNoName; }
    [[nodiscard]] bool isRead(const Node& node) const noexcept { return (node.nameAndKind & kRead) != 0; }
    void markRead(Node& node) noexcept { node.nameAndKind |= kRead; }
    /// The text in the document: with the escapes of XML and JSON resolved, but not those of bytes.
    [[nodiscard]] std::string_view text(const Node& node) const {
        return std::string_view(texts).substr(node.offset, node.length);
    }
    /// The bytes of the name; empty for kNoName.
    [[nodiscard]] std::string_view name(std::uint32_t nameNumber) const {
        return nameNumber < _names.size() ? std::string_view(*_names[nameNumber]) : std::string_view();
    }
    /// kNoName when no node has this name.
    [[nodiscard]] std::uint32_t findName(std::string_view name) const;

    // For code that fills the document

    /// \param name  as in the document.
    std::uint32_t intern(std::string_view name);
    /// Adds a node without nodes inside: its `end` is the next node.
    std::uint32_t add(eKind kind, std::uint32_t nameNumber, std::size_t offset, std::size_t length,
                      std::uint32_t line) {
        if ((_size & kBlockMask) == 0) _blocks.emplace_back().reserve(kBlockMask + 1);
        const auto number = static_cast<std::uint32_t>(_size++);
        _blocks.back().push_back({_pack(kind, nameNumber), static_cast<std::uint32_t>(offset),
                                  static_cast<std::uint32_t>(length), static_cast<std::uint32_t>(_size), line});
        return number;
    }
    void setKind(Node& node, eKind kind) { node.nameAndKind = _pack(kind, nameNumber(node)); }
    void close(std::uint32_t number) { node(number).end = static_cast<std::uint32_t>(_size); }
    /// Removes the last node, which must have no nodes inside.
    void dropLast();
    /// Ends the document early, inside these nodes, outermost first.
    /// \param reason  for people
    void breakOff(std::vector<std::uint32_t> open, std::string reason);

    /// Whether the document was broken off inside this node, so that nodes may be missing in it.
    [[nodiscard]] bool isBroken(std::uint32_t number) const;
    /// Why the document was broken off; empty for a complete one.
    [[nodiscard]] const std::string& breakReason() const noexcept { return _breakReason; }

    std::string texts;

private:
    static constexpr std::uint32_t kRead = 1U << 28U;
    static constexpr std::uint32_t kBlockBits = 12;
    static constexpr std::uint32_t kBlockMask = (1U << kBlockBits) - 1;

    static std::uint32_t _pack(eKind kind, std::uint32_t nameNumber) {
        return (static_cast<std::uint32_t>(kind) << 29U) | nameNumber;
    }

    std::vector<std::vector<Node>> _blocks;  // of one size: growing moves no node
    std::size_t _size{0};
    std::unordered_map<std::string, std::uint32_t> _numbers;
    std::vector<const std::string*> _names;
    std::vector<std::uint32_t> _followers;  // by name: the name that followed it last
    std::uint32_t _lastName{kNoName};
    std::vector<std::uint32_t> _broken;
    std::string _breakReason;
};

}  // namespace KrPersistence::detail
