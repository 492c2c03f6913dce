#pragma once

// Binary glTF files made by the tests, sound ones and others.

#include <cstdint>
#include <cstring>
#include <string>

#include "Model.h"
#include "ZelREKernel/json/ZelCompactJSONWriter.h"

namespace test {

inline std::string Word(std::uint32_t word) {
    return std::string(reinterpret_cast<const char*>(&word), sizeof word);
}

// A file of the document `json` and the bytes `binary`.
inline std::string Glb(std::string json, std::string binary) {
    json.resize((json.size() + 3) / 4 * 4, ' ');
    binary.resize((binary.size() + 3) / 4 * 4);
    const std::string chunks = Word(static_cast<std::uint32_t>(json.size())) + "JSON" + json +
                               Word(static_cast<std::uint32_t>(binary.size())) +
                               std::string("BIN\0", 4) + binary;
    return "glTF" + Word(2) + Word(static_cast<std::uint32_t>(chunks.size() + 12)) + chunks;
}

// One mesh with the positions and faces of `model`, in the first material of two.
inline std::string Glb(const frame::Model& model) {
    std::string binary;
    for (const frame::Model::Triangle& triangle : model.triangles) {
        for (const frame::Model::Corner& corner : triangle.corners) {
            binary += Word(corner.position);
        }
    }
    const auto indexBytes = static_cast<unsigned>(binary.size());
    for (const glm::vec3& position : model.positions) {
        binary.append(reinterpret_cast<const char*>(&position), sizeof position);
    }
    ZelJSONValue json;
    json["asset"]["version"] = "2.0";
    json["scenes"][0]["nodes"][0] = 0;
    json["nodes"][0]["mesh"] = 0;
    json["materials"][0]["pbrMetallicRoughness"]["roughnessFactor"] = 0.5;
    ZelJSONValue& primitive = json["meshes"][0]["primitives"][0];
    primitive["attributes"]["POSITION"] = 1;
    primitive["indices"] = 0;
    primitive["material"] = 0;
    json["buffers"][0]["byteLength"] = static_cast<unsigned>(binary.size());
    for (const unsigned i : {0u, 1u}) {
        json["bufferViews"][i]["buffer"] = 0;
        json["bufferViews"][i]["byteOffset"] = i == 0 ? 0u : indexBytes;
        json["bufferViews"][i]["byteLength"] =
            i == 0 ? indexBytes : static_cast<unsigned>(binary.size()) - indexBytes;
        json["accessors"][i]["bufferView"] = i;
        json["accessors"][i]["componentType"] = i == 0 ? 5125 : 5126;
        json["accessors"][i]["type"] = i == 0 ? "SCALAR" : "VEC3";
        json["accessors"][i]["count"] =
            static_cast<unsigned>(i == 0 ? model.triangles.size() * 3 : model.positions.size());
    }
    return Glb(ZelCompactJSONWriter().Write(json), binary);
}

}  // namespace test
