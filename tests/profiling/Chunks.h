#pragma once

// What the profiler's tests share: a sink that keeps its chunks, a record of failed assertions, and
// a trace written into a directory of the test's own and parsed by a judge.

#include <string>
#include <vector>

#include "ZelREKernel/profiling/vGoogleTracer.h"

struct Chunks {
    std::vector<std::string> list;

    ZKL::vGoogleTracer::Sink GetSink() {
        return {.write =
                    [](void* context, const char* text, std::size_t length) {
                        static_cast<Chunks*>(context)->list.emplace_back(text, length);
                    },
                .context = this};
    }
    std::string Join() const {
        std::string all;
        for (const std::string& chunk : list) {
            all += chunk;
        }
        return all;
    }
};
