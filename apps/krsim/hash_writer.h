#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "apps/krsim/hash_file.h"
#include "apps/krsim/line_buffer.h"
#include "apps/krsim/output_file.h"
#include "kr/application/i_application_listener.h"
#include "kr/persistence/states/frame_hash.h"

namespace krsim {

struct RunPlan;

/// Writes the hash of each frame of a run into a HashFile. A listener of the application from start() to stop().
class HashWriter final : public KrSim::IApplicationListener {
public:
    /// Throws a Failure when it is known already that the file cannot be written.
    HashWriter(std::string filename, bool isForced);
    HashWriter(const HashWriter&) = delete;
    HashWriter& operator=(const HashWriter&) = delete;
    ~HashWriter() override;

    /// Opens the file and writes the header; keeps the hash at the beginning of the run. Call it before the first
    /// frame, with all content and modules in the application. Throws a Failure when the file cannot be opened.
    void start(KrSim::KrApplication& application, const RunPlan& plan);
    void onFrameEnded(KrSim::KrApplication* application) override;

    /// Looks at the application no more. Call it before the application dies.
    void stop() noexcept { _hash.reset(); }
    /// Writes the last line. Throws a Failure when lines could not be written.
    void finish();

private:
    void _write(const HashFile::Frame& frame);
    void _print();

    std::string _filename;
    bool _isForced;
    OutputFile _file;
    std::optional<LineBuffer> _lines;  // into the file
    std::optional<KrPersistence::FrameHash> _hash;
    std::uint64_t _startHash{0};
    std::optional<std::uint64_t> _lastFrame;
    std::string _line;
    int _error{0};  // errno of the first failure
};

}  // namespace krsim
