#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Writes named values, groups of them and sequences into an archive of any kind: fields, extensions and settings are
/// written through this by one text for all kinds. What ArchiveReader reads back in the same order.
///
///     writer.write("Name", name);
///     writer.group("Position", [&] { writer.write("X", x); });
///     writer.sequence("Parts", parts.size(), [&](std::size_t index) { writePart(writer, parts[index]); });
///
/// Names are for people and other programs: XML and JSON archives have them, binary archives have not. Within one group
/// a name stands once; blanks and dots are allowed. Each item of a sequence is exactly one value or group; all items of
/// one sequence have one name, which XML archives use.
///
/// Failure: boost::archive::archive_exception, and what an action throws; the archive is of no use then.
/// Thread: one thread at a time. The archive is borrowed.
class KR_API ArchiveWriter {
public:
    /// Actions of group() inside one another, which take the stack of the thread; more are refused, on reading too.
    static constexpr std::size_t kDeepestNesting = 512;

    ArchiveWriter();
    ArchiveWriter(const ArchiveWriter&) = delete;
    ArchiveWriter& operator=(const ArchiveWriter&) = delete;
    virtual ~ArchiveWriter();

    // --- Values ----------------------------------------------------------------------------------------------------
    virtual void write(std::string_view name, bool value) = 0;
    virtual void write(std::string_view name, int value) = 0;
    virtual void write(std::string_view name, unsigned int value) = 0;
    virtual void write(std::string_view name, long long value) = 0;
    virtual void write(std::string_view name, unsigned long long value) = 0;
    virtual void write(std::string_view name, float value) = 0;
    virtual void write(std::string_view name, double value) = 0;
    /// Any bytes; all come back, also those that are no UTF-8.
    virtual void write(std::string_view name, std::string_view text) = 0;
    void write(std::string_view name, const char* text) { write(name, std::string_view(text)); }
    /// A text that is likely to come often, such as an identifier: binary archives keep it once.
    virtual void writeRepeated(std::string_view name, std::string_view text) = 0;
    /// One of a fixed set: binary archives keep the number, the others the text where there is one.
    virtual void writeChoice(std::string_view name, int number, std::string_view text) = 0;
    /// Bytes that are no text: XML and JSON archives keep them in base64.
    virtual void writeBytes(std::string_view name, std::string_view bytes) = 0;
    /// The components of one value, such as a position; the reader knows how many.
    virtual void writeTuple(std::string_view name, std::span<const double> components) = 0;
    virtual void writeTuple(std::string_view name, std::span<const float> components) = 0;
    /// Many numbers in one block.
    virtual void writeBlock(std::string_view name, std::span<const double> numbers) = 0;
    virtual void writeBlock(std::string_view name, std::span<const float> numbers) = 0;
    virtual void writeBlock(std::string_view name, std::span<const int> numbers) = 0;

    /// Writes the value only if it is there; ArchiveReader::readIf tells.
    template <class Value>
    void writeIf(bool isThere, std::string_view name, const Value& value) {
        optional(isThere, name, [&] { write(name, value); });
    }
    /// The same for whatever the action writes: one value, group or sequence of this name.
    template <class Action>
    void optional(bool isThere, std::string_view name, Action&& writeIt) {
        _mark(name, isThere);
        if (isThere) std::forward<Action>(writeIt)();
    }

    // --- Structure -------------------------------------------------------------------------------------------------
    template <class Action>
    void group(std::string_view name, Action&& writeContent) {
        _enter(name);
        std::forward<Action>(writeContent)();
        _leave();
    }
    template <class Action>
    void groupIf(bool isThere, std::string_view name, Action&& writeContent) {
        optional(isThere, name, [&] { group(name, std::forward<Action>(writeContent)); });
    }
    /// Calls `writeItem(index)` for each index below `count`; it writes one value or group.
    template <class Action>
    void sequence(std::string_view name, std::size_t count, Action&& writeItem) {
        _beginSequence(name, count);
        for (std::size_t index = 0; index < count; ++index)
            writeItem(index);
        _endSequence();
    }

    // The same in halves, for trees that are walked without recursion: they may be as deep as they like.
    void beginGroup(std::string_view name) { _beginGroup(name); }
    void endGroup() { _endGroup(); }
    void beginSequence(std::string_view name, std::size_t count) { _beginSequence(name, count); }
    void endSequence() { _endSequence(); }

    // --- The archive -----------------------------------------------------------------------------------------------
    /// The path of the file being written; paths inside are stored relative to it.
    [[nodiscard]] virtual const std::string& getArchiveName() const = 0;
    /// The stack of objects being written; ArchiveObjectScope pushes and pops.
    virtual void pushObject(Kr::KrBase* object) = 0;
    virtual void popObject() noexcept = 0;
    [[nodiscard]] virtual Kr::KrBase* getCurrentObject() const = 0;

protected:
    /// Says whether the value or group `name`, which then comes next, is there.
    virtual void _mark(std::string_view name, bool isThere) = 0;
    virtual void _beginGroup(std::string_view name) = 0;
    virtual void _endGroup() = 0;
    virtual void _beginSequence(std::string_view name, std::size_t count) = 0;
    virtual void _endSequence() = 0;

private:
    void _enter(std::string_view name);
    void _leave();

    std::size_t _depth{0};
};

}  // namespace KrPersistence
