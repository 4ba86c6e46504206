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
/// Thread: application. Ownership: holds the objects.
struct KR_API LoadedObjects {
    std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> objects;  ///< without owners, in the order of the file
    std::size_t extensionCount{0};                            ///< the objects and all below them
    std::size_t connectionCount{0};                           ///< that were connected
    /// Parts that differ from the saved state, for people; none of their data is lost, see docs/object-files.md.
    std::vector<std::string> problems;
    /// Probable mistakes: names and choices that do not exist, values out of range.
    std::vector<Finding> findings;

    /// The extension as an object; null when it is none.
    [[nodiscard]] KrSim::KrObject* getObject(std::size_t index) const;
};

/// Saves objects and extensions, with all extensions below them and the connections that end there.
///
///     KrSim::KrExtension* const objects[] = {car.get(), road.get()};
///     const auto result = KrPersistence::saveObjects("town.kro", objects, KrPersistence::KrFile::kXml);
///     if (!result) report(result.toString());
///
/// After a failure the file on disk is unchanged.
/// \param flags     KrFile::kXml, KrFile::kJson, or 0 for binary; KrFile::kSelfContained stores instances complete.
/// \param progress  called with the number of written extensions and their total; may be empty.
/// Thread: application. Never throws.
KR_API Kr::FileResult saveObjects(const std::string& fileName, std::span<KrSim::KrExtension* const> objects,
                                  int flags = 0, const KrFile::ProgressHandler& progress = {});
KR_API Kr::FileResult saveObjects(const std::string& fileName, std::span<KrSim::KrObject* const> objects, int flags = 0,
                                  const KrFile::ProgressHandler& progress = {});

struct ObjectLoadOptions {
    /// The setup or object file that refers to this one: the path seen from there becomes part of the identity of the
    /// content (docs/content-identity.md). Empty: the path that was given.
    std::string referringFile{};
    /// Called after the file was read, with the number of created extensions and connections and their total.
    KrFile::ProgressHandler progress{};
    int flags{0};  ///< of KrFile::load: kUnlogged
};

/// Loads a file of saveObjects, of any kind of archive. The factory creates the types and loads their plug-ins; an
/// extension whose type cannot be created keeps its data and has an error that says so.
/// A failure when the file cannot be read, or contains no objects (kUnsuitable); nothing of it remains then.
/// Thread: application. Never throws.
[[nodiscard]] KR_API Kr::FileResultOf<LoadedObjects> loadObjects(const std::string& fileName,
                                                                 const ObjectLoadOptions& options = {});

/// The path of the file from which the extension, or an object above it, was loaded; empty for other content, and for
/// content from a stream without a name.
[[nodiscard]] KR_API std::string findSourceFile(const KrSim::KrExtension& extension);

/// The extension for people, with the file from which it was loaded, if any: "'Car/Motor' of '/home/cars/car.kro'".
[[nodiscard]] KR_API std::string describeWithFile(const KrSim::KrExtension& extension);

}  // namespace KrPersistence
