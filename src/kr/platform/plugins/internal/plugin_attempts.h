#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "kr/platform/thread_id.h"

namespace KrPluginSystem::detail {

/// Lets one thread at a time load or unload a plug-in, while others that want to wait for it, and refuses to let a
/// thread wait where that would never end.
class PluginAttempts {
public:
    enum class eKind { kLoad, kUnload };

    class Scope;

private:
    struct Attempt {
        Kr::ThreadId owner{Kr::ThreadId::kNone};
        eKind kind{eKind::kLoad};
        bool isMapping{false};  ///< inside the system's loader, which holds its own lock
        bool isDone{false};
        bool hasSucceeded{false};
    };

    [[nodiscard]] const char* _whyNotWaitFor(const Attempt& attempt, Kr::ThreadId thread) const;

    std::mutex _mutex;  // guards all that follows, and every attempt
    std::condition_variable _ended;
    std::map<std::string, std::shared_ptr<Attempt>> _running;
    std::map<Kr::ThreadId, const Attempt*> _waits;  ///< what each waiting thread waits for
};

/// An attempt of the calling thread, from the wait for other attempts at the same plug-in to the end of the scope.
class PluginAttempts::Scope {
public:
    Scope(PluginAttempts& attempts, const std::string& plugin, eKind kind);
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope();

    /// Whether the caller is to do the work. If not, another thread did the same meanwhile, or waiting was refused.
    [[nodiscard]] bool isMine() const noexcept { return _attempt != nullptr; }
    /// What the attempt of the other thread came to; false after a refusal.
    [[nodiscard]] bool hasOtherSucceeded() const noexcept { return _hasOtherSucceeded; }
    /// Why waiting was refused; empty otherwise.
    [[nodiscard]] const char* getRefusal() const noexcept { return _refusal; }

    /// Around the call of the system's loader.
    void setMapping(bool isMapping);
    void setSucceeded() noexcept { _hasSucceeded = true; }

private:
    PluginAttempts& _attempts;
    const std::string _plugin;
    std::shared_ptr<Attempt> _attempt;
    const char* _refusal{""};
    bool _hasOtherSucceeded{false};
    bool _hasSucceeded{false};
};

}  // namespace KrPluginSystem::detail
