#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "kr/persistence/archives/archive.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Writes named values, groups of them and sequences into an archive of any kind, so that fields, extensions and
/// settings need one function for all kinds. An ArchiveReader reads them in the same order.
///
///     writer.write("Name", name);
///     writer.group("Position", [&] { writer.write("X", x); });
///     writer.sequence("Parts", parts.size(), [&](std::size_t index) { writePart(writer, parts[index]); });
///
/// Names are for people and other programs: XML and JSON archives contain them, binary archives do not. Within one
/// group each name is used once; blanks and dots are allowed. Each item of a sequence is exactly one value or group;
/// all items of one sequence have one name, which XML archives use.
///
/// Throws boost::archive::archive_exception, and the exceptions of actions; the archive cannot be used any more then.
/// Thread: one at a time. Ownership: the archive is borrowed.
class KR_API ArchiveWriter : public ArchiveUser {
public:
    /// Most actions of group() inside one another, since they use the stack; more are refused, on reading too.
    static constexpr std::size_t kDeepestNesting = 512;

    virtual ~ArchiveWriter();

    // --- Values ----------------------------------------------------------------------------------------------------
    /// A value under its name, which is unique in its group.
    void write(std::string_view name, bool value) { _writeScalar(name, value); }
    void write(std::string_view name, int value) { _writeScalar(name, value); }
    void write(std::string_view name, unsigned int value) { _writeScalar(name, value); }
    void write(std::string_view name, long long value) { _writeScalar(name, value); }
    void write(std::string_view name, unsigned long long value) { _writeScalar(name, value); }
    void write(std::string_view name, float value) { _writeScalar(name, value); }
    void write(std::string_view name, double value) { _writeScalar(name, value); }
    /// Any bytes; a reader gets the same bytes, also those that are no UTF-8.
    void write(std::string_view name, std::string_view text) { _writeText(name, text, false); }
    void write(std::string_view name, const char* text) { write(name, std::string_view(text)); }
    /// A text that is likely to be written often, such as an identifier: binary archives store it once.
    void writeRepeated(std::string_view name, std::string_view text) { _writeText(name, text, true); }
    /// One of a fixed set: binary archives store the number, the others the text when it is not empty.
    void writeChoice(std::string_view name, int number, std::string_view text) { _writeChoice(name, number, text); }
    /// Bytes that are no text: XML and JSON archives store them in base64.
    void writeBytes(std::string_view name, std::string_view bytes) { _writeBytes(name, bytes); }
    /// The components of one value, such as a position; the reader must know their number.
    void writeTuple(std::string_view name, std::span<const double> components) { _writeTuple(name, components); }
    void writeTuple(std::string_view name, std::span<const float> components) { _writeTuple(name, components); }
    /// Many numbers in one block.
    void writeBlock(std::string_view name, std::span<const double> numbers) { _writeBlock(name, numbers); }
    void writeBlock(std::string_view name, std::span<const float> numbers) { _writeBlock(name, numbers); }
    void writeBlock(std::string_view name, std::span<const int> numbers) { _writeBlock(name, numbers); }

    /// Writes the value only if it exists; ArchiveReader::readIf returns whether it was written.
    template <class Value>
    void writeIf(bool isThere, std::string_view name, const Value& value) {
        optional(isThere, name, [&] { write(name, value); });
    }
    /// The same for the output of an action: one value, group or sequence of this name.
    template <class Action>
    void optional(bool isThere, std::string_view name, Action&& writeIt) {
        _mark(name, isThere);
        if (isThere) std::forward<Action>(writeIt)();
    }

    // --- Structure -------------------------------------------------------------------------------------------------
    /// Calls the action, whose values form the group `name`.
    template <class Action>
    void group(std::string_view name, Action&& writeContent) {
        _enter(name);
        std::forward<Action>(writeContent)();
        _leave();
    }
    /// As group, but only if `isThere`; ArchiveReader::groupIf returns whether it was written.
    template <class Action>
    void groupIf(bool isThere, std::string_view name, Action&& writeContent) {
        optional(isThere, name, [&] { group(name, std::forward<Action>(writeContent)); });
    }
    /// Calls `writeItem(index)` for each index below `count`; it writes one value or group.
    template <class Action>
    void sequence(std::string_view name, std::size_t count, Action&& writeItem) {
        beginSequence(name, count);
        for (std::size_t index = 0; index < count; ++index)
            writeItem(index);
        endSequence();
    }

    // The same in halves, for trees of any depth that are written without recursion.
    void beginGroup(std::string_view name) { _begin(name, eNesting::kGroup, 0); }
    void endGroup() { _end(eNesting::kGroup); }
    void beginSequence(std::string_view name, std::size_t count) { _begin(name, eNesting::kSequence, count); }
    void endSequence() { _end(eNesting::kSequence); }

protected:
    using Scalar = std::variant<bool, int, unsigned int, long long, unsigned long long, float, double>;
    using Numbers = std::variant<std::span<const double>, std::span<const float>, std::span<const int>>;

    /// \param archive  borrowed; contains the name of the file and the objects being written.
    explicit ArchiveWriter(KrArchive& archive) noexcept : ArchiveUser(archive) {}

    // Implemented for each kind of archive
    virtual void _writeScalar(std::string_view name, const Scalar& value) = 0;
    virtual void _writeText(std::string_view name, std::string_view text, bool isRepeated) = 0;
    virtual void _writeChoice(std::string_view name, int number, std::string_view text) = 0;
    virtual void _writeBytes(std::string_view name, std::string_view bytes) = 0;
    virtual void _writeTuple(std::string_view name, const Numbers& components) = 0;
    virtual void _writeBlock(std::string_view name, const Numbers& numbers) = 0;
    /// Writes whether the value or group `name`, which is written next, exists.
    virtual void _mark(std::string_view name, bool isThere) = 0;
    /// \param count  the items of a sequence; 0 for a group.
    virtual void _begin(std::string_view name, eNesting kind, std::size_t count) = 0;
    virtual void _end(eNesting kind) = 0;

private:
    void _enter(std::string_view name);
    void _leave();
};

}  // namespace KrPersistence
