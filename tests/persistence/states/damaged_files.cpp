// Loads damaged files of objects, setups and states: damaged_files FILES MUTANTS ROUNDS
//
// FILES random files of each sort and kind are saved, and MUTANTS damaged copies of each are loaded. Prints how many
// were refused, the longest load and the peak of memory over that of the process. Then 100 damaged files of each kind
// are loaded ROUNDS times, and the growth of memory after the first round is printed. Fails when a load takes a
// thousand times as much processor time as that of the whole file, takes more memory than 64 MiB and 8 times the file,
// leaves content behind, or when memory grows by 1 MiB. States that can be loaded are restored, too, and all that can
// be loaded is saved again.

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/log.h"
#include "tests/persistence/fields/field_trees.h"
#include "tests/persistence/objects/garage.h"
#include "tests/persistence/states/saved_files.h"
#include "tests/support/growth.h"

/// There in a program under a sanitizer, whose allocator keeps what was freed.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();  // NOLINT: the name is not ours

namespace {

using garage::KrFile;

struct Kind {
    const char* name;
    int flags;
};
constexpr Kind kKinds[] = {{"binary", 0}, {"XML", KrFile::kXml}, {"JSON", KrFile::kJson}};
constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

/// In bytes, of /proc/self/status.
std::size_t readMemory(const std::string& what) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(what, 0) == 0) return std::strtoull(line.c_str() + what.size(), nullptr, 10) << 10U;
    }
    return 0;
}

