#pragma once

#include <functional>
#include <string>

#include "kr/application/fwd.h"
#include "kr/extension/i_extension.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrSim {

/// Saves and restores the state of an application:
///
///     auto* manager = application->getSimulationFileManager()->getImplementationAs<KrSim::ISimulationFileManager>();
///     manager->save("lap.krstate");
///
/// Thread: save and restore on any thread, the rest on the application's. Ownership: owned by its extension.
class KR_API ISimulationFileManager : public IExtension {
public:
    /// Called once with the result, between two frames: on the application's thread, or while it does not run, on the
    /// calling thread. After a success, the text lists the parts of the state that could not be restored. An exception
    /// is logged as a warning.
    using Done = std::function<void(const Kr::FileResult& result)>;

    using IExtension::IExtension;
    ~ISimulationFileManager() override;

    /// Saves the state of the application: immediately when no frame is in progress, else at the end of the frame.
    /// After a failure the old file is unchanged.
    /// \param fileName  relative names begin at the parameter "Directory", which itself is relative to the working
    ///                  directory; empty: the file that was saved or restored last, shown by the output "LastFile".
    /// \param done      empty: the text of the result is logged as a warning.
    /// \return  false without an application; nothing is done then.
    virtual bool save(const std::string& fileName, Done done = {}) = 0;
    /// Restores a saved state, with the same parameters. After a failure nothing has changed.
    virtual bool restore(const std::string& fileName, Done done = {}) = 0;

    /// Null for a manager without an application, and after its application has ended.
    [[nodiscard]] KrApplication* getApplication() const noexcept { return _application; }

private:
    friend class KrApplication;

    KrApplication* _application{nullptr};
};

}  // namespace KrSim
