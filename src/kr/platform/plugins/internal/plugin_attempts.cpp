#include "kr/platform/plugins/internal/plugin_attempts.h"

#include <algorithm>

namespace KrPluginSystem::detail {

/// Null when the thread may wait.
const char* PluginAttempts::_whyNotWaitFor(const Attempt& attempt, Kr::ThreadId thread) const {
    // The owner, or the owner of what that one waits for, and so on, may be the thread itself.
    for (const Attempt* next = &attempt; next != nullptr;) {
        if (next->owner == thread) return "it is being loaded or unloaded already, and that waits for this call";
        const auto wait = _waits.find(next->owner);
        next = wait != _waits.end() ? wait->second : nullptr;
    }
    // The other thread may come to need the loader, whose lock is held around static initialisers.
    const bool isInitialiser = std::any_of(_running.begin(), _running.end(), [&](const auto& each) {
        return each.second->owner == thread && each.second->isMapping;
    });
    return isInitialiser ? "another thread is loading or unloading it, for which a static initialiser must not wait; "
                           "load it where types are registered"
                         : nullptr;
}

PluginAttempts::Scope::Scope(PluginAttempts& attempts, const std::string& plugin, eKind kind)
    : _attempts(attempts), _plugin(plugin) {
    const Kr::ThreadId thread = Kr::getCurrentThreadId();
    std::unique_lock lock(attempts._mutex);
    for (;;) {
        const auto running = attempts._running.find(plugin);
        if (running == attempts._running.end()) break;
        const std::shared_ptr<const Attempt> other = running->second;
        if (const char* const reason = attempts._whyNotWaitFor(*other, thread)) {
            _refusal = reason;
            return;
        }
        const auto wait = attempts._waits.emplace(thread, other.get()).first;
        attempts._ended.wait(lock, [&] { return other->isDone; });
        attempts._waits.erase(wait);
        if (other->kind == kind) {
            _hasOtherSucceeded = other->hasSucceeded;
            return;
        }
    }
    _attempt = std::make_shared<Attempt>(Attempt{.owner = thread, .kind = kind});
    attempts._running.emplace(plugin, _attempt);
}

PluginAttempts::Scope::~Scope() {
    if (!_attempt) return;
    const std::lock_guard lock(_attempts._mutex);
    _attempt->isDone = true;
    _attempt->hasSucceeded = _hasSucceeded;
    _attempts._running.erase(_plugin);
    _attempts._ended.notify_all();
}

void PluginAttempts::Scope::setMapping(bool isMapping) {
    const std::lock_guard lock(_attempts._mutex);
    _attempt->isMapping = isMapping;
}

}  // namespace KrPluginSystem::detail
