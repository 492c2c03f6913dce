#include "Model.h"

#include <cmath>
#include <exception>
#include <glm/geometric.hpp>
#include <glm/mat3x3.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec4.hpp>
#include <stdexcept>
#include <utility>

#include "GltfFile.h"
#include "JsonText.h"
#include "ZelREKernel/json/ZelJSONRange.h"

namespace frame {
namespace {

// Beyond this, squares of a coordinate overflow a float.
constexpr float kLargestCoordinate = 1e15f;
// A file can name one mesh from many nodes.
constexpr std::size_t kMostTriangles = std::size_t{1} << 24;

enum Mode : std::uint64_t { Triangles = 4, Strip = 5, Fan = 6, ModeCount = 7 };

[[noreturn]] void Refuse(const std::string& reason) {
    throw std::runtime_error(reason);
}

// The numbers of `list`, all `count` of them, or those that stand for nothing.
template <std::size_t kCount>
void ReadNumbers(const ZelJSONValue& list, float (&numbers)[kCount], const std::string& name) {
    if (list.IsNULL()) {
        return;
    }
    if (list.Size() != kCount) {
        Refuse(name + " has not " + std::to_string(kCount) + " numbers");
    }
    for (unsigned i = 0; i < kCount; ++i) {
        numbers[i] = static_cast<float>(list[i].AsDouble());
    }
}

glm::mat4 MatrixOf(const ZelJSONValue& node, const std::string& name) {
    if (!node["matrix"].IsNULL()) {
        float m[16] = {};
        ReadNumbers(node["matrix"], m, name + "'s matrix");
        return {{m[0], m[1], m[2], m[3]},
                {m[4], m[5], m[6], m[7]},
                {m[8], m[9], m[10], m[11]},
                {m[12], m[13], m[14], m[15]}};
    }
    float move[3] = {};
    float turn[4] = {0, 0, 0, 1};  // a quaternion
    float scale[3] = {1, 1, 1};
    ReadNumbers(node["translation"], move, name + "'s translation");
    ReadNumbers(node["rotation"], turn, name + "'s rotation");
    ReadNumbers(node["scale"], scale, name + "'s scale");
    const float x = turn[0], y = turn[1], z = turn[2], w = turn[3];
    const glm::vec3 right(1 - 2 * (y * y + z * z), 2 * (x * y + z * w), 2 * (x * z - y * w));
    const glm::vec3 up(2 * (x * y - z * w), 1 - 2 * (x * x + z * z), 2 * (y * z + x * w));
    const glm::vec3 back(2 * (x * z + y * w), 2 * (y * z - x * w), 1 - 2 * (x * x + y * y));
    return {glm::vec4(right * scale[0], 0), glm::vec4(up * scale[1], 0),
            glm::vec4(back * scale[2], 0), glm::vec4(move[0], move[1], move[2], 1)};
}

// Walks the nodes of a scene and collects the triangles of their meshes.
class SceneReader {
public:
    SceneReader(const GltfFile& file, Model& model)
        : file_(file), model_(model), visited_(file.Document()["nodes"].Size()) {}

    void Read() {
        ReadMaterials();
        const ZelJSONValue& document = file_.Document();
        const ZelJSONValue& scene =
            file_.Entry("scenes", NumberOf(document, "scene", 0), "the document");
        PushNodes(scene["nodes"], glm::mat4(1.0f), "the scene");
        while (!pending_.empty()) {
            const auto [index, parent] = pending_.back();
            pending_.pop_back();
            ReadNode(index, parent);
        }
        if (model_.triangles.empty()) {
            Refuse("no triangles");
        }
    }

private:
    struct Pending {
        std::uint64_t node;
        glm::mat4 parent;
    };

