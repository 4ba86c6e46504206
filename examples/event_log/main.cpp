// Publishes and receives an event, logs at every level that returns, and shows what became of the messages: who heard
// of them, which one threw, and what stands in the log file. Ends with status 1 if anything shown is not true.

#include <kr/foundation.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

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
    std::cout << "== A message of each level, with the threshold at Debug ==\n";
    Kr::logMessage(Kr::eLogLevel::kTrace, "wheel 1 turned\n");
    Kr::logMessage(Kr::eLogLevel::kDebug, "gear %d of %d\n", 3, 6);
    Kr::logMessage(Kr::eLogLevel::kInfo, "engine started\n");
    Kr::logMessage(Kr::eLogLevel::kWarn, "oil is cold\n");
    Kr::logMessage(Kr::eLogLevel::kWarn, "oil is cold\n");
    claim(monitor.count == 3, "trace is above the threshold, and a repeat is published once");
    try {
        Kr::logMessage(Kr::eLogLevel::kError, "no oil\n");
        claim(false, "an error message throws");
    } catch (const KrSim::KrRuntimeError& error) {
        std::cout << "  caught " << error.what();
        claim(true, "an error message throws, after it was published and filed");
    }
    std::cout << "  (a fatal message would end this process after three seconds)\n";
}

void showFile(const std::filesystem::path& path) {
    std::cout << "== The log file, without the times ==\n";
    std::ifstream file(path);
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines) {
        const auto text = line.find(" - ");
        std::cout << "  " << (text == std::string::npos ? line : line.substr(text + 3)) << '\n';
    }
    claim(lines == 5, "every handled message stands there, repeats included");
}

}  // namespace

int main() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kr_event_log_XXXXXX").string();
    const char* folder = mkdtemp(pattern.data());
    if (folder == nullptr) return 1;
    const auto path = std::filesystem::path(folder) / "event_log.log";

    KrSim::KrErrorHandler::Register();
    KrSim::KrErrorHandler::enableConsoleLog(false);
    KrSim::KrErrorHandler::setLogFile(path.string());
    Kr::LogSetLevel(Kr::eLogLevel::kDebug);
    {
        KrSim::EventManagerImplementation events;
        KrSim::KrErrorHandler::setEventManager(&events);
        KrSim::ErrorManager errors(&events);
        Monitor monitor;
        errors.registerListener(&monitor);
        showEvents(events);
        showLevels(monitor);
        errors.unregisterListener(&monitor);
        KrSim::KrErrorHandler::setEventManager(nullptr);
    }
    KrSim::KrErrorHandler::setLogFile("");
    showFile(path);
    std::filesystem::remove_all(folder);
    std::cout << (everythingHolds ? "\nEverything shown holds.\n" : "\nSomething shown does not hold.\n");
    return everythingHolds ? 0 : 1;
}
