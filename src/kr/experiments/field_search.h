#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/data/fwd.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrExperiments {

/// A field of an application, with the full path of it.
struct FoundField {
    KrData::FieldBase* field{nullptr};  ///< borrowed from its extension
    std::string path{};                 ///< "Car/Vehicle.Parameters.Mass"
};

/// What a path or a pattern means.
struct FoundFields {
    std::vector<FoundField> fields{};  ///< in the order of the application
    std::string problem{};             ///< why there are none, as the end of a message; else empty
};

/// The content of the application, then its modules, each in its order. Borrowed.
/// Thread: application.
[[nodiscard]] KR_API std::vector<KrSim::KrExtension*> getSimulatedExtensions(const KrSim::KrApplication& application);

/// The full path of a field of an extension, or of a field without an extension its path in its containers.
[[nodiscard]] KR_API std::string getFullPath(const KrData::FieldBase& field);

/// The fields of content and modules, or of these extensions, that a pattern means, with * for any characters and ? for
/// one.
///
/// A pattern is a full path, "Car/Vehicle.Parameters.Mass", or a short one: without the container of the role,
/// "Car/Vehicle.Mass", with a slash in the place of the point, "Car/Vehicle/Mass", or only the end of one of these,
/// "Vehicle.Mass", "Mass". Short forms count when no full path matches.
///
/// Without a match the problem names the nearest path. Thread: application.
[[nodiscard]] KR_API FoundFields findFields(const KrSim::KrApplication& application, std::string_view pattern);
[[nodiscard]] KR_API FoundFields findFields(std::span<KrSim::KrExtension* const> extensions, std::string_view pattern);

/// The same, but what is no pattern must mean one field: otherwise there is none, and the problem lists them.
[[nodiscard]] KR_API FoundFields findMeantFields(const KrSim::KrApplication& application, std::string_view pattern);
[[nodiscard]] KR_API FoundFields findMeantFields(std::span<KrSim::KrExtension* const> extensions,
                                                 std::string_view pattern);

/// A number in a field: its value, or a component of it.
struct FoundNumber {
    FoundField field{};
    int component{-1};      ///< by its place in getComponentNames; -1 for the whole value
    std::string problem{};  ///< why there is none, as the end of a message; else empty
};

/// "X", "Y" and so on of a vector, "R" to "A" of a colour, "M00" to "M33" (row, column) of a matrix or transform; none
/// for a value that is one number, or no number.
[[nodiscard]] KR_API std::vector<std::string> getComponentNames(const KrData::FieldBase& field);

/// Exactly one field; patterns are no paths here.
[[nodiscard]] KR_API FoundFields findOneField(const KrSim::KrApplication& application, std::string_view path);
[[nodiscard]] KR_API FoundFields findOneField(std::span<KrSim::KrExtension* const> extensions, std::string_view path);

/// The same, with a component where its name is behind the path: "Car/Body.Position.X".
[[nodiscard]] KR_API FoundNumber findOneNumber(const KrSim::KrApplication& application, std::string_view path);

}  // namespace KrExperiments
