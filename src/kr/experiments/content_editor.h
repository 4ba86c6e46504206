#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kr/core/connections/connection_factory.h"
#include "kr/experiments/assignment.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/fwd.h"
#include "kr/persistence/objects/object_section.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrExperiments {

/// Changes the content of an object file by paths, as a person would in an editor.
///
///     const auto file = load("town.kro");                        // a KrFile
///     KrExperiments::ContentEditor editor(*section);             // its KrObjectSection
///     auto problem = editor.connect("Driver.Pedal", "Drive.Pedal", Kr::eConnectionKind::kUnitDelay);
///     if (problem.empty()) file->save("town.kro", flags);
///
/// Extensions are named by their paths, "Car/Vehicle", or by the ends of these where they mean one extension; fields as
/// for findOneField. Each function returns the problem, as the end of a message, and changes nothing then; an empty
/// text when it is done. Thread: application. Ownership: borrows the section, and holds nothing.
class KR_API ContentEditor {
public:
    explicit ContentEditor(KrPersistence::KrObjectSection& section) : _section(section) {}

    /// Sets fields; see assignFields.
    [[nodiscard]] AssignmentResult set(std::span<const Assignment> assignments) const;
    /// Makes an extension of a type, loading its plug-in.
    /// \param name    made unique; empty for that of the type.
    /// \param parent  the object that gets it; empty for the top of the file.
    [[nodiscard]] std::string add(const KrSim::KrFactoryKey& type, const std::string& name, std::string_view parent);
    /// Removes an extension with all below it, and their connections.
    [[nodiscard]] std::string remove(std::string_view path);
    [[nodiscard]] std::string connect(std::string_view source, std::string_view sink, Kr::eConnectionKind kind) const;
    /// Ends the connections between two fields.
    [[nodiscard]] std::string disconnect(std::string_view source, std::string_view sink) const;
    /// Places instances of an object: they follow their definition, and are stored with what is their own.
    /// \param definitions  where to look for it: the extensions at the top of this file, or of another one.
    /// \param name         of the instances; several get numbers. Empty for that of the definition.
    [[nodiscard]] std::string instantiate(std::span<const Kr::KrSmartPtr<KrSim::KrExtension>> definitions,
                                          std::string_view definition, const std::string& name, std::string_view parent,
                                          std::size_t count = 1);

private:
    [[nodiscard]] std::string _place(KrSim::KrExtension& extension, const std::string& name, std::string_view parent);

    KrPersistence::KrObjectSection& _section;
};

}  // namespace KrExperiments
