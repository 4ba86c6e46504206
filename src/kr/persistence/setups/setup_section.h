#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/application/application_config.h"
#include "kr/core/id.h"
#include "kr/extension/extension.h"  // the interface holds one
#include "kr/extension/smart_interface.h"
#include "kr/persistence/files/named_file_section.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// The section of a setup file that holds the setup: the settings that differ from their defaults, and the modules.
///
/// Directories are kept relative to the file, so that a setup moves together with what it needs; loaded, they are
/// absolute. docs/setups.md has the form.
class KR_API KrSetupSection final : public NamedFileSection {
    KR_BASE_CLASS(KrSetupSection, NamedFileSection)

public:
    using Setup = KrSim::KrSmartInterface<KrSim::ApplicationConfig>;

    /// Without setup.
    KrSetupSection();
    /// Holds the setup.
    explicit KrSetupSection(Setup setup);
    ~KrSetupSection() override;

    /// The setup of the first section of this class in the file; empty where there is none.
    [[nodiscard]] static Setup find(const KrFile& file);

    /// Empty before one was set or loaded.
    [[nodiscard]] const Setup& getSetup() const noexcept { return _setup; }
    void setSetup(Setup setup) { _setup = std::move(setup); }

    /// The file from which the setup was loaded; empty before.
    [[nodiscard]] const std::string& getFile() const noexcept { return _file; }
    /// The line of the file on which a setting of a module begins; 0 where it is not known, as in binary files.
    /// \param module  of the setup: one of the extensions in its object.
    [[nodiscard]] std::size_t findLine(const KrSim::KrExtension& module, const Kr::KrID& setting) const;

    void _write(ArchiveWriter& writer) const override;
    void _read(ArchiveReader& reader, unsigned int version) override;

private:
    using Lines = std::vector<std::pair<Kr::KrID, std::size_t>>;

    Setup _setup;
    std::string _file;
    std::unordered_map<const KrSim::KrExtension*, Lines> _settingLines;  // by module
};

}  // namespace KrPersistence
