#pragma once

#include <string>
#include <vector>

#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPluginSystem {

/// The contents of a plug-in's manifest. No text is empty or has control characters.
struct KrPluginManifest {
    std::string libraryVersion;      ///< version of the library's headers that it was built with, "2020.3.0"
    std::string build;               ///< machine and standard library that it was built for
    std::string name;                ///< the base name that its file must have
    std::string version;             ///< the plug-in's own version
    std::vector<std::string> types;  ///< the types that it registers, for people
};

/// Reads the manifest of a plug-in file without loading the file: no code of the plug-in runs. The parts of the head
/// that the system's loader relies on are checked, too, every offset against the length of the file.
///
/// The reason of a failure is worded to follow the name of the file. Any thread.
[[nodiscard]] KR_API Kr::FileResultOf<KrPluginManifest> readPluginManifest(const std::string& file);

/// Whether this library can load a plug-in with this manifest. Machine and standard library must be the same, and the
/// version up to its last number: releases that differ only in that number keep the binary interface. A plug-in without
/// a sanitizer fits a library with one, but not the other way round.
[[nodiscard]] KR_API bool isPluginCompatible(const KrPluginManifest& manifest);

/// The version and build that an incompatible plug-in would need to fit this library, "2020.3.0 (x86_64;libstdc++)".
[[nodiscard]] KR_API std::string getExpectedPluginBuild();

}  // namespace KrPluginSystem
