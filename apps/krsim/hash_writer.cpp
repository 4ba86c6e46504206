#include "apps/krsim/hash_writer.h"

#include <cerrno>
#include <utility>

#include "apps/krsim/run_inputs.h"
#include "apps/krsim/run_plan.h"
#include "kr/application/application.h"
#include "kr/platform/text.h"
#include "kr/platform/version.h"

namespace krsim {
namespace {

constexpr auto kKind = eOutputKind::kHashes;

/// What the hashes depend on.
HashFile describeRun(const KrSim::KrApplication& application, const RunPlan& plan) {
    HashFile file;
    const auto add = [&](const char* name, std::string value) { file.header.emplace_back(name, std::move(value)); };
    add("version", Kr::getLibraryVersion());
    add("seed", Kr::toText(application.getContext().getRandomSeed()));
    add("step", Kr::toText(application.getSimulationTimeStep()));
    for (auto& [name, value] : describeInputs(plan))
        add(name.c_str(), std::move(value));
    return file;
}

}  // namespace

HashWriter::HashWriter(std::string filename, bool isForced) : _filename(std::move(filename)), _isForced(isForced) {
    requireWritable(kKind, _filename, _isForced);
}

HashWriter::~HashWriter() = default;

void HashWriter::start(KrSim::KrApplication& application, const RunPlan& plan) {
    const auto header = describeRun(application, plan).formatHeader();
    _file = openOutput(kKind, _filename, _isForced);
    _lines.emplace(_file.get());
    _hash.emplace(application);
    _startHash = _hash->calculate();
    _line = header;
    _print();
    if (_error == 0) _error = _lines->flush();  // other writers see whose file it is
}

void HashWriter::onFrameEnded(KrSim::KrApplication* application) {
    if (_error != 0) return;
    // By its number, so that a run that begins with a restored state continues the count.
    const auto before = static_cast<std::uint64_t>(application->getContext().getFrame());
    if (_lastFrame == before + 1) return;  // a paused one
    if (!_lastFrame) _write({before, _startHash});
    _lastFrame = before + 1;
    _write({before + 1, _hash->calculate()});
}

void HashWriter::finish() {
    if (!_file) return;  // the run has not begun
    if (_lastFrame) {
        _line = HashFile::kEnd + Kr::toText(*_lastFrame) + "\n";
        _print();
    }
    if (_error == 0) _error = _lines->flush();
    _lines.reset();
    const auto file = std::move(_file);
    if (_error == 0 && std::fflush(file.get()) != 0) _error = errno;
    if (_error != 0) failToWrite(kKind, _filename, _error);
}

void HashWriter::_write(const HashFile::Frame& frame) {
    _line.clear();
    HashFile::appendFrame(_line, frame);
    _line += '\n';
    _print();
}

void HashWriter::_print() {
    if (_error == 0) _error = _lines->append(_line);
}

}  // namespace krsim
