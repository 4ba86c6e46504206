#pragma once

#include <mutex>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/core/base.h"

namespace KrSim::detail {

/// The applications of the process, for references that begin with an application. Any thread.
class ProcessRoot final : public Kr::KrBase {
    KR_BASE_CLASS(ProcessRoot, Kr::KrBase)

    /// The one instance, never destroyed.
    [[nodiscard]] static ProcessRoot& instance();

    /// Makes an application available to references during its lifetime.
    class Entry {
    public:
        explicit Entry(KrApplication& application) : _application(application) { instance()._enter(application); }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;
        ~Entry() { instance()._leave(_application); }

    private:
        KrApplication& _application;
    };
    [[nodiscard]] std::vector<Kr::KrBase*> getApplications() const;

private:
    ProcessRoot() = default;
    void _enter(KrApplication& application);
    void _leave(const KrApplication& application) noexcept;

    mutable std::mutex _mutex;  // guards the list
    std::vector<KrApplication*> _applications;
};

}  // namespace KrSim::detail
