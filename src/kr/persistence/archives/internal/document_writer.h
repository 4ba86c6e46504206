#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "kr/persistence/archives/internal/number_text.h"

namespace KrPersistence::detail {

/// Writes an XML or JSON document of exactly one top element, one value a line, indented up to a limit, so that deep
/// documents do not grow with the square of their depth. Names are not written inside sequences of JSON. When the top
/// element ends, the document is complete and written to the stream.
class DocumentWriter {
public:
    DocumentWriter(const DocumentWriter&) = delete;
    DocumentWriter& operator=(const DocumentWriter&) = delete;
    virtual ~DocumentWriter();

    void beginGroup(std::string_view name);
    void endGroup();
    void beginSequence(std::string_view name);
    void endSequence();
    /// Bookkeeping of the group that has just begun.
    virtual void attribute(std::string_view name, std::string_view text, bool isLiteral) = 0;
    void text(std::string_view name, std::string_view text);
    /// true or false
    void literal(std::string_view name, std::string_view text);
    void number(std::string_view name, const NumberText& number);
    /// A bool, text or number.
    template <class Value>
    void scalar(std::string_view name, Value value) {
        if constexpr (std::is_same_v<Value, bool>) {
            literal(name, value ? "true" : "false");
        } else if constexpr (std::is_same_v<Value, std::string_view>) {
            text(name, value);
        } else {
            number(name, NumberText(value));
        }
    }
    /// In one line.
    template <class Number>
    void tuple(std::string_view name, std::span<Number> numbers) {
        _numbers(name, numbers, false);
    }
    /// One a line.
    template <class Number>
    void block(std::string_view name, std::span<Number> numbers) {
        _numbers(name, numbers, true);
    }
    void bytes(std::string_view name, std::string_view bytes);

protected:
    static constexpr std::size_t kBase64Line = 76;
    static constexpr std::size_t kDeepestIndentation = 64;

    explicit DocumentWriter(std::ostream& stream, const char* archiveKind);

    virtual void _beginGroup(std::string_view name) = 0;
    virtual void _endGroup() = 0;
    virtual void _beginSequence(std::string_view name) = 0;
    virtual void _endSequence() = 0;
    virtual void _text(std::string_view name, std::string_view text) = 0;
    virtual void _literal(std::string_view name, std::string_view text) = 0;
    /// Sets the texts before the numbers and around those that are not finite.
    virtual void _beginNumbers(std::string_view name, bool isBlock) = 0;
    virtual void _endNumbers(bool isEmpty) = 0;
    virtual void _bytes(std::string_view name, std::string_view base64) = 0;
    /// Writes the text after the top element.
    virtual void _finish() = 0;

    [[nodiscard]] std::size_t _depth() const noexcept { return _nesting; }
    /// Blanks before values that are so many levels below this one.
    [[nodiscard]] std::size_t _indentation(std::size_t below) const noexcept {
        return std::min(_nesting, kDeepestIndentation) + below;
    }
    void _newLine() { _out.append(1, '\n').append(_indentation(0), ' '); }
    [[noreturn]] void _refuse(const std::string& text) const;

    std::string _out;
    std::string _beforeFirst, _beforeNext;  // of the numbers that are being written
    std::string_view _aroundOthers;

private:
    struct Level {
        bool isSequence{false};
        std::size_t first{0};                                     // of its names
        std::uint64_t seen{0};                                    // a bit for the hash of each
        std::unique_ptr<std::unordered_set<std::size_t>> many{};  // of a large group: the hashes
    };

    void _enter(std::string_view name, bool isSequence);
    void _leave();
    void _afterValue();
    /// Refuses a second value of one name in a group: reading would not find it.
    void _claimName(std::string_view name);
    void _flush();
    template <class Number>
    void _numbers(std::string_view name, std::span<Number> numbers, bool isBlock) {
        _requireRoom(name);
        _beginNumbers(name, isBlock);
        const std::string* before = &_beforeFirst;
        for (const auto each : numbers) {
            _out += *before;
            before = &_beforeNext;
            const NumberText number(each);
            if (number.isFinite()) {
                _out += number.text();
            } else {
                _out.append(_aroundOthers).append(number.text()).append(_aroundOthers);
            }
            if (_out.size() >= kPiece) _flush();
        }
        _endNumbers(numbers.empty());
        _afterValue();
    }
    void _requireRoom(std::string_view name);

    static constexpr std::size_t kPiece = 65536;

    std::ostream& _stream;
    const char* _archiveKind;
    std::size_t _nesting{0};
    std::vector<Level> _openLevels;
    std::vector<std::size_t> _names;  // their hashes, for each group that is open
    bool _isComplete{false};
};

}  // namespace KrPersistence::detail
