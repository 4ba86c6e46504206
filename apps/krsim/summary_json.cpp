#include "apps/krsim/summary_json.h"

#include "apps/krsim/json_writer.h"
#include "kr/application/context/frame_statistics.h"

namespace krsim {
namespace {

void writeLate(JsonWriter& writer, const char* name, const KrSim::LateFrames& late) {
    writer.Key(name);
    writer.StartObject();
    writeCount(writer, "count", late.count);
    writeNumber(writer, "worstSeconds", late.worstSeconds);
    writer.EndObject();
}

void writeList(JsonWriter& writer, const char* name, const RunEventList& list) {
    writer.Key(name);
    writer.StartObject();
    writeCount(writer, "count", list.getCount());
    writeCount(writer, "omitted", list.getOmittedCount());
    writer.Key("events");
    writer.StartArray();
    for (const auto& each : list.get()) {
        writer.StartObject();
        writeText(writer, "subject", each.subject);
        writeText(writer, "what", each.what);
        writeText(writer, "detail", each.detail);
        writeCount(writer, "count", each.count);
        writeCount(writer, "firstFrame", each.first.frame);
        writeNumber(writer, "firstSeconds", each.first.seconds);
        writeCount(writer, "lastFrame", each.last.frame);
        writeNumber(writer, "lastSeconds", each.last.seconds);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
}

void writeAssigned(JsonWriter& writer, const std::vector<KrExperiments::AssignedField>& fields) {
    writer.Key("set");
    writer.StartArray();
    for (const auto& each : fields) {
        writer.StartObject();
        writeText(writer, "path", each.path);
        writeText(writer, "before", each.before);
        writeText(writer, "after", each.after);
        writer.EndObject();
    }
    writer.EndArray();
}

void writeOverrides(JsonWriter& writer, const std::vector<KrExperiments::OverrideStatus>& overrides) {
    writer.Key("overrides");
    writer.StartArray();
    for (const auto& each : overrides) {
        writer.StartObject();
        writeText(writer, "path", each.path);
        writeText(writer, "override", each.text);
        writer.Key("active");
        writer.Bool(each.isActive);
        writeText(writer, "ownValue", each.ownValue);
        writeText(writer, "shownValue", each.shownValue);
        writer.EndObject();
    }
    writer.EndArray();
}

void writeMoment(JsonWriter& writer, const char* name, const KrConditions::ConditionMoment& moment) {
    writer.Key(name);
    if (moment.frame == 0) {
        writer.Null();
        return;
    }
    writer.StartObject();
    writeCount(writer, "frame", moment.frame);
    writeNumber(writer, "seconds", moment.seconds);
    writeText(writer, "values", moment.values);
    writer.EndObject();
}

void writeChecks(JsonWriter& writer, const std::vector<KrConditions::CheckResult>& checks) {
    writer.Key("checks");
    writer.StartArray();
    for (const auto& each : checks) {
        writer.StartObject();
        writeText(writer, "expression", each.condition);
        writeCount(writer, "failures", each.failures);
        writeText(writer, "reason", each.reason);
        writeMoment(writer, "first", each.first);
        writeMoment(writer, "last", each.last);
        writer.EndObject();
    }
    writer.EndArray();
}

}  // namespace

std::string formatJsonSummary(const RunPlan& plan, const RunResult& result, const RunEvents& events) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    const auto& all = result.statistics;
    writer.StartObject();
    writeText(writer, "end", describeEnd(plan, result));
    writeCount(writer, "randomSeed", result.randomSeed);
    writeAssigned(writer, result.assigned);
    writeOverrides(writer, result.overrides);
    writeChecks(writer, result.conditions.checks);
    writeCount(writer, "frames", all.frames);
    writeNumber(writer, "simulatedSeconds", all.simulatedSeconds);
    writeNumber(writer, "realSeconds", result.realSeconds);
    writeNumber(writer, "realTimeFactor", all.meanRealTimeFactor);
    writeLate(writer, "lateAfterTooMuchWork", all.overworked);
    writeLate(writer, "lateWokenTooLate", all.overslept);
    writeList(writer, "failures", events.failures);
    writeList(writer, "infiniteOutputs", events.infinities);
    writeList(writer, "messages", events.messages);
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

}  // namespace krsim
