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

/// The section of a setup file with the setup: the settings that differ from their defaults, and the modules.
///
/// Directories are stored relative to the file, so that a setup can be moved together with them, and absolute after
/// loading. The form: docs/setups.md.
/// Thread: application. Ownership: shares the setup.
class KR_API KrSetupSection final : public NamedFileSection {
    KR_BASE_CLASS(KrSetupSection, NamedFileSection)

public:
    using Setup = KrSim::KrSmartInterface<KrSim::ApplicationConfig>;

    /// Without setup.
    KrSetupSection();
    /// With this setup.
    explicit KrSetupSection(Setup setup);
    ~KrSetupSection() override;

    /// The setup of the first section of this class in the file; empty without one.
    [[nodiscard]] static Setup find(const KrFile& file);

    /// Empty before one is set or loaded.
    [[nodiscard]] const Setup& getSetup() const noexcept { return _setup; }
    void setSetup(Setup setup) { _setup = std::move(setup); }

    /// The file from which the setup was loaded; empty before.
    [[nodiscard]] const std::string& getFile() const noexcept { return _file; }
    /// The line of the file on which a setting of a module begins; 0 when unknown, as in binary files.
    /// \param module  an extension in the object of the setup.
    [[nodiscard]] std::size_t findLine(const KrSim::KrExtension& module, const Kr::KrID& setting) const;

private:
    using Lines = std::vector<std::pair<Kr::KrID, std::size_t>>;

    void _write(ArchiveWriter& writer) const override;
    void _read(ArchiveReader& reader, unsigned int version) override;

    Setup _setup;
    std::string _file;
    std::unordered_map<const KrSim::KrExtension*, Lines> _settingLines;  // by module
};

}  // namespace KrPersistence
