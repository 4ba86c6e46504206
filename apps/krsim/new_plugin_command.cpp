#include "apps/krsim/new_plugin_command.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "apps/krsim/failure.h"
#include "kr/content/content_id.h"
#include "kr/platform/uuid.h"

namespace krsim {
namespace {

namespace fs = std::filesystem;

/// Text of the template, and its replacement in the new plug-in.
using Replacements = std::vector<std::pair<std::string, std::string>>;

constexpr std::size_t kLongestName = 64;
constexpr std::size_t kUuidLength = 36;

bool isUpper(char character) {
    return std::isupper(static_cast<unsigned char>(character)) != 0;
}
bool isLower(char character) {
    return std::islower(static_cast<unsigned char>(character)) != 0;
}
bool isLetterOrDigit(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0;
}

/// Why the name is refused; empty for a good one.
std::string findFault(const std::string& name) {
    if (name.empty() || !isUpper(name.front())) return "begins with no capital letter A to Z";
    if (!std::all_of(name.begin(), name.end(), isLetterOrDigit)) return "has characters other than letters and digits";
    if (std::none_of(name.begin(), name.end(), isLower)) return "has no small letter, as macros have none";
    if (name.size() > kLongestName) return "has more than " + std::to_string(kLongestName) + " characters";
    if (name.starts_with("Kr") && (name.size() == 2 || !isLower(name[2]))) return "begins like those of the library";
    if (name == "IExtension") return "is that of the class that it is derived from";
    return {};
}

/// The words of a name: "ABSController2" has "ABS" and "Controller2".
std::vector<std::string> splitWords(const std::string& name) {
    std::vector<std::string> words;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool isAfterSmall = i > 0 && isUpper(name[i]) && !isUpper(name[i - 1]);
        const bool isBeforeSmall = i + 1 < name.size() && isUpper(name[i]) && isLower(name[i + 1]);
        if (words.empty() || isAfterSmall || isBeforeSmall) words.emplace_back();
        words.back() += name[i];
    }
    return words;
}

std::string joinWords(const std::vector<std::string>& words, char separator) {
    std::string joined;
    for (const auto& each : words) {
        if (!joined.empty()) joined += separator;
        joined += each;
    }
    return joined;
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

void appendOnce(Replacements& replacements, std::string from, std::string to) {
    const bool isKnown =
        std::any_of(replacements.begin(), replacements.end(), [&](const auto& each) { return each.first == from; });
    if (!isKnown) replacements.emplace_back(std::move(from), std::move(to));
}

/// New uuids for those that the source of the template gives to its types, in all files.
void appendUuids(Replacements& replacements, std::string_view source) {
    for (std::size_t at = 0; at + kUuidLength <= source.size(); ++at) {
        const auto text = source.substr(at, kUuidLength);
        if (source[at] == '-' || KrSim::KrUuid(text).isNull()) continue;
        appendOnce(replacements, std::string(text), KrSim::KrUuid::createRandom().toString());
        at += kUuidLength;
    }
}

/// New IDs for the content in the template's files.
void appendContentIDs(Replacements& replacements, std::string_view file) {
    constexpr std::string_view kBegin = "<ContentID>";
    for (auto at = file.find(kBegin); at != std::string_view::npos; at = file.find(kBegin, at + 1)) {
        const auto id = file.substr(at + kBegin.size(), file.find('<', at + 1) - at - kBegin.size());
        appendOnce(replacements, std::string(id), KrSim::KrContentID::createUnique().toString());
    }
}

Replacements makeReplacements(const PluginNames& names) {
    Replacements replacements{
        {"RoadVehicle", names.className}, {"Road Vehicle", names.displayName}, {"road_vehicle", names.fileName}};
    for (const auto& file : getPluginTemplate()) {
        if (std::string_view(file.name).ends_with(".cpp")) appendUuids(replacements, file.text);
        if (std::string_view(file.name).ends_with(".xml")) appendContentIDs(replacements, file.text);
    }
    return replacements;
}

void requireFree(const fs::path& folder, bool isForced) {
    std::error_code error;
    const auto status = fs::status(folder, error);
    if (!fs::exists(status)) return;
    if (!fs::is_directory(status)) throw Failure(eExitCode::kUsage, "'" + folder.string() + "' is no folder");
    if (isForced || fs::is_empty(folder, error)) return;
    throw Failure(eExitCode::kUsage, "folder '" + folder.string() +
                                         "' is not empty: choose another one with --directory; with --force, files of "
                                         "the same names are replaced");
}

void writeFile(const fs::path& file, const std::string& text) {
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream) throw Failure(eExitCode::kFailed, "cannot write '" + file.string() + "': " + std::strerror(errno));
}

}  // namespace

PluginNames makePluginNames(const std::string& name) {
    const auto fault = findFault(name);
    if (!fault.empty()) {
        throw Failure(eExitCode::kUsage, "'" + name + "' is no name for a plug-in: it " + fault +
                                             "; it becomes that of a C++ class, such as RoadVehicle");
    }
    const auto words = splitWords(name);
    auto fileName = joinWords(words, '_');
    std::transform(fileName.begin(), fileName.end(), fileName.begin(),
                   [](char each) { return static_cast<char>(std::tolower(static_cast<unsigned char>(each))); });
    return {name, joinWords(words, ' '), fileName};
}

void createPlugin(const NewPluginPlan& plan) {
    const auto names = makePluginNames(plan.name);
    const fs::path folder = plan.directory.empty() ? plan.name : plan.directory;
    requireFree(folder, plan.isForced);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) throw Failure(eExitCode::kFailed, "cannot make folder '" + folder.string() + "': " + error.message());
    const auto replacements = makeReplacements(names);
    for (const auto& file : getPluginTemplate()) {
        std::string name = file.name;
        std::string text = file.text;
        for (const auto& [from, to] : replacements) {
            replaceAll(name, from, to);
            replaceAll(text, from, to);
        }
        writeFile(folder / name, text);
        std::printf("krsim: wrote '%s'\n", (folder / name).c_str());
    }
    std::printf("krsim: '%s' says how to build, test and run it\n", (folder / "README.md").c_str());
}

}  // namespace krsim
