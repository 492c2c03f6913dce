#include "Normals.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <glm/geometric.hpp>

namespace frame {
namespace {

constexpr float kCreaseCosine = 0.5f;
// A position that a whole model shares must not cost the square of its faces.
constexpr std::uint32_t kMostFacesAround = 64;

float Length(const glm::vec3& v) {
    return std::sqrt(glm::dot(v, v));
}

// Twice the area long.
glm::vec3 FaceNormal(const Model& model, const Model::Triangle& triangle) {
    const glm::vec3& a = model.positions[triangle.corners[0].position];
    const glm::vec3& b = model.positions[triangle.corners[1].position];
    const glm::vec3& c = model.positions[triangle.corners[2].position];
    return glm::cross(b - a, c - a);
}

// Lists the faces around each position: those of position p are list[start[p]] to
// list[start[p + 1] - 1].
struct FacesAround {
    std::pmr::vector<std::uint32_t> start;
    std::pmr::vector<std::uint32_t> list;

    explicit FacesAround(const Model& model)
        : start(model.positions.size() + 2, model.Memory()), list(model.Memory()) {
        for (const Model::Triangle& triangle : model.triangles) {
            for (const Model::Corner& corner : triangle.corners) {
                ++start[corner.position + 2];
            }
        }
        for (std::size_t i = 2; i < start.size(); ++i) {
            start[i] += start[i - 1];
        }
        list.resize(model.triangles.size() * 3);
        for (std::uint32_t face = 0; face < model.triangles.size(); ++face) {
            for (const Model::Corner& corner : model.triangles[face].corners) {
                list[start[corner.position + 1]++] = face;
            }
        }
    }
};

glm::vec3 Smooth(const std::pmr::vector<glm::vec3>& faces, const FacesAround& around,
                 std::uint32_t position, const glm::vec3& own) {
    const float ownLength = Length(own);
    glm::vec3 sum(0.0f);
    const std::uint32_t begin = around.start[position];
    const std::uint32_t end = std::min(around.start[position + 1], begin + kMostFacesAround);
    for (std::uint32_t i = begin; i < end; ++i) {
        const glm::vec3& other = faces[around.list[i]];
        if (glm::dot(own, other) >= kCreaseCosine * ownLength * Length(other)) {
            sum += other;
        }
    }
    const float length = Length(sum);
    return length > 0.0f ? sum / length : glm::vec3(0.0f, 1.0f, 0.0f);
}

}  // namespace

std::pmr::vector<glm::vec3> CornerNormals(const Model& model) {
    std::pmr::vector<glm::vec3> faces(model.triangles.size(), model.Memory());
    for (std::size_t i = 0; i < faces.size(); ++i) {
        faces[i] = FaceNormal(model, model.triangles[i]);
    }
    const FacesAround around(model);
    std::pmr::vector<glm::vec3> normals(faces.size() * 3, model.Memory());
    for (std::size_t i = 0; i < normals.size(); ++i) {
        const Model::Corner& corner = model.triangles[i / 3].corners[i % 3];
        glm::vec3 given(0.0f);
        if (corner.normal != Model::kNone) {
            given = model.normals[corner.normal];
        }
        const float length = Length(given);
        normals[i] = length > 1e-6f && length < 1e6f
                         ? given / length
                         : Smooth(faces, around, corner.position, faces[i / 3]);
    }
    return normals;
}

}  // namespace frame
