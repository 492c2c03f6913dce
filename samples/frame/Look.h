#pragma once

// What of the picture can be changed from outside: control variables of the kernel, under the names
// that --cvars lists.

#include <cstdint>
#include <string>
#include <vector>

namespace frame {

struct Look {
    float exposure = 1.0f;
    float lightX = -0.62f;  // the direction to the key light, with z as it stands in View.cpp
    float lightY = 1.05f;
    bool shadows = true;
    std::uint32_t turnFrames = 240;
};

// Only to be changed by ApplyControlVars.
extern Look g_look;

// The look that all stages read. It stays as it is while frames are rendered.
inline const Look& CurrentLook() {
    return g_look;
}

// Registers the variables of the look, once for the process, and sets those named in `assignments`,
// each "NAME=VALUE", in order. False, with one line without a line feed in `error`, at the first
// that is none.
bool ApplyControlVars(const std::vector<std::string>& assignments, std::string& error);

// The text for --cvars: a line for each variable, with its value, its range and what it does.
std::string ListControlVars();

}  // namespace frame