    void PushNodes(const ZelJSONValue& nodes, const glm::mat4& parent, const std::string& user) {
        for (const ZelJSONValue& each : ZelJSONElements(nodes)) {
            const auto index = static_cast<std::uint64_t>(each.AsDouble());
            file_.Entry("nodes", index, user);
            if (visited_[index]) {
                Refuse("node " + std::to_string(index) + " has two parents or is its own child");
            }
            visited_[index] = true;
            pending_.push_back({index, parent});
        }
    }

    void ReadNode(std::uint64_t index, const glm::mat4& parent) {
        const std::string name = "node " + std::to_string(index);
        const ZelJSONValue& node = file_.Entry("nodes", index, name);
        const glm::mat4 matrix = parent * MatrixOf(node, name);
        PushNodes(node["children"], matrix, name);
        if (node["mesh"].IsNULL()) {
            return;
        }
        const ZelJSONValue& mesh = file_.Entry("meshes", NumberOf(node, "mesh", 0), name);
        for (const ZelJSONValue& primitive : ZelJSONElements(mesh["primitives"])) {
            ReadPrimitive(primitive, matrix);
        }
    }

    // Points and lines leave nothing.
    void ReadPrimitive(const ZelJSONValue& primitive, const glm::mat4& matrix) {
        const std::uint64_t mode = NumberOf(primitive, "mode", Triangles);
        const ZelJSONValue& attributes = primitive["attributes"];
        if (mode >= ModeCount) {
            Refuse("a primitive has an unknown mode");
        }
        if (mode < Triangles || attributes["POSITION"].IsNULL()) {
            return;
        }
        const std::size_t first = model_.positions.size();
        const std::size_t count = ReadPositions(NumberOf(attributes, "POSITION", 0), matrix);
        const bool hasNormals = !attributes["NORMAL"].IsNULL();
        const std::size_t firstNormal = model_.normals.size();
        if (hasNormals && ReadNormals(NumberOf(attributes, "NORMAL", 0), matrix) != count) {
            Refuse("a primitive has not as many normals as positions");
        }
        const auto corner = [&](std::uint32_t index) {
            return Model::Corner{
                static_cast<std::uint32_t>(first + index),
                hasNormals ? static_cast<std::uint32_t>(firstNormal + index) : Model::kNone};
        };
        const std::uint32_t material = ReadMaterialIndex(primitive);
        const std::pmr::vector<std::uint32_t> indices = ReadIndices(primitive, count);
        if (mode == Triangles && indices.size() % 3 != 0) {
            Refuse("a primitive has no whole number of triangles");
        }
        const std::size_t step = mode == Triangles ? 3 : 1;
        for (std::size_t i = 0; i + 3 <= indices.size(); i += step) {
            // A strip turns every other triangle around, a fan keeps its first corner.
            const std::size_t a = mode == Fan ? 0 : i;
            const bool turned = mode == Strip && i % 2 != 0;
            AddTriangle({{corner(indices[a]), corner(indices[turned ? i + 2 : i + 1]),
                          corner(indices[turned ? i + 1 : i + 2])},
                         material});
        }
    }

    std::size_t ReadPositions(std::uint64_t accessor, const glm::mat4& matrix) {
        const auto positions = file_.Vectors(accessor, model_.Memory());
        for (const glm::vec3& position : positions) {
            const glm::vec3 placed(matrix * glm::vec4(position, 1.0f));
            for (int axis = 0; axis < 3; ++axis) {
                if (!(std::fabs(placed[axis]) <= kLargestCoordinate)) {
                    Refuse("a coordinate is not finite or far too large");
                }
            }
            model_.positions.push_back(placed);
        }
        return positions.size();
    }

