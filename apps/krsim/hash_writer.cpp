#include "apps/krsim/hash_writer.h"

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <utility>

#include "apps/krsim/loaded_file.h"
#include "apps/krsim/run_plan.h"
#include "kr/application/application.h"
#include "kr/platform/crc32.h"
#include "kr/platform/text.h"
#include "kr/platform/version.h"

namespace krsim {
namespace {

constexpr auto kKind = eOutputKind::kHashes;

/// The CRC-32 of the bytes and the name, so that another version of a file is noticed.
std::string describeFile(const std::string& filename) {
    const auto stream = openInput(filename);
    const std::string bytes{std::istreambuf_iterator<char>(*stream), std::istreambuf_iterator<char>()};
    char checksum[16];
    std::snprintf(checksum, sizeof checksum, "%08x ", static_cast<unsigned int>(Kr::calculateCRC32(bytes)));
    return checksum + Kr::toOneLine(filename);
}

/// What the hashes depend on.
HashFile describeRun(const KrSim::KrApplication& application, const RunPlan& plan) {
    HashFile file;
    const auto add = [&](const char* name, std::string value) { file.header.emplace_back(name, std::move(value)); };
    add("version", Kr::getLibraryVersion());
    add("seed", Kr::toText(application.getContext().getRandomSeed()));
    add("step", Kr::toText(application.getSimulationTimeStep()));
    for (const auto& each : plan.files)
        add("file", describeFile(each));
    for (const auto& each : plan.presets)
        add("preset", Kr::toOneLine(each));
    for (const auto& each : plan.content)
        add("content", Kr::toOneLine(each));
    for (const auto& each : plan.modules)
        add("module", Kr::toOneLine(each));
    if (!plan.stateToRestore.empty()) add("state", describeFile(plan.stateToRestore));
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
