#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace test_support {

/// A thread that does one piece of work after the other, and lives until its scope ends.
class OtherThread {
public:
    OtherThread() : _thread([this] { _serve(); }) {}
    OtherThread(const OtherThread&) = delete;
    OtherThread& operator=(const OtherThread&) = delete;
    ~OtherThread() {
        begin([this] { _isOver = true; });
        _thread.join();
    }

    /// Does it there, and returns when it is done.
    void does(std::function<void()> work) {
        begin(std::move(work));
        awaitEnd();
    }
    /// Returns when the work before has ended.
    void begin(std::function<void()> work) {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [this] { return !_work; });
        _work = std::move(work);
        _changed.notify_all();
    }
    void awaitEnd() {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [this] { return !_work; });
    }
    [[nodiscard]] std::thread::id getId() const { return _thread.get_id(); }

private:
    void _serve() {
        while (!_isOver) {
            std::unique_lock lock(_mutex);
            _changed.wait(lock, [this] { return _work != nullptr; });
            const auto work = _work;
            lock.unlock();
            work();
            lock.lock();
            _work = nullptr;
            _changed.notify_all();
        }
    }

    std::mutex _mutex;  // guards the work
    std::condition_variable _changed;
    std::function<void()> _work;
    bool _isOver{false};  // of the thread
    std::thread _thread;
};

}  // namespace test_support
