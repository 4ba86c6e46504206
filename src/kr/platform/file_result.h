#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kr/platform/export.h"

namespace Kr {

/// A place in a file. What is unknown is 0 or empty.
struct FilePlace {
    std::size_t line{0};                  ///< of a text file, from 1 on
    std::optional<std::uint64_t> byte{};  ///< of a binary file: the fault lies before this offset from its begin
    std::string path{};                   ///< of a value in the file: "Sections[0]/Setup/Settings"
};

/// Whether a file was read or written. After a failure: which file, what failed, where in it, and what to do.
///
///     const auto result = KrPersistence::saveObjects("town.kro", objects);
///     if (!result) std::fputs(result.toString().c_str(), stderr);
///
/// The functions that answer one throw nothing. A value; any thread.
struct [[nodiscard]] FileResult {
    enum class eFailure : std::uint8_t {
        kNone,        ///< it was read or written
        kNoName,      ///< no file was named
        kMissing,     ///< the file does not exist
        kNotOpened,   ///< the file exists, or may exist, and cannot be opened
        kRefused,     ///< the file is damaged, of an unknown format, or of another release
        kUnsuitable,  ///< the file is sound, but not one of those that are wanted here
        kNotTaken,    ///< the application does not take what the file holds
        kNotWritten,  ///< what was on disk before is still there
        kNoMemory,
    };

    eFailure failure{eFailure::kNone};
    std::string file{};    ///< as the caller named it; empty for a stream without a name
    std::string text{};    ///< for people: what failed, with the file and the place. Without a failure: what of the
                           ///< file could not be used; mostly empty
    std::string reason{};  ///< for people: why, where the text does not say it
    std::string remedy{};  ///< for people: what to do, where something helps; toString has it, too
    FilePlace place{};     ///< of what was refused

    /// "out of memory", without the name of the file.
    KR_API static FileResult noMemory() noexcept;
    /// A failure without a place.
    KR_API static FileResult failed(eFailure failure, std::string file, std::string text, std::string reason = {},
                                    std::string remedy = {});

    /// Whether the file was read or written.
    [[nodiscard]] explicit operator bool() const noexcept { return failure == eFailure::kNone; }
    /// Text and reason; empty where nothing is to be said. May have several lines.
    [[nodiscard]] std::string toString() const { return text + reason; }
};

/// A text in one line: its line feeds become blanks, and none are at its end.
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

    // Only of a file that was read.
    [[nodiscard]] Value& operator*() noexcept { return *_value; }
    [[nodiscard]] const Value& operator*() const noexcept { return *_value; }
    [[nodiscard]] Value* operator->() noexcept { return &*_value; }
    [[nodiscard]] const Value* operator->() const noexcept { return &*_value; }

private:
    std::optional<Value> _value;
};

}  // namespace Kr
