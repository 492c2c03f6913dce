#pragma once

// What a run leaves about itself, as a page for people and as JSON for programs: speed, stages,
// memory, and the numbers to compare pictures by.

#include <cstdint>
#include <string>
#include <vector>

#include "BufferPool.h"
#include "MemoryMeter.h"
#include "StageClock.h"

namespace frame {

struct AllocatorFigures {
    std::uint64_t loadingBytes = 0;  // pages of the arena that the model was loaded with
    std::uint64_t frameBytes = 0;    // taken from the arena of a frame
    BufferPool::Figures buffers;
    float fragmentationAtLoading = 0.0f;  // of the buffers before they were moved together
    std::uint32_t drawItems = 0;
    std::uint64_t ids = 0;  // theirs
    std::uint32_t freeIdRanges = 0;
    float idFragmentation = 0.0f;
};

struct RunRecord {
    std::string model;
    std::uint32_t triangles = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t workers = 0;
    std::uint32_t jobsPerFrame = 0;
    double seconds = 0.0;
    std::vector<StageTimes> frames;
    std::uint64_t lastPicture = 0;  // hash
    std::uint64_t allPictures = 0;  // hash of the pictures' hashes, in order
    MemoryMeter::Reading memory;
    AllocatorFigures allocators;
    std::uint64_t residentBytes = 0;  // the most that the process ever held
};

// `jobs[i]`: how many jobs stage i has per frame.
std::string WriteSummary(const RunRecord& run, const std::uint32_t (&jobs)[kStageCount]);

// The same as a JSON object. Sizes are in MiB, times in seconds or milliseconds as their names say;
// the pictures' hashes are texts of 16 hexadecimal digits.
std::string WriteSummaryJson(const RunRecord& run, const std::uint32_t (&jobs)[kStageCount]);

// The value that 95 of 100 are at most; 0 for none. Reorders `values`.
double Percentile95(std::vector<double>& values);

}  // namespace frame
