#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/persistence/archives/finding.h"
#include "kr/platform/export.h"

namespace KrPersistence {

class KrArchive;

/// Reads what ArchiveWriter wrote, in the same order.
///
///     std::string name;
///     reader.read("Name", name);
///     reader.group("Position", [&] { reader.read("X", x); });
///     reader.sequence("Parts", [&](std::size_t) { parts.push_back(readPart(reader)); });
///
/// In XML and JSON archives values are found by name: those of one group may come in another order than they were
/// written in, and names that are never asked for are passed over, with a finding for each. A sequence that is not
/// there has no items.
///
/// Nothing that was read is believed: a text or block is held against the bytes that are left before memory is taken
/// for it, and readers of a sequence let its memory grow with the items. What does not fit throws an
/// boost::archive::archive_exception that says where; the archive is of no use then.
/// Thread: one thread at a time. The archive is borrowed.
class KR_API ArchiveReader {
public:
    /// The number of a choice, from its text; nothing for an unknown one.
    using ChoiceParser = std::function<std::optional<int>(std::string_view text)>;
    using ChoiceList = std::function<std::vector<std::string>()>;

    ArchiveReader(const ArchiveReader&) = delete;
    ArchiveReader& operator=(const ArchiveReader&) = delete;
    virtual ~ArchiveReader();

    // --- Values ----------------------------------------------------------------------------------------------------
    void read(std::string_view name, bool& value) { _readScalar(name, &value); }
    void read(std::string_view name, int& value) { _readScalar(name, &value); }
    void read(std::string_view name, unsigned int& value) { _readScalar(name, &value); }
    void read(std::string_view name, long long& value) { _readScalar(name, &value); }
    void read(std::string_view name, unsigned long long& value) { _readScalar(name, &value); }
    void read(std::string_view name, float& value) { _readScalar(name, &value); }
    void read(std::string_view name, double& value) { _readScalar(name, &value); }
    void read(std::string_view name, std::string& text) { _readText(name, text); }
    /// What writeRepeated wrote. The view is good until the reader dies.
    [[nodiscard]] std::string_view readRepeated(std::string_view name) { return _readRepeated(name); }
    /// A number in the place of the text is taken, too; whether the number has a meaning is for the caller to check.
    /// \param choices  the texts that there are, for the error about another one; empty: it names none.
    [[nodiscard]] int readChoice(std::string_view name, const ChoiceParser& parse, const ChoiceList& choices = {}) {
        return _readChoice(name, parse, choices);
    }
    void readBytes(std::string_view name, std::string& bytes) { _readBytes(name, bytes); }
    /// Fails unless there are exactly as many as the span takes.
    void readTuple(std::string_view name, std::span<double> components) { _readTuple(name, components); }
    void readTuple(std::string_view name, std::span<float> components) { _readTuple(name, components); }
    void readBlock(std::string_view name, std::vector<double>& numbers) { _readBlock(name, &numbers); }
    void readBlock(std::string_view name, std::vector<float>& numbers) { _readBlock(name, &numbers); }
    void readBlock(std::string_view name, std::vector<int>& numbers) { _readBlock(name, &numbers); }

    /// What writeIf wrote: answers whether it was there; if not, `value` stays.
    template <class Value>
    bool readIf(std::string_view name, Value& value) {
        return optional(name, [&] { read(name, value); });
    }
    /// What optional wrote: answers whether it was there; if not, the action is not called.
    template <class Action>
    bool optional(std::string_view name, Action&& readIt) {
        if (!_isThere(name)) return false;
        std::forward<Action>(readIt)();
        return true;
    }

    // --- Structure -------------------------------------------------------------------------------------------------
    template <class Action>
    void group(std::string_view name, Action&& readContent) {
        _enter(name);
        std::forward<Action>(readContent)();
        _leave();
    }
    /// What groupIf wrote: answers whether it was there.
    template <class Action>
    bool groupIf(std::string_view name, Action&& readContent) {
        return optional(name, [&] { group(name, std::forward<Action>(readContent)); });
    }
    /// Calls `readItem(index)` for each item, which reads it under the name it was written with. Answers their number.
    template <class Action>
    std::size_t sequence(std::string_view name, Action&& readItem) {
        const std::size_t count = beginSequence(name);
        for (std::size_t index = 0; index < count; ++index)
            readItem(index);
        endSequence();
        return count;
    }

    // The same in halves, for trees of any depth that are read without recursion. Answers the number of items.
    void beginGroup(std::string_view name) { static_cast<void>(_begin(name, eNesting::kGroup)); }
    void endGroup() { _end(eNesting::kGroup); }
    [[nodiscard]] std::size_t beginSequence(std::string_view name) { return _begin(name, eNesting::kSequence); }
    void endSequence() { _end(eNesting::kSequence); }

    // --- The archive -----------------------------------------------------------------------------------------------
    /// Adds a finding about the value that was read last; the reading goes on.
    void report(Finding::eKind kind, const std::string& text);
    /// The names that may stand in the group that is being read: a finding about another one suggests the nearest of
    /// them. Borrowed until the group ends.
    virtual void setKnownNames(std::span<const std::string> names);
    /// The line of the value, or of the beginning of the group, that was read last; 0 in binary archives.
    [[nodiscard]] virtual std::size_t getLine() const;
    /// Ends the reading: throws an archive exception of this text and the place in the archive.
    [[noreturn]] virtual void fail(const std::string& text) const = 0;
    [[nodiscard]] const std::string& getArchiveName() const;
    void pushObject(Kr::KrBase* object);
    void popObject() noexcept;
    [[nodiscard]] Kr::KrBase* getCurrentObject() const;

protected:
    using Scalar = std::variant<bool*, int*, unsigned int*, long long*, unsigned long long*, float*, double*>;
    using Tuple = std::variant<std::span<double>, std::span<float>>;
    using Block = std::variant<std::vector<double>*, std::vector<float>*, std::vector<int>*>;
    enum class eNesting : std::uint8_t { kGroup, kSequence };

    /// \param archive  borrowed; knows the name of the file and the objects being read, and gets the findings.
    explicit ArchiveReader(KrArchive& archive) noexcept : _state(archive) {}

    // What a kind of archive is made of
    virtual void _readScalar(std::string_view name, const Scalar& value) = 0;
    virtual void _readText(std::string_view name, std::string& text) = 0;
    [[nodiscard]] virtual std::string_view _readRepeated(std::string_view name) = 0;
    [[nodiscard]] virtual int _readChoice(std::string_view name, const ChoiceParser& parse,
                                          const ChoiceList& choices) = 0;
    virtual void _readBytes(std::string_view name, std::string& bytes) = 0;
    virtual void _readTuple(std::string_view name, const Tuple& components) = 0;
    virtual void _readBlock(std::string_view name, const Block& numbers) = 0;
    /// Whether the value or group `name` is there. Asked once, right before it is read.
    [[nodiscard]] virtual bool _isThere(std::string_view name) = 0;
    /// The number of items of a sequence; 0 for a group.
    [[nodiscard]] virtual std::size_t _begin(std::string_view name, eNesting kind) = 0;
    virtual void _end(eNesting kind) = 0;

private:
    void _enter(std::string_view name);
    void _leave();

    KrArchive& _state;
    std::size_t _depth{0};
};

}  // namespace KrPersistence
