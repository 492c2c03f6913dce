#include "GltfSchema.h"

#include <cmath>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ZelREKernel/json/ZelJSONRange.h"

namespace frame {
namespace {

enum class Kind { Object, Array, String, Number, Index, Truth };

// A path leads through members; "[]" stands for every element of an array, "{}" for every member
// of an object. A value has its own row before those of its parts.
struct Rule {
    const char* path;
    Kind kind;
};

constexpr Rule kRules[] = {
    {"asset", Kind::Object},
    {"asset.version", Kind::String},
    {"extensionsRequired", Kind::Array},
    {"extensionsRequired[]", Kind::String},
    {"scene", Kind::Index},
    {"scenes", Kind::Array},
    {"scenes[]", Kind::Object},
    {"scenes[].name", Kind::String},
    {"scenes[].nodes", Kind::Array},
    {"scenes[].nodes[]", Kind::Index},
    {"nodes", Kind::Array},
    {"nodes[]", Kind::Object},
    {"nodes[].name", Kind::String},
    {"nodes[].mesh", Kind::Index},
    {"nodes[].children", Kind::Array},
    {"nodes[].children[]", Kind::Index},
    {"nodes[].matrix", Kind::Array},
    {"nodes[].matrix[]", Kind::Number},
    {"nodes[].translation", Kind::Array},
    {"nodes[].translation[]", Kind::Number},
    {"nodes[].rotation", Kind::Array},
    {"nodes[].rotation[]", Kind::Number},
    {"nodes[].scale", Kind::Array},
    {"nodes[].scale[]", Kind::Number},
    {"meshes", Kind::Array},
    {"meshes[]", Kind::Object},
    {"meshes[].name", Kind::String},
    {"meshes[].primitives", Kind::Array},
    {"meshes[].primitives[]", Kind::Object},
    {"meshes[].primitives[].attributes", Kind::Object},
    {"meshes[].primitives[].attributes{}", Kind::Index},
    {"meshes[].primitives[].indices", Kind::Index},
    {"meshes[].primitives[].material", Kind::Index},
    {"meshes[].primitives[].mode", Kind::Index},
    {"accessors", Kind::Array},
    {"accessors[]", Kind::Object},
    {"accessors[].bufferView", Kind::Index},
    {"accessors[].byteOffset", Kind::Index},
    {"accessors[].componentType", Kind::Index},
    {"accessors[].count", Kind::Index},
    {"accessors[].type", Kind::String},
    {"accessors[].normalized", Kind::Truth},
    {"accessors[].sparse", Kind::Object},
    {"bufferViews", Kind::Array},
    {"bufferViews[]", Kind::Object},
    {"bufferViews[].buffer", Kind::Index},
    {"bufferViews[].byteOffset", Kind::Index},
    {"bufferViews[].byteLength", Kind::Index},
    {"bufferViews[].byteStride", Kind::Index},
    {"buffers", Kind::Array},
    {"buffers[]", Kind::Object},
    {"buffers[].uri", Kind::String},
    {"buffers[].byteLength", Kind::Index},
    {"materials", Kind::Array},
    {"materials[]", Kind::Object},
    {"materials[].name", Kind::String},
    {"materials[].normalTexture", Kind::Object},
    {"materials[].normalTexture.index", Kind::Index},
    {"materials[].normalTexture.scale", Kind::Number},
    {"materials[].pbrMetallicRoughness", Kind::Object},
    {"materials[].pbrMetallicRoughness.baseColorFactor", Kind::Array},
    {"materials[].pbrMetallicRoughness.baseColorFactor[]", Kind::Number},
    {"materials[].pbrMetallicRoughness.roughnessFactor", Kind::Number},
    {"materials[].pbrMetallicRoughness.metallicFactor", Kind::Number},
    {"materials[].pbrMetallicRoughness.baseColorTexture", Kind::Object},
    {"materials[].pbrMetallicRoughness.baseColorTexture.index", Kind::Index},
    {"materials[].pbrMetallicRoughness.baseColorTexture.extensions", Kind::Object},
    {"materials[].pbrMetallicRoughness.baseColorTexture.extensions{}", Kind::Object},
};

bool IsNumber(const ZelJSONValue& value) {
    return value.GetValueType() >= ZelJSONValue::intValue &&
           value.GetValueType() <= ZelJSONValue::doubleValue && std::isfinite(value.AsDouble());
}

bool IsIndex(const ZelJSONValue& value) {
    const double number = IsNumber(value) ? value.AsDouble() : -1.0;
    return number >= 0.0 && number <= 4294967295.0 && number == std::floor(number);
}

bool IsOfKind(const ZelJSONValue& value, Kind kind) {
    switch (kind) {
        case Kind::Object:
            return value.IsObject();
        case Kind::Array:
            return value.IsArray();
        case Kind::String:
            return value.IsString();
        case Kind::Number:
            return IsNumber(value);
        case Kind::Index:
            return IsIndex(value);
        case Kind::Truth:
            return value.IsBool();
    }
    return false;
}

const char* NameOf(Kind kind) {
    constexpr const char* kNames[] = {"an object", "an array", "a text",
                                      "a number",  "an index", "true or false"};
    return kNames[static_cast<int>(kind)];
}

// `value` is what stands at `where`; `path` leads on from there.
void Check(const ZelJSONValue& value, std::string_view path, const std::string& where, Kind kind) {
    if (path.empty()) {
        if (!IsOfKind(value, kind)) {
            throw std::runtime_error(where + " is not " + NameOf(kind));
        }
    } else if (path.starts_with("[]")) {
        std::size_t index = 0;
        for (const ZelJSONValue& element : ZelJSONElements(value)) {
            Check(element, path.substr(2), where + "[" + std::to_string(index++) + "]", kind);
        }
    } else if (path.starts_with("{}")) {
        for (const auto& [name, member] : ZelJSONMembers(value)) {
            Check(member, path.substr(2), where + "." + std::string(name), kind);
        }
    } else {
        path.remove_prefix(path.starts_with('.') ? 1 : 0);
        const std::string name(path.substr(0, path.find_first_of(".[{")));
        const std::string place = where.empty() ? name : where + "." + name;
        const ZelJSONValue& member = value[name];
        // A member that is not there is null as well, and null is no kind that a rule asks for.
        if (&member != &ZelJSONValue::theNULL) {
            Check(member, path.substr(name.size()), place, kind);
        }
    }
}

}  // namespace

void CheckGltfSchema(const ZelJSONValue& document) {
    if (!document.IsObject()) {
        throw std::runtime_error("the document is not an object");
    }
    for (const Rule& rule : kRules) {
        Check(document, rule.path, "", rule.kind);
    }
}

}  // namespace frame
