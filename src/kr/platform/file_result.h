#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kr/platform/export.h"

namespace Kr {

/// A place in a file. Unknown members are 0 or empty.
struct FilePlace {
    std::size_t line{0};                  ///< of a text file, from 1 on
    std::optional<std::uint64_t> byte{};  ///< of a binary file: the fault lies before this offset from the beginning
    std::string path{};                   ///< of a value in the file: "Sections[0]/Setup/Settings"
};

/// Whether a file was read or written. After a failure: which file, what failed, where in it, and what to do.
///
///     const auto result = KrPersistence::saveObjects("town.kro", objects);
///     if (!result) std::fputs(result.toString().c_str(), stderr);
///
/// Functions that return one throw nothing.
/// Thread: value. Ownership: value.
struct [[nodiscard]] FileResult {
    enum class eFailure : std::uint8_t {
        kNone,        ///< it was read or written
        kNoName,      ///< no file was named
        kMissing,     ///< the file does not exist
        kNotOpened,   ///< the file exists, or may exist, and cannot be opened
        kRefused,     ///< the file is damaged, of an unknown format, or of another release
        kUnsuitable,  ///< the file is sound, but of a kind that is not wanted here
        kNotTaken,    ///< the application refuses the contents of the file
        kNotWritten,  ///< the file on disk is unchanged
        kNoMemory,
    };

    eFailure failure{eFailure::kNone};
    std::string file{};    ///< as the caller named it; empty for a stream without a name
    std::string text{};    ///< for people: what failed, with the file and the place. After a success: which part
                           ///< of the file could not be used; mostly empty
    std::string reason{};  ///< for people: why, when the text does not say it
    std::string remedy{};  ///< for people: what to do, when something helps; part of toString, too
    FilePlace place{};     ///< of what was refused

    /// "out of memory", without the name of the file.
    KR_API static FileResult noMemory() noexcept;
    /// A failure without a place.
    KR_API static FileResult failed(eFailure failure, std::string file, std::string text, std::string reason = {},
                                    std::string remedy = {});

    /// Whether the file was read or written.
    [[nodiscard]] explicit operator bool() const noexcept { return failure == eFailure::kNone; }
    /// Text and reason; empty when there is nothing to say. May have several lines.
    [[nodiscard]] std::string toString() const { return text + reason; }
};

/// The text in one line: line feeds become blanks, and those at the end are removed.
[[nodiscard]] KR_API std::string toOneLine(std::string_view text);

/// What was read from a file, or why it was not read.
///
///     const auto town = KrPersistence::loadObjects("town.kro");
///     if (!town) return report(town.toString());
///     use(town->objects);
template <class Value>
class [[nodiscard]] FileResultOf : public FileResult {
public:
    /// A failure.
    FileResultOf(FileResult result) : FileResult(std::move(result)) {}
    FileResultOf(Value value) : _value(std::move(value)) {}

    // Only after a success: the value does not exist after a failure.
    [[nodiscard]] Value& operator*() noexcept { return *_value; }
    [[nodiscard]] const Value& operator*() const noexcept { return *_value; }
    [[nodiscard]] Value* operator->() noexcept { return &*_value; }
    [[nodiscard]] const Value* operator->() const noexcept { return &*_value; }

private:
    std::optional<Value> _value;
};

}  // namespace Kr
