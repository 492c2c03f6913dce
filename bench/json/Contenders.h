#pragma once

// The other libraries' ways to parse and to write, and what all benchmarks of documents share.
// Parsing makes a fresh document each time and includes its end; numbers are exact everywhere.

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "ZelREKernel/json/ZelCompactJSONWriter.h"
#include "ZelREKernel/json/ZelFancyJSONWriter.h"
#include "ZelREKernel/json/ZelJSONReader.h"
#include "json/Heap.h"
#include "json/JSONDocuments.h"

namespace bench {

struct Ours {
    static constexpr const char* kName = "ours";
    using Document = ZelJSONValue;
    using Input = std::string;
    static bool Parse(const Input& text, Document& document) {
        return ZelJSONReader().Parse(text, document);
    }
    static std::size_t Write(const Document& document) {
        return ZelCompactJSONWriter().Write(document).size();
    }
};

struct OursFancy : Ours {
    static std::size_t Write(const Document& document) {
        return ZelFancyJSONWriter().Write(document).size();
    }
};

struct RapidJSON {
    static constexpr const char* kName = "rapidjson";
    using Document = rapidjson::Document;
    using Input = std::string;
    static bool Parse(const Input& text, Document& document) {
        return !document.Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size())
                    .HasParseError();
    }
    static std::size_t Write(const Document& document) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        document.Accept(writer);
        return buffer.GetSize();
    }
};

struct RapidJSONPretty : RapidJSON {
    static std::size_t Write(const Document& document) {
        rapidjson::StringBuffer buffer;
        rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
        document.Accept(writer);
        return buffer.GetSize();
    }
};

struct Nlohmann {
    static constexpr const char* kName = "nlohmann";
    using Document = nlohmann::json;
    using Input = std::string;
    static bool Parse(const Input& text, Document& document) {
        document = nlohmann::json::parse(text);
        return true;
    }
    static std::size_t Write(const Document& document) { return document.dump().size(); }
};

struct SimdJSON {
    static constexpr const char* kName = "simdjson";
    struct Document {
        simdjson::dom::parser parser;
        simdjson::dom::element root;
    };
    using Input = simdjson::padded_string;
    static bool Parse(const Input& text, Document& document) {
        return document.parser.parse(text).get(document.root) == simdjson::SUCCESS;
    }
    static std::size_t Write(const Document& document) {
        return simdjson::minify(document.root).size();
    }
};

inline void CountBytes(benchmark::State& state, std::size_t bytes) {
    const auto total = static_cast<std::int64_t>(bytes) * state.iterations();
    state.SetBytesProcessed(total);
    state.counters["MB/s"] =
        benchmark::Counter(static_cast<double>(total) * 1e-6, benchmark::Counter::kIsRate);
}

// The most that a round holds at once, per byte of the document.
inline void CountPeak(benchmark::State& state, std::size_t peak, std::size_t bytes) {
    state.counters["peak/input"] = static_cast<double>(peak) / static_cast<double>(bytes);
}

template <class Contender>
void ParseDocument(benchmark::State& state, const JSONDocument& document) {
    KeepFreedMemory();
    const typename Contender::Input text(document.text);
    const auto round = [&text] {
        typename Contender::Document parsed;
        if (!Contender::Parse(text, parsed)) {
            throw std::runtime_error("a document does not parse");
        }
        benchmark::DoNotOptimize(parsed);
    };
    const std::size_t peak = PeakBytesOf(round);  // touches the memory of the rounds below as well
    for ([[maybe_unused]] auto step : state) {
        round();
    }
    CountBytes(state, document.text.size());
    CountPeak(state, peak, document.text.size());
}

template <class Contender>
void WriteDocument(benchmark::State& state, const JSONDocument& document) {
    KeepFreedMemory();
    const typename Contender::Input text(document.text);
    typename Contender::Document parsed;
    if (!Contender::Parse(text, parsed)) {
        throw std::runtime_error("a document does not parse");
    }
    std::size_t written = 0;
    const auto round = [&] { benchmark::DoNotOptimize(written = Contender::Write(parsed)); };
    const std::size_t peak = PeakBytesOf(round);
    for ([[maybe_unused]] auto step : state) {
        round();
    }
    CountBytes(state, written);
    CountPeak(state, peak, written);
}

// Registers `function` for each document as <work>/<contender>/<document>.
template <class Contender>
void OverDocuments(const char* work, void (*function)(benchmark::State&, const JSONDocument&)) {
    for (const JSONDocument& document : JSONDocuments()) {
        const std::string name = std::string(work) + "/" + Contender::kName + "/" + document.name;
        benchmark::RegisterBenchmark(name.c_str(), function, document)
            ->Unit(benchmark::kMicrosecond);
    }
}

}  // namespace bench
