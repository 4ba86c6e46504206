#pragma once

#include <functional>
#include <string>

#include "kr/application/fwd.h"
#include "kr/extension/i_extension.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrSim {

/// The door of an application to its saved states:
///
///     auto* manager = application->getSimulationFileManager()->getImplementationAs<KrSim::ISimulationFileManager>();
///     manager->save("lap.krstate");
///
/// Thread: save and restore on any thread, the rest on the application's.
class KR_API ISimulationFileManager : public IExtension {
public:
    /// Called once with the outcome, between two frames: on the application's thread, or while it does not run, on the
    /// calling one. After a success, the text says what of the state found no place. An exception is logged as a
    /// warning.
    using Done = std::function<void(const Kr::FileResult& result)>;

    using IExtension::IExtension;
    ~ISimulationFileManager() override;

    /// Saves the state of the application: now when no frame is under way, else when the frame has ended. After a
    /// failure the old file is still there.
    /// \param fileName  relative names begin at the parameter "Directory", which itself is relative to the working
    ///                  directory; empty: the file that was saved or restored last, which the output "LastFile" shows.
    /// \param done      empty: what its result says is logged as a warning.
    /// \return  false without an application; nothing is done then.
    virtual bool save(const std::string& fileName, Done done = {}) = 0;
    /// Restores a saved state likewise. After a failure nothing has changed.
    virtual bool restore(const std::string& fileName, Done done = {}) = 0;

    /// Null for a manager that was made without an application, and when its application has ended.
    [[nodiscard]] KrApplication* getApplication() const noexcept { return _application; }
    /// For the application.
    void _setApplication(KrApplication* application) noexcept { _application = application; }

private:
    KrApplication* _application{nullptr};
};

}  // namespace KrSim
