// Writing and reading records of mixed values, beside a copy of fixed size for each value as the limit, and two peers.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <cstdint>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"

#ifdef KR_HAVE_GLIB
#include <glib.h>
#endif

namespace {

using KrSim::EventData;

struct Record {
    int number{};
    double value{};
    std::string name;
    std::string unit;
    std::uint64_t stamp{};
    bool isValid{};
    float weight{};

    bool operator==(const Record&) const = default;
};

constexpr std::size_t kRecords = 1000;
constexpr std::size_t kBytesOfRecord = 4 + 8 + (4 + 12) + (4 + 8) + 8 + 1 + 4;

const std::vector<Record>& records() {
    static const std::vector<Record> made = [] {
        std::mt19937 random(20200300);
        std::vector<Record> result(kRecords);
        for (Record& record : result) {
            record.number = static_cast<int>(random());
            record.value = 1e-3 * static_cast<double>(random());
            record.name = "Speed_" + std::to_string(100000 + random() % 900000);
            record.unit = "unit_" + std::to_string(100 + random() % 900);
            record.stamp = random();
            record.isValid = random() % 2 == 0;
            record.weight = static_cast<float>(random());
        }
        return result;
    }();
    return made;
}

void report(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kRecords * kBytesOfRecord));
}

/// The bytes as the product writes them, for readers.
std::vector<std::uint8_t> encoded() {
    EventData data;
    for (const Record& record : records())
        data << record.number << record.value << record.name << record.unit << record.stamp << record.isValid
             << record.weight;
    return data.data();
}

// --- The limit: one copy of fixed size for each value, without any test ----------------------------------------------

class BareWriter {
public:
    explicit BareWriter(std::uint8_t* target) : _target(target) {}

    template <class T>
    void put(const T& value) {
        std::memcpy(_target, &value, sizeof value);
        _target += sizeof value;
    }
    void put(const std::string& text) {
        put(static_cast<std::uint32_t>(text.size()));
        std::memcpy(_target, text.data(), text.size());
        _target += text.size();
    }

private:
    std::uint8_t* _target;
};

class BareReader {
public:
    explicit BareReader(const std::uint8_t* source) : _source(source) {}

    template <class T>
    void get(T& value) {
        std::memcpy(&value, _source, sizeof value);
        _source += sizeof value;
    }
    void get(std::string& text) {
        std::uint32_t length = 0;
        get(length);
        text.assign(reinterpret_cast<const char*>(_source), length);
        _source += length;
    }

private:
    const std::uint8_t* _source;
};

void BM_BareWrite(benchmark::State& state) {
    std::vector<std::uint8_t> bytes(kRecords * kBytesOfRecord);
    for (auto _ : state) {
        BareWriter writer(bytes.data());
        for (const Record& record : records()) {
            writer.put(record.number);
            writer.put(record.value);
            writer.put(record.name);
            writer.put(record.unit);
            writer.put(record.stamp);
            writer.put(record.isValid);
            writer.put(record.weight);
        }
        benchmark::ClobberMemory();
    }
    if (bytes != encoded()) state.SkipWithError("other bytes");
    report(state);
}
BENCHMARK(BM_BareWrite);

void BM_BareRead(benchmark::State& state) {
    const std::vector<std::uint8_t> bytes = encoded();
    std::vector<Record> read(kRecords);
    for (auto _ : state) {
        BareReader reader(bytes.data());
        for (Record& record : read) {
            reader.get(record.number);
            reader.get(record.value);
            reader.get(record.name);
            reader.get(record.unit);
            reader.get(record.stamp);
            reader.get(record.isValid);
            reader.get(record.weight);
        }
        benchmark::ClobberMemory();
    }
    if (read != records()) state.SkipWithError("other records");
    report(state);
}
BENCHMARK(BM_BareRead);

// --- Ours -----------------------------------------------------------------------------------------------------------

void BM_Write(benchmark::State& state) {
    EventData data;
    const auto writeAll = [&data] {
        data.clear();
        for (const Record& record : records())
            data << record.number << record.value << record.name << record.unit << record.stamp << record.isValid
                 << record.weight;
        benchmark::DoNotOptimize(data.data().data());
    };
    writeAll();
    const std::uint64_t before = kr_benchmark::allocations();
    for (auto _ : state) {
        writeAll();
        benchmark::ClobberMemory();
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (data.data() != encoded()) state.SkipWithError("other bytes");
    report(state);
}
BENCHMARK(BM_Write);

void BM_Read(benchmark::State& state) {
    const EventData data(encoded());
    std::vector<Record> read(kRecords);
    for (auto _ : state) {
        KrSim::detail::EventDataAccess::rewind(data);
        for (Record& record : read)
            data >> record.number >> record.value >> record.name >> record.unit >> record.stamp >> record.isValid >>
                record.weight;
        benchmark::ClobberMemory();
    }
    if (read != records()) state.SkipWithError("other records");
    report(state);
}
BENCHMARK(BM_Read);

// --- Peers ----------------------------------------------------------------------------------------------------------

void BM_BoostArchiveWrite(benchmark::State& state) {
    std::size_t size = 0;
    for (auto _ : state) {
        std::ostringstream stream;
        boost::archive::binary_oarchive archive(stream, boost::archive::no_header);
        for (const Record& record : records())
            archive << record.number << record.value << record.name << record.unit << record.stamp << record.isValid
                    << record.weight;
        size = static_cast<std::size_t>(stream.tellp());
    }
    if (size < kRecords * kBytesOfRecord) state.SkipWithError("not all written");
    report(state);
}
BENCHMARK(BM_BoostArchiveWrite);

void BM_BoostArchiveRead(benchmark::State& state) {
    std::ostringstream written;
    boost::archive::binary_oarchive target(written, boost::archive::no_header);
    for (const Record& record : records())
        target << record.number << record.value << record.name << record.unit << record.stamp << record.isValid
               << record.weight;
    std::istringstream stream(written.str());
    std::vector<Record> read(kRecords);
    for (auto _ : state) {
        stream.seekg(0);
        boost::archive::binary_iarchive archive(stream, boost::archive::no_header);
        for (Record& record : read)
            archive >> record.number >> record.value >> record.name >> record.unit >> record.stamp >> record.isValid >>
                record.weight;
        benchmark::ClobberMemory();
    }
    if (read != records()) state.SkipWithError("other records");
    report(state);
}
BENCHMARK(BM_BoostArchiveRead);

#ifdef KR_HAVE_GLIB
template <class T>
void append(GByteArray* array, const T& value) {
    guint8 bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    g_byte_array_append(array, bytes, sizeof value);
}

void append(GByteArray* array, const std::string& text) {
    append(array, static_cast<std::uint32_t>(text.size()));
    g_byte_array_append(array, reinterpret_cast<const guint8*>(text.data()), static_cast<guint>(text.size()));
}

void BM_GByteArrayWrite(benchmark::State& state) {
    GByteArray* const array = g_byte_array_new();
    for (auto _ : state) {
        g_byte_array_set_size(array, 0);
        for (const Record& record : records()) {
            append(array, record.number);
            append(array, record.value);
            append(array, record.name);
            append(array, record.unit);
            append(array, record.stamp);
            append(array, record.isValid);
            append(array, record.weight);
        }
        benchmark::ClobberMemory();
    }
    const std::vector<std::uint8_t> expected = encoded();
    if (!std::equal(expected.begin(), expected.end(), array->data, array->data + array->len)) {
        state.SkipWithError("other bytes");
    }
    g_byte_array_free(array, TRUE);
    report(state);
}
BENCHMARK(BM_GByteArrayWrite);
#endif

}  // namespace
