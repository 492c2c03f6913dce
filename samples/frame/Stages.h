#pragma once

// The last stages of a frame, as functions over a tile and over a range of pixels.

#include <cstdint>
#include <span>

#include "Bins.h"
#include "Shading.h"

namespace frame {

// Renders one tile into `colours`, three floats per pixel for the whole screen. `bins` are those
// of the draw items, in their order.
void RenderTile(std::uint32_t tile, const TileGrid& grid, std::span<const Bins> bins,
                const Scene& scene, float* colours);

// Encodes `count` numbers from 0 to 1 as bytes for the display.
void EncodePixels(const float* colours, std::size_t count, std::uint8_t* bytes);

}  // namespace frame
