#pragma once

// What a person sees of a best-fit allocator: a dump and a drawing.

#include <iosfwd>
#include <vector>

#include "ZelREKernel/memory/vBestFitAllocator.h"

// A line of figures for the whole and one with a bar for each page: '#' used, '.' free, '+' both.
void Dump(std::ostream& out, const ZKL::vBestFitAllocator& allocator);

// An SVG: the pages of `last` as bars, and below them the fragmentation over time.
void Draw(std::ostream& out, const ZKL::vBestFitAllocator& last,
          const std::vector<float>& fragmentation);
