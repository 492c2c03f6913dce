#pragma once

// The measures of the shadow map, which who fills it and who aims it agree on.

#include <cstdint>

namespace frame {

constexpr std::int32_t kShadowSide = 1024;  // texels
// What casts a shadow keeps within the map's middle, 1 / kShadowMargin of it.
constexpr float kShadowMargin = 1.1f;

}  // namespace frame
