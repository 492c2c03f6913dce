// Trace events as text in memory. All contenders write the same bytes.

#include <benchmark/benchmark.h>
#include <fmt/compile.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZelREKernel/profiling/vGoogleTracer.h"
#include "ZelREKernel/profiling/vProfiler.h"
#include "support/AllocationCount.h"

namespace {

using ZKL::vGoogleTracer;
using ZKL::vProfiler;
using ZKL::vTraceRecord;

constexpr std::size_t kBatch = 1024;

// Slices without and with an argument in turn, of names as long as names are.
const std::vector<vTraceRecord>& GetRecords() {
    static const std::vector<vTraceRecord> records = [] {
        const std::uint32_t names[] = {vProfiler::RegisterName("TransformVertices"),
                                       vProfiler::RegisterName("Tile"),
                                       vProfiler::RegisterName("WaitTask")};
        const std::uint32_t argument = vProfiler::RegisterName("index");
        std::vector<vTraceRecord> list(kBatch);
        for (std::uint32_t i = 0; i < kBatch; ++i) {
            vTraceRecord& record = list[i];
            record.categoryId = vProfiler::kDefaultCategory;
            record.nameId = names[i / 2 % 3];
            record.timestamp = 1000000 + 7 * i;
            record.tid = i % 16;
            record.phase = i % 2 == 0 ? 'B' : 'E';
            if (record.phase == 'B') {
                record.argNameId = argument;
                record.argKind = vTraceRecord::eArgNumber;
                record.value.number = i;
            }
        }
        return list;
    }();
    return records;
}

std::string WriteWithOurs() {
    std::string text;
    const vGoogleTracer::Sink sink{.write =
                                       [](void* context, const char* piece, std::size_t length) {
                                           static_cast<std::string*>(context)->append(piece,
                                                                                      length);
                                       },
                                   .context = &text};
    // Not the first of a file, so that every event has its comma.
    vGoogleTracer::WriteRecords(GetRecords().data(), 1, sink, {});
    text.clear();
    vGoogleTracer::WriteRecords(GetRecords().data(), kBatch, sink, {});
    return text;
}

const std::string& GetExpected() {
    static const std::string expected = WriteWithOurs();
    return expected;
}

void Ours(benchmark::State& state) {
    GetExpected();
    std::size_t bytes = 0;
    const vGoogleTracer::Sink sink{.write =
                                       [](void* context, const char* text, std::size_t length) {
                                           benchmark::DoNotOptimize(text);
                                           *static_cast<std::size_t*>(context) += length;
                                       },
                                   .context = &bytes};
    const std::vector<vTraceRecord>& records = GetRecords();
    const std::size_t before = bench::AllocationsOfThisThread();
    for (auto _ : state) {
        vGoogleTracer::WriteRecords(records.data(), kBatch, sink, {});
    }
    state.counters["allocs"] = static_cast<double>(bench::AllocationsOfThisThread() - before);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
}

// `format(out, record)` writes one event and returns its end.
template <typename Format>
void Peer(benchmark::State& state, Format format) {
    std::vector<char> buffer(8192);
    const std::vector<vTraceRecord>& records = GetRecords();
    std::string text;
    for (const vTraceRecord& record : records) {
        text.append(buffer.data(), format(buffer.data(), record));
    }
    if (text != GetExpected()) {
        state.SkipWithError("the peer writes other bytes");
    }
    for (auto _ : state) {
        char* out = buffer.data();
        for (const vTraceRecord& record : records) {
            out = format(out, record);
            if (out - buffer.data() > 7680) {
                benchmark::DoNotOptimize(buffer.data());
                benchmark::ClobberMemory();
                out = buffer.data();
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
}

void FmtCompiled(benchmark::State& state) {
    Peer(state, [](char* out, const vTraceRecord& record) {
        out = fmt::format_to(out,
                             FMT_COMPILE(",\n{{\"ph\":\"{}\",\"name\":\"{}\",\"cat\":\"{}\","
                                         "\"pid\":{},\"tid\":{},\"ts\":{}"),
                             record.phase, vProfiler::LookUpName(record.nameId),
                             vProfiler::LookUpName(record.categoryId), record.pid, record.tid,
                             record.timestamp);
        if (record.argKind == vTraceRecord::eArgNumber) {
            out = fmt::format_to(out, FMT_COMPILE(",\"args\":{{\"{}\":\"{}\"}}"),
                                 vProfiler::LookUpName(record.argNameId), record.value.number);
        }
        *out++ = '}';
        return out;
    });
}

template <std::size_t size>
char* Put(char* out, const char (&text)[size]) {
    std::memcpy(out, text, size - 1);
    return out + size - 1;
}
char* Put(char* out, std::string_view text) {
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
}
template <typename Number>
char* PutNumber(char* out, Number number) {
    return std::to_chars(out, out + 20, number).ptr;
}

void HandWritten(benchmark::State& state) {
    Peer(state, [](char* out, const vTraceRecord& record) {
        out = Put(out, ",\n{\"ph\":\"");
        *out++ = record.phase;
        out = Put(out, "\",\"name\":\"");
        out = Put(out, std::string_view(vProfiler::LookUpName(record.nameId)));
        out = Put(out, "\",\"cat\":\"");
        out = Put(out, std::string_view(vProfiler::LookUpName(record.categoryId)));
        out = Put(out, "\",\"pid\":");
        out = PutNumber(out, record.pid);
        out = Put(out, ",\"tid\":");
        out = PutNumber(out, record.tid);
        out = Put(out, ",\"ts\":");
        out = PutNumber(out, record.timestamp);
        if (record.argKind == vTraceRecord::eArgNumber) {
            out = Put(out, ",\"args\":{\"");
            out = Put(out, std::string_view(vProfiler::LookUpName(record.argNameId)));
            out = Put(out, "\":\"");
            out = PutNumber(out, record.value.number);
            out = Put(out, "\"}");
        }
        *out++ = '}';
        return out;
    });
}

BENCHMARK(Ours)->Name("trace_event_formatted/ours");
BENCHMARK(FmtCompiled)->Name("trace_event_formatted/fmt_compiled");
BENCHMARK(HandWritten)->Name("trace_event_formatted/hand_written");

}  // namespace
