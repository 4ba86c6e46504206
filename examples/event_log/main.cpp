// Publishes and receives an event, logs at every level, and shows the effect of the messages: which listeners received
// them, which one threw, which one ended its process, and the contents of the log file. Ends with status 1 if anything
// shown is not true.

#include <kr/foundation.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {

bool everythingHolds = true;

void claim(bool isTrue, const std::string& what) {
    std::cout << (isTrue ? "  ok: " : "  WRONG: ") << what << '\n';
    everythingHolds = everythingHolds && isTrue;
}

class Monitor final : public KrSim::ErrorManager::Listener {
public:
    void onMessage(int, Kr::eLogLevel, const std::string& message, const std::string& sender, std::int64_t) override {
        std::cout << "  [monitor] " << message;
        claim(sender == Kr::Process::getHostNameProcessID(), "it was this process");
        ++count;
    }
    int count{0};
};

/// What a host sets up: the log behind the error handler, and the managers through which its messages are published.
class Host {
public:
    explicit Host(const std::string& logFile) {
        KrSim::KrErrorHandler::Register();
        KrSim::KrErrorHandler::enableConsoleLog(false);
        KrSim::KrErrorHandler::setLogFile(logFile);
        KrSim::KrErrorHandler::setEventManager(&events);
        Kr::LogSetLevel(Kr::eLogLevel::kTrace);
        errors.registerListener(&monitor);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host() {
        errors.unregisterListener(&monitor);
        KrSim::KrErrorHandler::setEventManager(nullptr);
        KrSim::KrErrorHandler::setLogFile("");
    }

    KrSim::EventManagerImplementation events;
    KrSim::ErrorManager errors{&events};
    Monitor monitor;
};

void showEvents(KrSim::EventManager& events) {
    std::cout << "== An event with a payload ==\n";
    const KrSim::EventId gearChanged = KrSim::EventManager::createEventId("Gear changed");
    int gear = 0;
    std::string reason;
    KrSim::EventListener listener =
        events.registerListener(gearChanged, [&](const KrSim::EventData& data) { data >> gear >> reason; });
    KrSim::EventData data;
    data << 3 << "uphill";
    std::cout << "  sent \"" << KrSim::EventIDList::instance().getName(gearChanged) << "\" with " << data.data().size()
              << " bytes\n";
    events.sendEvent(gearChanged, data);
    claim(gear == 3 && reason == "uphill", "the listener read gear 3 and \"uphill\"");
    listener.unregister();
    data.clear();
    data << 4 << "downhill";
    events.sendEvent(gearChanged, data);
    claim(gear == 3, "after its handle is gone the listener hears nothing");
}

void showLevels(const Monitor& monitor) {
    std::cout << "== A message of each level that returns ==\n";
    Kr::logMessage(Kr::eLogLevel::kTrace, "wheel 1 turned\n");
    Kr::logMessage(Kr::eLogLevel::kDebug, "gear %d of %d\n", 3, 6);
    Kr::logMessage(Kr::eLogLevel::kInfo, "engine started\n");
    Kr::logMessage(Kr::eLogLevel::kWarn, "oil is cold\n");
    Kr::logMessage(Kr::eLogLevel::kWarn, "oil is cold\n");
    Kr::LogSetLevel(Kr::eLogLevel::kInfo);
    Kr::logMessage(Kr::eLogLevel::kDebug, "above the threshold\n");
    claim(monitor.count == 4, "a repeat is published once, a message above the threshold not at all");
}

void showError() {
    std::cout << "== An error message throws ==\n";
    try {
        Kr::logMessage(Kr::eLogLevel::kError, "no oil\n");
        claim(false, "an error message throws");
    } catch (const KrSim::KrRuntimeError& error) {
        std::cout << "  caught " << error.what();
        claim(true, "it was published and filed before");
    }
}

/// Runs this program again to log the fatal message: it ends the process that logs it.
void showFatal(char* program, std::string logFile) {
    std::cout << "== A fatal message ends its process after three seconds ==\n" << std::flush;
    char* arguments[] = {program, logFile.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    const bool hasRun = posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, arguments, environ) == 0 &&
                        waitpid(child, &status, 0) == child;
    claim(hasRun && WIFEXITED(status) && WEXITSTATUS(status) == 1, "the other process ended with status 1");
}

void showFile(const std::string& logFile) {
    std::cout << "== The log file of both, without the times ==\n";
    std::ifstream file(logFile);
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines) {
        const auto text = line.find(" - ");
        std::cout << "  " << (text == std::string::npos ? line : line.substr(text + 3)) << '\n';
    }
    claim(lines == 7, "every handled message stands there, repeats included");
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc > 1) {
        const Host host(argv[1]);
        Kr::logMessage(Kr::eLogLevel::kFatal, "engine on fire\n");
        return 0;  // not reached
    }
    std::string folder = (std::filesystem::temp_directory_path() / "kr_event_log_XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) return 1;
    const std::string logFile = folder + "/event_log.log";
    {
        Host host(logFile);
        showEvents(host.events);
        showLevels(host.monitor);
        showError();
    }
    showFatal(argv[0], logFile);
    showFile(logFile);
    std::filesystem::remove_all(folder);
    std::cout << (everythingHolds ? "\nEverything shown holds.\n" : "\nSomething shown does not hold.\n");
    return everythingHolds ? 0 : 1;
}
