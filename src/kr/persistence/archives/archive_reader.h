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

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/finding.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Reads the values that an ArchiveWriter wrote, in the same order.
///
///     std::string name;
///     reader.read("Name", name);
///     reader.group("Position", [&] { reader.read("X", x); });
///     reader.sequence("Parts", [&](std::size_t) { parts.push_back(readPart(reader)); });
///
/// In XML and JSON archives values are found by name: those of one group may be in another order than they were
/// written, and names that are never read are skipped, with a finding for each. A missing sequence has no items.
///
/// No size in a file is trusted: the length of a text or block is compared with the remaining bytes before memory is
/// allocated for it, and the memory of a sequence grows with its items. A value that does not fit throws a
/// boost::archive::archive_exception that says where; the archive cannot be used any more then.
/// Thread: one at a time. Ownership: the archive is borrowed.
class KR_API ArchiveReader : public ArchiveUser {
public:
    /// The number of a choice, from its text; empty for an unknown text.
    using ChoiceParser = std::function<std::optional<int>(std::string_view text)>;
    using ChoiceList = std::function<std::vector<std::string>()>;

    virtual ~ArchiveReader();

    // --- Values ----------------------------------------------------------------------------------------------------
    /// Throws when the value is missing, of another type or outside the range of the type.
    void read(std::string_view name, bool& value) { _readScalar(name, &value); }
    void read(std::string_view name, int& value) { _readScalar(name, &value); }
    void read(std::string_view name, unsigned int& value) { _readScalar(name, &value); }
    void read(std::string_view name, long long& value) { _readScalar(name, &value); }
    void read(std::string_view name, unsigned long long& value) { _readScalar(name, &value); }
    void read(std::string_view name, float& value) { _readScalar(name, &value); }
    void read(std::string_view name, double& value) { _readScalar(name, &value); }
    void read(std::string_view name, std::string& text) { _readText(name, text); }
    /// Reads a text of writeRepeated. The view is valid until the reader dies.
    [[nodiscard]] std::string_view readRepeated(std::string_view name) { return _readRepeated(name); }
    /// A number instead of the text is accepted, too; the caller checks whether the number has a meaning.
    /// \param choices  the existing texts, for the error about another one; without them it lists none.
    [[nodiscard]] int readChoice(std::string_view name, const ChoiceParser& parse, const ChoiceList& choices = {}) {
        return _readChoice(name, parse, choices);
    }
    /// Reads the bytes of writeBytes.
    void readBytes(std::string_view name, std::string& bytes) { _readBytes(name, bytes); }
    /// Throws unless the archive has exactly as many components as the span.
    void readTuple(std::string_view name, std::span<double> components) { _readTuple(name, components); }
    void readTuple(std::string_view name, std::span<float> components) { _readTuple(name, components); }
    /// Reads a block of any length; the vector is replaced.
    void readBlock(std::string_view name, std::vector<double>& numbers) { _readBlock(name, &numbers); }
    void readBlock(std::string_view name, std::vector<float>& numbers) { _readBlock(name, &numbers); }
    void readBlock(std::string_view name, std::vector<int>& numbers) { _readBlock(name, &numbers); }

    /// Reads a value of writeIf: returns whether it was written; if not, `value` is unchanged.
    template <class Value>
    bool readIf(std::string_view name, Value& value) {
        return optional(name, [&] { read(name, value); });
    }
    /// Reads a value of optional: returns whether it was written; if not, the action is not called.
    template <class Action>
    bool optional(std::string_view name, Action&& readIt) {
        if (!_isThere(name)) return false;
        std::forward<Action>(readIt)();
        return true;
    }

    // --- Structure -------------------------------------------------------------------------------------------------
    /// Calls the action for the values of the group `name`.
    template <class Action>
    void group(std::string_view name, Action&& readContent) {
        _enter(name);
        std::forward<Action>(readContent)();
        _leave();
    }
    /// Reads a group of groupIf: returns whether it was written.
    template <class Action>
    bool groupIf(std::string_view name, Action&& readContent) {
        return optional(name, [&] { group(name, std::forward<Action>(readContent)); });
    }
    /// Calls `readItem(index)` for each item, which reads it under its written name. Returns the number of items.
    template <class Action>
    std::size_t sequence(std::string_view name, Action&& readItem) {
        const std::size_t count = beginSequence(name);
        for (std::size_t index = 0; index < count; ++index)
            readItem(index);
        endSequence();
        return count;
    }

    // The same in halves, for trees of any depth read without recursion. beginSequence returns the number of items.
    void beginGroup(std::string_view name) { static_cast<void>(_begin(name, eNesting::kGroup)); }
    void endGroup() { _end(eNesting::kGroup); }
    [[nodiscard]] std::size_t beginSequence(std::string_view name) { return _begin(name, eNesting::kSequence); }
    void endSequence() { _end(eNesting::kSequence); }

    // --- The archive -----------------------------------------------------------------------------------------------
    /// Adds a finding about the value that was read last; reading continues.
    void report(Finding::eKind kind, const std::string& text);
    /// The valid names of the group that is being read: a finding about another name suggests the nearest of them.
    /// Borrowed until the group ends.
    virtual void setKnownNames(std::span<const std::string> names);
    /// The line of the value, or of the beginning of the group, that was read last; 0 in binary archives.
    [[nodiscard]] virtual std::size_t getLine() const;
    /// Ends the reading: throws an archive exception with this text and the place in the archive.
    [[noreturn]] virtual void fail(const std::string& text) const = 0;

protected:
    using Scalar = std::variant<bool*, int*, unsigned int*, long long*, unsigned long long*, float*, double*>;
    using Tuple = std::variant<std::span<double>, std::span<float>>;
    using Block = std::variant<std::vector<double>*, std::vector<float>*, std::vector<int>*>;

    /// \param archive  borrowed; contains the name of the file and the objects being read, and receives the findings.
    explicit ArchiveReader(KrArchive& archive) noexcept : ArchiveUser(archive) {}

    // Implemented for each kind of archive
    virtual void _readScalar(std::string_view name, const Scalar& value) = 0;
    virtual void _readText(std::string_view name, std::string& text) = 0;
    [[nodiscard]] virtual std::string_view _readRepeated(std::string_view name) = 0;
    [[nodiscard]] virtual int _readChoice(std::string_view name, const ChoiceParser& parse,
                                          const ChoiceList& choices) = 0;
    virtual void _readBytes(std::string_view name, std::string& bytes) = 0;
    virtual void _readTuple(std::string_view name, const Tuple& components) = 0;
    virtual void _readBlock(std::string_view name, const Block& numbers) = 0;
    /// Whether the value or group `name` exists. Called once, right before it is read.
    [[nodiscard]] virtual bool _isThere(std::string_view name) = 0;
    /// The number of items of a sequence; 0 for a group.
    [[nodiscard]] virtual std::size_t _begin(std::string_view name, eNesting kind) = 0;
    virtual void _end(eNesting kind) = 0;

private:
    void _enter(std::string_view name);
    void _leave();
};

}  // namespace KrPersistence