/// In bytes: what is in use. The resident size would count what an allocator keeps back.
std::size_t allocatedMemory() {
    if (__sanitizer_get_current_allocated_bytes) return __sanitizer_get_current_allocated_bytes();
    const auto info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

void resetPeak() {
    ::malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;
}

std::string makeObjects(unsigned seed, int flags) {
    auto top = garage::makeObject(garage::kGarageType, "Top", 1);
    const auto motor = garage::make(garage::kMotorType, "Motor", 2);
    top->add(motor.get());
    const auto lost = garage::make({"11111111-2222-4333-8444-555555555555", "No", "Type", "none"}, "Lost", 3);
    top->add(lost.get());
    field_trees::TreeMaker trees(seed);
    auto tree = trees.make();
    tree->_setDynamic(true);
    if (tree->setParent(&lost->getParameterContainer())) static_cast<void>(tree.release());
    auto* own = top->getExtension(0);
    own->addParameter("Target", Kr::KrID("Motor"))->set(motor.get());
    Kr::KrConnectionFactory::connect(garage::motorOf(motor).speed.getField(),
                                     own->getImplementationAs<garage::Motor>()->pedal.getField());
    return garage::save({top, top->instantiate(garage::KrContentID::createFromWords(8, 8))}, flags);
}

saved_files::Simulation& simulation() {
    static auto& made = *new saved_files::Simulation;
    return made;
}

std::string makeSetup(unsigned seed, int flags) {
    return saved_files::makeSetup(*field_trees::TreeMaker(seed).make(), flags);
}

std::string makeState(unsigned seed, int flags) {
    using saved_files::eStatePayload;
    field_trees::TreeMaker trees(seed);
    const auto payload = seed % 4 == 3 ? eStatePayload::kCompact : eStatePayload::kNormal;
    return simulation().makeState(*trees.make(), flags, payload);
}

/// Makes a file of its sort.
struct Sort {
    const char* name;
    std::string (*make)(unsigned seed, int flags);
};
constexpr Sort kSorts[] = {{"objects", makeObjects}, {"setups", makeSetup}, {"states", makeState}};

std::string damage(std::string bytes, std::mt19937& random) {
    for (auto count = 1 + random() % 4; count > 0 && bytes.size() > 28; --count) {
        const auto place = 27 + random() % (bytes.size() - 27);
        const auto kind = random() % 5;
        if (kind == 0) bytes[place] = static_cast<char>(random());
        if (kind == 1) bytes[place] = static_cast<char>(bytes[place] ^ (1 << random() % 8));
        if (kind == 2) bytes.erase(place, 1 + random() % 16);
        if (kind == 3) bytes.insert(place, bytes.substr(random() % bytes.size(), random() % 32));
        if (kind == 4) bytes.resize(place);
    }
    return bytes;
}

class Run {
public:
    Run(const Sort& sort, const Kind& kind) : _sort(sort), _kind(kind) {}

    bool damageFiles(unsigned files, unsigned mutants) {
        std::size_t refused = 0;
        double longest = 0.0;
        std::size_t most = 0;
        for (unsigned seed = 0; seed < files; ++seed) {
            const auto bytes = _sort.make(seed, _kind.flags);
            const double wholeBegin = test_support::processorTime();
            if (!_load(bytes)) return _fail(seed, "a whole file is refused");
            const double whole = test_support::processorTime() - wholeBegin;
            const auto present = _registry.getExtensionCount();
            std::mt19937 random(seed);
            for (unsigned mutant = 0; mutant < mutants; ++mutant) {
                const auto broken = damage(bytes, random);
                if (mutant % 64 == 0) resetPeak();
                const auto before = readMemoryNow(mutant);
                const double begin = test_support::processorTime();
                if (!_load(broken)) ++refused;
                const double took = test_support::processorTime() - begin;
                longest = std::max(longest, took);
                if (took > 1000.0 * whole) return _fail(seed, "a load took a thousand times as long as the whole file");
                if (!_isSound) return _fail(seed, "what was loaded cannot be restored or saved");
                if (_registry.getExtensionCount() != present) return _fail(seed, "content was left behind");
                if (mutant % 64 != 63) continue;
                const auto peak = readMemory("VmHWM:");
                most = std::max(most, peak - std::min(before, peak));
                if (peak > before + 64 * kMebibyte + 8 * broken.size()) return _fail(seed, "too much memory");
            }
        }
        std::printf("%s, %s: %zu of %zu refused, longest load %.1f ms, peak of memory %.1f MiB\n", _sort.name,
                    _kind.name, refused, std::size_t{files} * mutants, 1e3 * longest,
                    static_cast<double>(most) / double{kMebibyte});
        return true;
    }

    bool repeatLoads(unsigned rounds) {
        std::vector<std::string> broken;
        std::mt19937 random(1);
        while (broken.size() < 100) {
            auto mutant = damage(_sort.make(static_cast<unsigned>(broken.size()), _kind.flags), random);
            if (!_load(mutant)) broken.push_back(std::move(mutant));
        }
        std::size_t first = 0;
        for (unsigned round = 0; round < rounds; ++round) {
            for (const auto& each : broken)
                _load(each);
            if (round == 0) first = allocatedMemory();
        }
        const auto last = allocatedMemory();
        const auto growth = last - std::min(first, last);
        std::printf("%s, %s: 100 broken files, %u rounds, memory grew by %zu KiB\n", _sort.name, _kind.name, rounds,
                    growth >> 10U);
        return growth < kMebibyte || _fail(0, "memory grows");
    }

private:
    /// Once for 64 loads: reading it costs more than a load.
    std::size_t readMemoryNow(unsigned mutant) {
        if (mutant % 64 == 0) _before = readMemory("VmRSS:");
        return _before;
    }
    bool _load(const std::string& bytes) { return simulation().load(bytes, _isSound); }
    bool _fail(unsigned seed, const char* what) const {
        std::printf("%s, %s, file %u: %s\n", _sort.name, _kind.name, seed, what);
        return false;
    }

    KrSim::KrContentRegistry& _registry = KrSim::KrContentRegistry::instance();
    const Sort& _sort;
    const Kind& _kind;
    std::size_t _before{0};
    bool _isSound{true};
};

}  // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        std::fputs("damaged_files FILES MUTANTS ROUNDS\n", stderr);
        return 2;
    }
    const auto number = [&](int at) { return static_cast<unsigned>(std::strtoul(arguments[at], nullptr, 10)); };
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    const garage::TypeScope types;
    simulation();
    bool isSound = true;
    for (const auto& sort : kSorts) {
        for (const auto& kind : kKinds) {
            Run run(sort, kind);
            isSound = run.damageFiles(number(1), number(2)) && run.repeatLoads(number(3)) && isSound;
        }
    }
    return isSound ? 0 : 1;
}
