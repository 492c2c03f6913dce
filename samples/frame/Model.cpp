#include "Model.h"

#include <cmath>
#include <exception>
#include <filesystem>
#include <sstream>

#include "ObjText.h"

#define TINYOBJLOADER_IMPLEMENTATION
#include <tiny_obj_loader.h>

namespace frame {
namespace {

// Beyond this, squares of a coordinate overflow a float.
constexpr float kLargestCoordinate = 1e15f;

struct Parsed {
    tinyobj::attrib_t attributes;
    std::vector<tinyobj::shape_t> shapes;
    std::vector<tinyobj::material_t> materials;
};

std::string FirstLine(const std::string& text) {
    return text.substr(0, text.find_first_of("\r\n"));
}

bool Parse(const std::string& text, const std::string& folder, bool triangulate, Parsed& parsed,
           std::string& error) {
    std::istringstream stream(text);
    tinyobj::MaterialFileReader reader(folder);
    std::string warning;
    std::string problem;
    if (!tinyobj::LoadObj(&parsed.attributes, &parsed.shapes, &parsed.materials, &warning, &problem,
                          &stream, &reader, triangulate)) {
        error = "not a sound OBJ file";
        if (!problem.empty()) {
            error += ": " + FirstLine(problem);
        }
        return false;
    }
    return true;
}

bool AreSane(const std::vector<tinyobj::real_t>& numbers) {
    for (const tinyobj::real_t number : numbers) {
        if (!(std::fabs(number) <= kLargestCoordinate)) {
            return false;
        }
    }
    return true;
}

// The parser hands indices on as they stand in the file.
bool CheckIndices(const Parsed& parsed, std::string& error) {
    const auto positions = static_cast<std::int64_t>(parsed.attributes.vertices.size() / 3);
    const auto normals = static_cast<std::int64_t>(parsed.attributes.normals.size() / 3);
    for (const tinyobj::shape_t& shape : parsed.shapes) {
        for (const tinyobj::index_t& index : shape.mesh.indices) {
            if (index.vertex_index < 0 || index.vertex_index >= positions ||
                index.normal_index < -1 || index.normal_index >= normals) {
                error = "a face names a vertex that is not there";
                return false;
            }
        }
    }
    return true;
}

std::vector<glm::vec3> ToVectors(const std::vector<tinyobj::real_t>& numbers) {
    std::vector<glm::vec3> vectors(numbers.size() / 3);
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        vectors[i] = {numbers[i * 3], numbers[i * 3 + 1], numbers[i * 3 + 2]};
    }
    return vectors;
}

std::uint32_t MaterialOf(const tinyobj::mesh_t& mesh, std::size_t face, std::size_t fallback) {
    const int id = face < mesh.material_ids.size() ? mesh.material_ids[face] : -1;
    return static_cast<std::uint32_t>(id >= 0 && static_cast<std::size_t>(id) < fallback
                                          ? static_cast<std::size_t>(id)
                                          : fallback);
}

void CollectTriangles(const Parsed& parsed, Model& model) {
    for (const tinyobj::shape_t& shape : parsed.shapes) {
        const std::vector<tinyobj::index_t>& indices = shape.mesh.indices;
        for (std::size_t i = 0; i + 3 <= indices.size(); i += 3) {
            Model::Triangle triangle;
            for (std::size_t corner = 0; corner < 3; ++corner) {
                const tinyobj::index_t& index = indices[i + corner];
                triangle.corners[corner] = {static_cast<std::uint32_t>(index.vertex_index),
                                            index.normal_index < 0
                                                ? Model::kNone
                                                : static_cast<std::uint32_t>(index.normal_index)};
            }
            triangle.material = MaterialOf(shape.mesh, i / 3, parsed.materials.size());
            model.triangles.push_back(triangle);
        }
    }
}

glm::vec3 SaneColour(const tinyobj::real_t* colour) {
    glm::vec3 result;
    for (int i = 0; i < 3; ++i) {
        result[i] = colour[i] >= 0.0f && colour[i] <= 1.0f ? colour[i] : 0.8f;
    }
    return result;
}

void CollectMaterials(const Parsed& parsed, Model& model) {
    for (const tinyobj::material_t& material : parsed.materials) {
        model.materials.push_back(
            {material.name, SaneColour(material.diffuse), !material.diffuse_texname.empty()});
    }
    // What the faces without a material wear.
    model.materials.push_back({"", glm::vec3(0.72f, 0.70f, 0.66f), false});
}

bool Load(const std::string& path, Model& model, std::string& error) {
    std::string text;
    std::string statements;
    if (!ReadWholeFile(path, text, error) || !KeepTriangleStatements(text, statements, error)) {
        return false;
    }
    const std::string folder = std::filesystem::path(path).parent_path().string();
    // Once without triangulation, to check every index before the parser itself follows one.
    Parsed parsed;
    if (!Parse(statements, folder, false, parsed, error) || !CheckIndices(parsed, error)) {
        return false;
    }
    if (!AreSane(parsed.attributes.vertices) || !AreSane(parsed.attributes.normals)) {
        error = "a coordinate is not finite or far too large";
        return false;
    }
    parsed = {};
    if (!Parse(statements, folder, true, parsed, error) || !CheckIndices(parsed, error)) {
        return false;
    }
    CollectTriangles(parsed, model);
    CollectMaterials(parsed, model);
    model.positions = ToVectors(parsed.attributes.vertices);
    model.normals = ToVectors(parsed.attributes.normals);
    if (model.triangles.empty()) {
        error = "no triangles";
        return false;
    }
    return true;
}

}  // namespace

bool LoadModel(const std::string& path, Model& model, std::string& error) {
    try {
        return Load(path, model, error);
    } catch (const std::exception& exception) {
        error = FirstLine(exception.what());
        return false;
    }
}

}  // namespace frame
