#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/persistence/archives/finding.h"
#include "kr/persistence/files/file.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence {

/// Content that was loaded from a file.
struct KR_API LoadedObjects {
    std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> objects;  ///< without owners, in the order of the file
    std::size_t extensionCount{0};                            ///< the objects and all below them
    std::size_t connectionCount{0};                           ///< that were made
    /// What is not as it was saved, for people; nothing of it is lost, see docs/object-files.md.
    std::vector<std::string> problems;
    /// What is probably not as its author meant it: names and choices that do not exist, values out of range.
    std::vector<Finding> findings;

    /// The objects as what they are; null for extensions that are none.
    [[nodiscard]] KrSim::KrObject* getObject(std::size_t index) const;
};

/// Saves objects and extensions, with all below them and the connections that end there.
///
///     KrSim::KrExtension* const objects[] = {car.get(), road.get()};
///     const auto result = KrPersistence::saveObjects("town.kro", objects, KrPersistence::KrFile::kXml);
///     if (!result) report(result.toString());
///
/// After a failure the file on disk is as it was.
/// \param flags     KrFile::kXml, KrFile::kJson, or 0 for binary.
/// \param progress  called with how many of how many extensions are written; may be empty.
/// Thread: that of the content. Never throws.
KR_API Kr::FileResult saveObjects(const std::string& fileName, std::span<KrSim::KrExtension* const> objects,
                                  int flags = 0, const KrFile::ProgressHandler& progress = {});
KR_API Kr::FileResult saveObjects(const std::string& fileName, std::span<KrSim::KrObject* const> objects, int flags = 0,
                                  const KrFile::ProgressHandler& progress = {});

struct ObjectLoadOptions {
    /// The setup or object file that names this one: what is loaded gets the path from there as part of its identity
    /// (docs/content-identity.md). Empty: the path that was given.
    std::string referringFile{};
    /// Is called once the file was read with how many of its extensions and connections are made; may be empty.
    KrFile::ProgressHandler progress{};
    int flags{0};  ///< of KrFile::load: kUnlogged
};

/// Loads what saveObjects wrote, of any kind of archive. Types are made by the factory, which loads their plug-ins; an
/// extension whose type cannot be made keeps its data and has an error that says so.
/// A failure when the file cannot be read, or holds no objects (kUnsuitable); nothing of it is left then.
/// Thread: that of the content. Never throws.
[[nodiscard]] KR_API Kr::FileResultOf<LoadedObjects> loadObjects(const std::string& fileName,
                                                                 const ObjectLoadOptions& options = {});

/// The path of the file that the extension, or an object above it, was loaded from; empty for other content, and for
/// what was loaded from a stream without a name.
[[nodiscard]] KR_API std::string findSourceFile(const KrSim::KrExtension& extension);

/// The extension for people, with the file that it was loaded from, if any: "'Car/Motor' of '/home/cars/car.kro'".
[[nodiscard]] KR_API std::string describeWithFile(const KrSim::KrExtension& extension);

}  // namespace KrPersistence
