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

}  // namespace

std::string formatJsonSummary(const RunPlan& plan, const RunResult& result, const RunEvents& events) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    const auto& all = result.statistics;
    writer.StartObject();
    writeText(writer, "end", describeEnd(plan, result));
    writeCount(writer, "randomSeed", result.randomSeed);
    writeAssigned(writer, result.assigned);
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