    std::size_t ReadNormals(std::uint64_t accessor, const glm::mat4& matrix) {
        // What keeps normals upright to their surfaces under any matrix, up to their length.
        const glm::vec3 x(matrix[0]), y(matrix[1]), z(matrix[2]);
        const glm::mat3 turn(glm::cross(y, z), glm::cross(z, x), glm::cross(x, y));
        const float side = glm::dot(x, turn[0]) < 0.0f ? -1.0f : 1.0f;
        const auto normals = file_.Vectors(accessor, model_.Memory());
        for (const glm::vec3& normal : normals) {
            const float square = glm::dot(normal, normal);
            if (!(square > 0.25f && square < 4.0f)) {
                Refuse("a normal is not a direction of length 1");
            }
            const glm::vec3 turned = turn * normal * side;
            const float length = std::sqrt(glm::dot(turned, turned));
            model_.normals.push_back(length > 0.0f ? turned / length : glm::vec3(0.0f));
        }
        return normals.size();
    }

    std::pmr::vector<std::uint32_t> ReadIndices(const ZelJSONValue& primitive, std::size_t count) {
        std::pmr::vector<std::uint32_t> indices(model_.Memory());
        if (primitive["indices"].IsNULL()) {
            for (std::uint32_t i = 0; i < count; ++i) {
                indices.push_back(i);
            }
            return indices;
        }
        indices = file_.Indices(NumberOf(primitive, "indices", 0), model_.Memory());
        for (const std::uint32_t index : indices) {
            if (index >= count) {
                Refuse("a triangle names a vertex that is not there");
            }
        }
        return indices;
    }

    std::uint32_t ReadMaterialIndex(const ZelJSONValue& primitive) {
        const std::size_t plain = model_.materials.size() - 1;
        const std::uint64_t index = NumberOf(primitive, "material", plain);
        if (!primitive["material"].IsNULL()) {
            file_.Entry("materials", index, "a primitive");
        }
        return static_cast<std::uint32_t>(index);
    }

    void AddTriangle(const Model::Triangle& triangle) {
        if (model_.triangles.size() == kMostTriangles) {
            Refuse("more than " + std::to_string(kMostTriangles) + " triangles");
        }
        model_.triangles.push_back(triangle);
    }

    void ReadMaterials() {
        for (const ZelJSONValue& each : ZelJSONElements(file_.Document()["materials"])) {
            const ZelJSONValue& surface = each["pbrMetallicRoughness"];
            float colour[4] = {1, 1, 1, 1};
            float roughness = 1.0f;
            bool textured = false;
            if (!surface.IsNULL()) {
                ReadNumbers(surface["baseColorFactor"], colour, "a material's colour");
                const ZelJSONValue& rough = surface["roughnessFactor"];
                roughness = rough.IsNULL() ? 1.0f : Clamped(rough.AsFloat());
                textured = !surface["baseColorTexture"].IsNULL();
            }
            model_.materials.push_back(
                {Printable(each["name"].AsString()),
                 glm::vec3(Clamped(colour[0]), Clamped(colour[1]), Clamped(colour[2])), roughness,
                 textured});
        }
        // What primitives without a material wear.
        model_.materials.push_back({"", glm::vec3(0.52f, 0.49f, 0.44f), 0.8f, false});
    }

    static float Clamped(float number) { return std::fmin(std::fmax(number, 0.0f), 1.0f); }

    const GltfFile& file_;
    Model& model_;
    std::vector<bool> visited_;
    std::vector<Pending> pending_;
};

// Extensions that change how a surface looks can be left out; others change what the bytes mean.
void CheckExtensions(const ZelJSONValue& document) {
    for (const ZelJSONValue& each : ZelJSONElements(document["extensionsRequired"])) {
        const std::string name = each.AsString();
        if (!name.starts_with("KHR_materials_") && !name.starts_with("KHR_texture_")) {
            Refuse("needs the extension " + Printable(name));
        }
    }
}

}  // namespace

bool LoadModel(const std::string& path, Model& model, std::string& error) {
    try {
        const GltfFile file(path);
        CheckExtensions(file.Document());
        SceneReader(file, model).Read();
        return true;
    } catch (const std::exception& exception) {
        error = exception.what();
        return false;
    }
}

}  // namespace frame
