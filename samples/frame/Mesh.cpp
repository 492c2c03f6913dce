#include "Mesh.h"

#include <algorithm>
#include <cmath>
#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <unordered_map>

#include "Model.h"
#include "Normals.h"
#include "ZelREKernel/base/MurmurHash3.h"

namespace frame {
namespace {

struct VertexKey {
    std::uint32_t position;
    glm::vec3 normal;
    bool operator==(const VertexKey& other) const {
        return position == other.position && normal == other.normal;
    }
};

struct VertexKeyHash {
    std::size_t operator()(const VertexKey& key) const {
        // Adding zero makes the two zeros one, as the comparison sees them.
        const float normal[] = {key.normal.x + 0.0f, key.normal.y + 0.0f, key.normal.z + 0.0f};
        return MurmurHash3_x86_32(normal, sizeof normal, key.position);
    }
};

// Moves a model's own space to ours: on the floor, around the axis, within a radius of 1.
struct Fitting {
    glm::vec3 origin;
    float scale;

    explicit Fitting(const Model& model) {
        glm::vec3 low(3e38f);
        glm::vec3 high(-3e38f);
        ForEachPosition(model, [&](const glm::vec3& p) {
            low = glm::min(low, p);
            high = glm::max(high, p);
        });
        origin = {(low.x + high.x) * 0.5f, low.y, (low.z + high.z) * 0.5f};
        float radius = 0.0f;
        ForEachPosition(model, [&](const glm::vec3& p) {
            const glm::vec3 d = p - glm::vec3(origin.x, (low.y + high.y) * 0.5f, origin.z);
            radius = std::max(radius, std::sqrt(glm::dot(d, d)));
        });
        scale = 1.0f / radius;
    }

    template <typename Visit>
    static void ForEachPosition(const Model& model, Visit visit) {
        for (const Model::Triangle& triangle : model.triangles) {
            for (const Model::Corner& corner : triangle.corners) {
                visit(model.positions[corner.position]);
            }
        }
    }

    glm::vec3 operator()(const glm::vec3& p) const { return (p - origin) * scale; }
};

bool HasArea(const glm::vec3& a, const glm::vec3& b, const glm::vec3& c) {
    const glm::vec3 cross = glm::cross(b - a, c - a);
    return glm::dot(cross, cross) > 1e-16f;
}

}  // namespace

Mesh::Mesh() : ZKL::vRefPtrObject(true) {}

ZKL::vRefPtr<Mesh> Mesh::Build(const Model& model, std::string& error) {
    ZKL::vRefPtr<Mesh> mesh(new Mesh);
    mesh->AddModel(model);
    if (mesh->triangles_.empty()) {
        error = "no triangle has an area";
        return {};
    }
    mesh->AddFloor();
    mesh->DressMaterials(model);
    return mesh;
}

void Mesh::AddModel(const Model& model) {
    const Fitting fit(model);
    const std::pmr::vector<glm::vec3> normals = CornerNormals(model);
    std::pmr::unordered_map<VertexKey, std::uint32_t, VertexKeyHash> known(model.Memory());
    for (std::size_t i = 0; i < model.triangles.size(); ++i) {
        const Model::Triangle& source = model.triangles[i];
        glm::vec3 corners[3];
        for (std::size_t k = 0; k < 3; ++k) {
            corners[k] = fit(model.positions[source.corners[k].position]);
        }
        if (!HasArea(corners[0], corners[1], corners[2])) {
            continue;
        }
        Triangle triangle{{}, source.material};
        for (std::size_t k = 0; k < 3; ++k) {
            const glm::vec3& normal = normals[i * 3 + k];
            const auto [entry, isNew] = known.try_emplace(
                {source.corners[k].position, normal}, static_cast<std::uint32_t>(vertices_.size()));
            if (isNew) {
                vertices_.push_back({corners[k], normal});
                height_ = std::max(height_, corners[k].y);
            }
            triangle.vertices[k] = entry->second;
        }
        triangles_.push_back(triangle);
    }
    modelTriangles_ = static_cast<std::uint32_t>(triangles_.size());
}

void Mesh::AddFloor() {
    const auto first = static_cast<std::uint32_t>(vertices_.size());
    for (const float z : {-kFloorExtent, kFloorExtent}) {
        for (const float x : {-kFloorExtent, kFloorExtent}) {
            vertices_.push_back({{x, 0.0f, z}, {0.0f, 1.0f, 0.0f}});
        }
    }
    triangles_.push_back({{first, first + 2, first + 1}, kFloor});
    triangles_.push_back({{first + 1, first + 2, first + 3}, kFloor});
}

void Mesh::DressMaterials(const Model& model) {
    for (const ModelMaterial& material : model.materials) {
        // The lights are strong, and no paint is pure.
        const glm::vec3 colour = material.colour * 0.34f + 0.015f;
        const float gloss = 0.3f + 0.7f * (1.0f - material.roughness);
        // A grain stands in for an image.
        const float grain = material.textured ? 5.0f : 0.0f;
        materials_.push_back({colour, colour * (material.textured ? 0.5f : 1.0f), grain, gloss});
    }
}

}  // namespace frame
