#include "apps/krsim/doctor_command.h"

#include <langinfo.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
#include <string_view>
#include <system_error>

#include "apps/krsim/assembly.h"
#include "apps/krsim/json_writer.h"
#include "apps/krsim/list_command.h"
#include "apps/krsim/type_catalog.h"
#include "kr/platform/log.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "kr/platform/version.h"

namespace krsim {
namespace {

using eLevel = Examined::eLevel;

/// The first line of a file; empty for one that cannot be read.
std::string readLine(const std::filesystem::path& file) {
    std::string line;
    std::ifstream stream(file);
    std::getline(stream, line);
    return line;
}

Examined examineClockSource(const std::filesystem::path& root) {
    const auto source = readLine(root / "sys/devices/system/clocksource/clocksource0/current_clocksource");
    if (source.empty()) return {"clock source", eLevel::kNote, "the kernel does not tell", ""};
    constexpr std::string_view kSlow[] = {"hpet", "acpi_pm", "jiffies", "refined-jiffies", "pit"};
    if (std::find(std::begin(kSlow), std::end(kSlow), source) == std::end(kSlow))
        return {"clock source", eLevel::kGood, source, ""};
    return {"clock source", eLevel::kProblem, source + ": each look at the clock is a slow system call",
            "boot with a processor whose time stamp counter is stable (kernel option tsc=reliable), or choose another "
            "of available_clocksource"};
}

Examined examineGovernors(const std::filesystem::path& root) {
    std::map<std::string, int> governors;
    std::error_code error;
    for (std::filesystem::directory_iterator each(root / "sys/devices/system/cpu", error), end; !error && each != end;
         each.increment(error)) {
        const auto governor = readLine(each->path() / "cpufreq/scaling_governor");
        if (!governor.empty()) ++governors[governor];
    }
    if (governors.empty()) return {"frequency governor", eLevel::kNote, "the kernel does not tell", ""};
    std::string state;
    for (const auto& [name, count] : governors)
        state += (state.empty() ? "" : ", ") + name + " on " + std::to_string(count);
    if (governors.size() == 1 && governors.begin()->first == "performance")
        return {"frequency governor", eLevel::kGood, state, ""};
    return {"frequency governor", eLevel::kProblem, state + ": frames that follow a pause begin slowly",
            "cpupower frequency-set --governor performance"};
}

Examined examineLargePages(const std::filesystem::path& root) {
    const auto modes = readLine(root / "sys/kernel/mm/transparent_hugepage/enabled");
    const auto begin = modes.find('[');
    const auto end = modes.find(']');
    if (begin == std::string::npos || end == std::string::npos || end < begin)
        return {"large pages", eLevel::kNote, "the kernel does not tell", ""};
    const auto mode = modes.substr(begin + 1, end - begin - 1);
    if (mode != "never") return {"large pages", eLevel::kGood, mode, ""};
    return {"large pages", eLevel::kProblem, "never: loading large content takes many page faults",
            "echo madvise > /sys/kernel/mm/transparent_hugepage/enabled"};
}

Examined examineSwap(const std::filesystem::path& root) {
    std::ifstream stream(root / "proc/swaps");
    std::string line;
    std::getline(stream, line);
    if (!stream) return {"swap", eLevel::kNote, "the kernel does not tell", ""};
    int count = 0;
    while (std::getline(stream, line))
        ++count;
    if (count == 0) return {"swap", eLevel::kGood, "none", ""};
    return {"swap", eLevel::kNote, std::to_string(count) + " in use: a frame waits for memory that was swapped out",
            "swapoff -a, or enough memory for all that runs"};
}

Examined examineProcessors() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (::sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return {"processors", eLevel::kNote, "cannot be counted: " + std::string(std::strerror(errno)), ""};
    const int count = CPU_COUNT(&allowed);
    if (count > 1) return {"processors", eLevel::kGood, std::to_string(count), ""};
    return {"processors", eLevel::kProblem, "1: everything else on this machine interrupts frames",
            "allow the process two processors or more (taskset, cpuset of the container)"};
}

Examined examineResolution() {
    timespec resolution{};
    if (::clock_getres(CLOCK_MONOTONIC, &resolution) != 0)
        return {"clock resolution", eLevel::kProblem, std::strerror(errno), "use a kernel with a monotonic clock"};
    constexpr long kCoarseNanoseconds = 1000;
    const bool isCoarse = resolution.tv_sec > 0 || resolution.tv_nsec > kCoarseNanoseconds;
    const auto state = std::to_string(resolution.tv_sec * 1'000'000'000 + resolution.tv_nsec) + " ns";
    if (!isCoarse) return {"clock resolution", eLevel::kGood, state, ""};
    return {"clock resolution", eLevel::kProblem, state + ": frames cannot end in time",
            "boot without highres=off, with CONFIG_HIGH_RES_TIMERS"};
}

Examined examineTimerSlack() {
    const int nanoseconds = ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
    if (nanoseconds < 0) return {"timer slack", eLevel::kNote, "the kernel does not tell", ""};
    constexpr int kLargeNanoseconds = 100'000;
    const auto state = std::to_string(nanoseconds / 1000) + " us";
    if (nanoseconds <= kLargeNanoseconds) return {"timer slack", eLevel::kGood, state, ""};
    return {"timer slack", eLevel::kProblem, state + ": each frame may begin that much later",
            "write 50000 into /proc/PID/timerslack_ns of the shell that starts krsim"};
}

std::string describeLimit(rlim_t limit) {
    return limit == RLIM_INFINITY ? "unlimited" : std::to_string(limit);
}

Examined examineScheduling() {
    const int policy = ::sched_getscheduler(0);
    if (policy == SCHED_FIFO || policy == SCHED_RR) return {"scheduling", eLevel::kGood, "real-time class", ""};
    rlimit limit{};
    const bool isKnown = ::getrlimit(RLIMIT_RTPRIO, &limit) == 0;
    if (::geteuid() == 0 || (isKnown && limit.rlim_cur > 0)) {
        return {
            "scheduling", eLevel::kNote,
            "ordinary class; real-time priority " +
                (::geteuid() == 0 ? "is allowed to root" : "up to " + describeLimit(limit.rlim_cur) + " is allowed"),
            "start runs with chrt --fifo 20 krsim run ..."};
    }
    return {"scheduling", eLevel::kProblem, "ordinary class, no real-time priority is allowed",
            "allow it in /etc/security/limits.conf: 'USER - rtprio 80', then start runs with chrt --fifo 20"};
}

Examined examineLockedMemory() {
    constexpr rlim_t kEnoughBytes = rlim_t{1} << 30U;
    rlimit limit{};
    if (::getrlimit(RLIMIT_MEMLOCK, &limit) != 0) return {"locked memory", eLevel::kNote, std::strerror(errno), ""};
    const auto state = describeLimit(limit.rlim_cur) + (limit.rlim_cur == RLIM_INFINITY ? "" : " bytes");
    if (limit.rlim_cur >= kEnoughBytes) return {"locked memory", eLevel::kGood, state, ""};
    return {"locked memory", eLevel::kNote, state + ": plug-ins cannot keep their memory from being swapped out",
            "allow more in /etc/security/limits.conf: 'USER - memlock unlimited'"};
}

Examined examineLogFolder() {
    std::error_code error;
    const auto folder = std::filesystem::temp_directory_path(error);
    if (error) {
        return {"folder of log files", eLevel::kProblem, error.message(),
                "let the variable TMPDIR name a folder, or choose another with krsim run --log-file"};
    }
    if (::access(folder.c_str(), W_OK | X_OK) == 0) return {"folder of log files", eLevel::kGood, folder.string(), ""};
    return {"folder of log files", eLevel::kProblem,
            "'" + folder.string() + "' cannot be written: " + std::strerror(errno),
            "let the variable TMPDIR name another folder, or choose one with krsim run --log-file"};
}

Examined examineLocale() {
    const locale_t locale = ::newlocale(LC_ALL_MASK, "", nullptr);
    if (locale == nullptr) {
        return {"locale", eLevel::kProblem, "that of LANG or LC_ALL is not installed",
                "install it, or set LC_ALL=C.UTF-8"};
    }
    const std::string codes = ::nl_langinfo_l(CODESET, locale);
    ::freelocale(locale);
    if (codes == "UTF-8") return {"locale", eLevel::kGood, codes, ""};
    return {"locale", eLevel::kNote, codes + ": texts are UTF-8, so that units such as m² may look wrong",
            "set LC_ALL=C.UTF-8"};
}

Examined examineLibrary() {
    const std::string loaded = Kr::getLibraryVersion();
    if (loaded == KR_VERSION) return {"library", eLevel::kGood, loaded, ""};
    return {"library", eLevel::kProblem, loaded + ", while krsim was built for " KR_VERSION,
            "install both from one release, and look at LD_LIBRARY_PATH"};
}

Examined examineFolder(const std::string& folder) {
    const auto quoted = "'" + folder + "'";
    if (::access(folder.c_str(), R_OK | X_OK) != 0) {
        return {"plug-in folder", eLevel::kProblem, quoted + " cannot be read: " + std::strerror(errno),
                "name folders that exist and may be read with --plugins"};
    }
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error))
        return {"plug-in folder", eLevel::kProblem, quoted + " is no folder", "name folders with --plugins"};
    return {"plug-in folder", eLevel::kGood, quoted + ", plug-ins: " + std::to_string(findPluginFiles(folder).size()),
            ""};
}

const char* nameFor(eLevel level) {
    switch (level) {
        case eLevel::kGood:
            return "good";
        case eLevel::kNote:
            return "note";
        case eLevel::kProblem:
            break;
    }
    return "problem";
}

std::string format(const std::vector<Examined>& all) {
    std::string text;
    for (const auto& each : all) {
        char level[16];
        std::snprintf(level, sizeof level, "%-8s", nameFor(each.level));
        text.append(level).append(each.subject).append(": ").append(each.state).append("\n");
        if (!each.advice.empty()) text.append("        do: ").append(each.advice).append("\n");
    }
    return text;
}

std::string formatAsJson(const std::vector<Examined>& all) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writer.Key("examined");
    writer.StartArray();
    for (const auto& each : all) {
        writer.StartObject();
        writeText(writer, "subject", each.subject);
        writeText(writer, "level", nameFor(each.level));
        writeText(writer, "state", each.state);
        writeText(writer, "advice", each.advice);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

}  // namespace

std::vector<Examined> examineKernel(const std::filesystem::path& root) {
    return {examineClockSource(root), examineGovernors(root), examineLargePages(root), examineSwap(root)};
}

std::vector<Examined> examineProcess() {
    return {examineLibrary(),    examineResolution(),   examineTimerSlack(), examineScheduling(),
            examineProcessors(), examineLockedMemory(), examineLogFolder(),  examineLocale()};
}

std::vector<Examined> examinePlugins(const std::vector<std::string>& directories) {
    for (const auto& each : directories)
        KrPluginSystem::KrPluginManager::instance().addPluginSearchDir(each);
    const auto folders = getPluginDirectories();
    std::vector<Examined> all;
    std::transform(folders.begin(), folders.end(), std::back_inserter(all), examineFolder);
    const TypeCatalog catalog(folders);
    for (const auto& plugin : catalog.getPlugins()) {
        const auto failure = plugin.unfit.empty() ? tryToLoad(plugin.name) : plugin.unfit;
        if (failure.empty()) {
            all.push_back({"plug-in", eLevel::kGood, plugin.name + " " + plugin.version, ""});
        } else {
            all.push_back({"plug-in", eLevel::kProblem, "'" + plugin.path + "' " + failure,
                           "rebuild it with this library, or remove it from the folder"});
        }
    }
    return all;
}

eExitCode examine(const DoctorPlan& plan) {
    Kr::LogSetLevel(Kr::eLogLevel::kWarn);
    auto all = examineProcess();
    for (const auto& more : {examineKernel(), examinePlugins(plan.pluginDirectories)})
        all.insert(all.end(), more.begin(), more.end());
    const auto text = plan.printsJson ? formatAsJson(all) : format(all);
    std::fwrite(text.data(), 1, text.size(), stdout);  // main asks whether it was written
    const bool hasProblem =
        std::any_of(all.begin(), all.end(), [](const auto& each) { return each.level == eLevel::kProblem; });
    return hasProblem ? eExitCode::kFailed : eExitCode::kOk;
}

}  // namespace krsim
