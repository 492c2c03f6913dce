#include "Look.h"

#include <charconv>
#include <cstdio>
#include <string_view>

#include "ZelREKernel/core/vControlVar.h"

namespace frame {

Look g_look;

namespace {

using ZKL::vControlVar;

constexpr auto kLight = static_cast<vControlVar::ECategory>(1);
constexpr auto kMotion = static_cast<vControlVar::ECategory>(2);

struct Variable {
    const char* name;
    void* address;
    vControlVar::EType type;
    vControlVar::ECategory category;
    double low;
    double high;
    const char* meaning;
};

// A zero light, or one from below the floor, would have no shadow map.
const Variable kVariables[] = {
    {"exposure", &g_look.exposure, vControlVar::eFloat, kLight, 0, 100, "factor of all light"},
    {"light.x", &g_look.lightX, vControlVar::eFloat, kLight, -10, 10, "key light, to the right"},
    {"light.y", &g_look.lightY, vControlVar::eFloat, kLight, 0.1, 10, "key light, upwards"},
    {"shadows", &g_look.shadows, vControlVar::eBool, kLight, 0, 1, "whether the key light casts"},
    {"turn.frames", &g_look.turnFrames, vControlVar::eUnsignedInt, kMotion, 1, 100000,
     "frames of a whole turn"},
};

const Variable* Find(std::string_view name) {
    for (const Variable& variable : kVariables) {
        if (name == variable.name) {
            return &variable;
        }
    }
    return nullptr;
}

template <typename T>
bool ParseAndSet(const Variable& variable, std::string_view text) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const auto number = static_cast<double>(value);
    if (error != std::errc() || end != text.data() + text.size() ||
        !(number >= variable.low && number <= variable.high)) {
        return false;
    }
    vControlVar::SetValue(variable.name, value);
    return true;
}

bool SetFromText(const Variable& variable, std::string_view text) {
    switch (variable.type) {
        case vControlVar::eFloat:
            return ParseAndSet<float>(variable, text);
        case vControlVar::eUnsignedInt:
            return ParseAndSet<unsigned int>(variable, text);
        default:
            if (text != "0" && text != "1") {
                return false;
            }
            vControlVar::SetValue(variable.name, text == "1");
            return true;
    }
}

double ValueOf(const Variable& variable) {
    switch (variable.type) {
        case vControlVar::eFloat:
            return static_cast<double>(*static_cast<const float*>(variable.address));
        case vControlVar::eUnsignedInt:
            return *static_cast<const std::uint32_t*>(variable.address);
        default:
            return *static_cast<const bool*>(variable.address) ? 1 : 0;
    }
}

std::string Range(const Variable& variable) {
    char text[64];
    std::snprintf(text, sizeof text, "%g to %g", variable.low, variable.high);
    return text;
}

bool Apply(const std::string& assignment, std::string& error) {
    const std::size_t equals = assignment.find('=');
    const std::string name = assignment.substr(0, equals);
    const Variable* const variable = Find(name);
    if (variable == nullptr) {
        error = "no control variable is called '" + name + "' (--cvars lists them)";
        return false;
    }
    const std::string text = equals == std::string::npos ? "" : assignment.substr(equals + 1);
    if (!SetFromText(*variable, text)) {
        error = name + " wants a value from " + Range(*variable) + ", not '" + text + "'";
        return false;
    }
    return true;
}

}  // namespace

bool ApplyControlVars(const std::vector<std::string>& assignments, std::string& error) {
    static const bool s_registered = [] {
        for (const Variable& variable : kVariables) {
            vControlVar::Register(variable.name, variable.address, variable.type,
                                  variable.category);
        }
        return true;
    }();
    static_cast<void>(s_registered);
    for (const std::string& assignment : assignments) {
        if (!Apply(assignment, error)) {
            return false;
        }
    }
    return true;
}

std::string ListControlVars() {
    std::string text;
    for (const Variable& variable : kVariables) {
        char line[160];
        std::snprintf(line, sizeof line, "%-12s %-8g %s (%s)\n", variable.name, ValueOf(variable),
                      variable.meaning, Range(variable).c_str());
        text += line;
    }
    return text;
}

}  // namespace frame
