#include "apps/krsim/sweep_result.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <utility>

#include "kr/platform/text.h"

namespace krsim {
namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

/// Texts, since JSON has neither NaN nor infinite numbers.
void writeNumber(Writer& writer, double number) {
    writer.String(Kr::toText(number).c_str());
}

double readNumber(const rapidjson::Value& value) {
    const auto number = value.IsString() ? Kr::parseNumber<double>(value.GetString()) : std::nullopt;
    return number.value_or(std::numeric_limits<double>::quiet_NaN());
}

std::string format(const SweepResult& result) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key("exitCode");
    writer.Int(result.exitCode);
    writer.Key("failure");
    writer.String(result.failure.c_str());
    writer.Key("frames");
    writer.Uint64(result.frames);
    writer.Key("simulatedSeconds");
    writeNumber(writer, result.simulatedSeconds);
    writer.Key("fields");
    writer.StartArray();
    for (const auto& each : result.fields) {
        writer.StartObject();
        writer.Key("path");
        writer.String(each.path.c_str());
        writer.Key("dimension");
        writer.Int(static_cast<int>(each.dimension));
        for (const auto& [name, member] : kStatistics) {
            writer.Key(name);
            writeNumber(writer, each.*member);
        }
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

[[noreturn]] void fail(const std::string& filename) {
    const std::string reason = std::strerror(errno);
    throw Failure(eExitCode::kFailed, "result '" + filename + "' cannot be written: " + reason);
}

bool readFields(const rapidjson::Value& fields, SweepResult& result) {
    for (const auto& each : fields.GetArray()) {
        const bool isField = each.IsObject() && each.HasMember("path") && each["path"].IsString() &&
                             each.HasMember("dimension") && each["dimension"].IsInt();
        if (!isField) return false;
        auto& field = result.fields.emplace_back();
        field.path = each["path"].GetString();
        field.dimension = static_cast<Kr::KrPhysicalDimension::ePhysicalDimension>(each["dimension"].GetInt());
        for (const auto& [name, member] : kStatistics) {
            if (!each.HasMember(name)) return false;
            field.*member = readNumber(each[name]);
        }
    }
    return true;
}

}  // namespace

void writeSweepResult(const std::string& filename, const SweepResult& result) {
    const std::string part = filename + ".part";
    const auto text = format(result);
    auto* const file = std::fopen(part.c_str(), "w");
    if (file == nullptr) fail(filename);
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if ((std::fclose(file) != 0) || !isWritten || std::rename(part.c_str(), filename.c_str()) != 0) fail(filename);
}

bool readSweepResult(const std::string& filename, SweepResult& result) {
    std::ifstream stream(filename);
    if (!stream) return false;
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
    if (document.HasParseError() || !document.IsObject()) return false;
    const auto has = [&](const char* name, bool (rapidjson::Value::*isKind)() const) {
        return document.HasMember(name) && (document[name].*isKind)();
    };
    if (!has("exitCode", &rapidjson::Value::IsInt) || !has("failure", &rapidjson::Value::IsString) ||
        !has("frames", &rapidjson::Value::IsUint64) || !has("simulatedSeconds", &rapidjson::Value::IsString) ||
        !has("fields", &rapidjson::Value::IsArray)) {
        return false;
    }
    result = {};
    result.exitCode = document["exitCode"].GetInt();
    result.failure = document["failure"].GetString();
    result.frames = document["frames"].GetUint64();
    result.simulatedSeconds = readNumber(document["simulatedSeconds"]);
    return readFields(document["fields"], result);
}

}  // namespace krsim
