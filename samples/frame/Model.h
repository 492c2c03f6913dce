#pragma once

// Reads the scene of a glTF 2.0 file, text or binary, and proves it sound: what comes out has
// triangles only, every index in range and every coordinate a number of a sane size, whatever the
// file said. Every mesh stands where its node puts it.

#include <cstdint>
#include <glm/vec3.hpp>
#include <memory_resource>
#include <string>
#include <vector>

namespace frame {

struct ModelMaterial {
    std::string name;
    glm::vec3 colour;  // linear
    float roughness;   // 0: a mirror
    bool textured;     // an image gives its colour; it is not loaded
};

struct Model {
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    struct Corner {
        std::uint32_t position;
        std::uint32_t normal;  // kNone: to be computed
    };
    struct Triangle {
        Corner corners[3];
        std::uint32_t material;
    };

    explicit Model(std::pmr::memory_resource* memory = std::pmr::get_default_resource())
        : positions(memory), normals(memory), triangles(memory), materials(memory) {}

    // What is only needed while loading may lie there too.
    std::pmr::memory_resource* Memory() const { return positions.get_allocator().resource(); }

    std::pmr::vector<glm::vec3> positions;
    std::pmr::vector<glm::vec3> normals;
    std::pmr::vector<Triangle> triangles;       // at least one
    std::pmr::vector<ModelMaterial> materials;  // at least one
};

// Reads the file at `path`. On failure returns false with one line, without a line feed and without
// the path, in `error`.
bool LoadModel(const std::string& path, Model& model, std::string& error);

}  // namespace frame
