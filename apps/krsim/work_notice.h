#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace krsim {

/// Tells on a terminal, in lines of its own on standard error, that work takes long: "krsim: loading 'town.kro', 2 s so
/// far", and again each time when the time has doubled. It says nothing for short work, and into pipes and files.
/// Thread: one of its own on a terminal. Ownership: a local variable around the work.
class WorkNotice {
public:
    /// \param what  "loading 'town.kro'"
    explicit WorkNotice(std::string what);
    WorkNotice(const WorkNotice&) = delete;
    WorkNotice& operator=(const WorkNotice&) = delete;
    ~WorkNotice();

private:
    void _run();

    const std::string _what;
    std::mutex _mutex;  // guards the next member
    bool _isDone{false};
    std::condition_variable _isEnding;
    std::thread _thread;  // the last member: it uses the others
};

}  // namespace krsim
