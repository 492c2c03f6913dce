#include "GltfFile.h"

#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "Base64.h"
#include "GltfSchema.h"
#include "JsonText.h"
#include "WholeFile.h"

namespace frame {
namespace {

constexpr std::uint32_t kBinaryMagic = 0x46546C67;  // "glTF"
constexpr std::uint32_t kJsonChunk = 0x4E4F534A;    // "JSON"
constexpr std::uint32_t kBinaryChunk = 0x004E4942;  // "BIN"
constexpr std::uint64_t kUnsignedByte = 5121;
constexpr std::uint64_t kUnsignedShort = 5123;
constexpr std::uint64_t kUnsignedInt = 5125;
constexpr std::uint64_t kFloat = 5126;
constexpr std::uint64_t kNowhere = ~std::uint64_t{0};

[[noreturn]] void Refuse(const std::string& reason) {
    throw std::runtime_error(reason);
}

// The word at `offset`, which the format stores with its lowest byte first, as this machine does;
// 0 behind the end.
std::uint32_t WordAt(const std::string& bytes, std::size_t offset) {
    std::uint32_t word = 0;
    if (offset + sizeof word <= bytes.size()) {
        std::memcpy(&word, bytes.data() + offset, sizeof word);
    }
    return word;
}

std::string DecodePercents(const std::string& uri) {
    std::string text;
    for (std::size_t i = 0; i < uri.size(); ++i) {
        const auto digits = uri[i] == '%' ? uri.substr(i + 1, 2) : std::string();
        if (digits.size() == 2 &&
            digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
            text += static_cast<char>(std::stoi(digits, nullptr, 16));
            i += 2;
        } else {
            text += uri[i];
        }
    }
    return text;
}

// A file beside the model, never one elsewhere: models come from strangers.
std::string ReadBeside(const std::string& folder, const std::string& uri) {
    const std::string name = DecodePercents(uri);
    const std::filesystem::path path(name);
    if (name.find(':') != std::string::npos || path.is_absolute() || path.has_root_path() ||
        name.find("..") != std::string::npos) {
        Refuse("a buffer lies outside the model's folder");
    }
    try {
        return ReadWholeFile((std::filesystem::path(folder) / path).string());
    } catch (const std::runtime_error& problem) {
        Refuse("buffer " + Printable(name) + ": " + problem.what());
    }
}

std::string VersionOf(const ZelJSONValue& document) {
    const ZelJSONValue& asset = document.IsObject() ? document["asset"] : ZelJSONValue::theNULL;
    return std::string(asset.IsObject() ? asset["version"].AsStringView() : std::string_view());
}

}  // namespace

std::uint64_t NumberOf(const ZelJSONValue& object, const char* member, std::uint64_t absent) {
    const ZelJSONValue& value = object[member];
    return value.IsNULL() ? absent : static_cast<std::uint64_t>(value.AsDouble());
}

std::uint64_t RequiredNumberOf(const ZelJSONValue& object, const char* member,
                               const std::string& name) {
    if (object[member].IsNULL()) {
        Refuse(name + " has no " + member);
    }
    return NumberOf(object, member, 0);
}

GltfFile::GltfFile(const std::string& path) {
    const std::string bytes = ReadWholeFile(path);
    const bool isBinary = WordAt(bytes, 0) == kBinaryMagic;
    document_ = ParseJson(isBinary ? SplitBinary(bytes) : bytes, "not a glTF file: ");
    // First of all, since another version has other kinds of values everywhere.
    const std::string version = VersionOf(document_);
    if (!version.starts_with("2.")) {
        Refuse(version.empty() ? "no version of glTF is named"
                               : "glTF " + Printable(version) + ", not 2.0");
    }
    CheckGltfSchema(document_);
    LoadBuffers(std::filesystem::path(path).parent_path().string());
}

// Returns the document's text and keeps the bytes behind it.
std::string GltfFile::SplitBinary(const std::string& bytes) {
    constexpr std::size_t kHeader = 12;
    constexpr std::size_t kChunkHeader = 8;
    if (WordAt(bytes, 4) != 2) {
        Refuse("binary glTF of a version that is not 2");
    }
    if (WordAt(bytes, 8) != bytes.size()) {
        Refuse("the file is cut short or longer than it says");
    }
    std::string json;
    bool first = true;
    for (std::size_t at = kHeader; at < bytes.size();) {
        const std::uint64_t length = WordAt(bytes, at);
        const std::uint32_t type = WordAt(bytes, at + 4);
        if (bytes.size() - at < kChunkHeader || length > bytes.size() - at - kChunkHeader) {
            Refuse("a chunk is cut short");
        }
        if (first != (type == kJsonChunk)) {
            Refuse("the document is not the first chunk");
        }
        if (first) {
            json = bytes.substr(at + kChunkHeader, length);
        } else if (type == kBinaryChunk && !hasBinary_) {
            binary_ = bytes.substr(at + kChunkHeader, length);
            hasBinary_ = true;
        }
        first = false;
        at += kChunkHeader + static_cast<std::size_t>(length);
    }
    return json;
}

void GltfFile::LoadBuffers(const std::string& folder) {
    const ZelJSONValue& buffers = std::as_const(document_)["buffers"];
    for (unsigned i = 0; i < buffers.Size(); ++i) {
        const std::string name = "buffer " + std::to_string(i);
        const std::string uri = buffers[i]["uri"].AsString();
        std::string bytes;
        if (uri.starts_with("data:")) {
            const std::size_t comma = uri.find(";base64,");
            if (comma == std::string::npos || !DecodeBase64(uri.substr(comma + 8), bytes)) {
                Refuse(name + " holds no sound base64 text");
            }
        } else if (!uri.empty()) {
            bytes = ReadBeside(folder, uri);
        } else if (i == 0 && hasBinary_) {
            bytes = std::move(binary_);
        } else {
            Refuse(name + " has no bytes");
        }
        if (RequiredNumberOf(buffers[i], "byteLength", name) > bytes.size()) {
            Refuse(name + " is shorter than it says");
        }
        buffers_.push_back(std::move(bytes));
    }
}

const ZelJSONValue& GltfFile::Entry(const char* list, std::uint64_t index,
                                    const std::string& user) const {
    const ZelJSONValue& entries = document_[list];
    if (index >= entries.Size()) {
        Refuse(user + " names an entry of " + list + " that is not there");
    }
    return entries[static_cast<unsigned>(index)];
}

// Where the elements of `accessor` begin, each `size` bytes and `stride` bytes behind the other;
// they have been found to lie inside their buffer.
const char* GltfFile::BytesOf(const ZelJSONValue& accessor, const std::string& name,
                              std::uint64_t size, std::uint64_t& stride) const {
    if (!accessor["sparse"].IsNULL() || accessor["bufferView"].IsNULL()) {
        Refuse(name + " is sparse, which is not supported");
    }
    const std::uint64_t viewIndex = NumberOf(accessor, "bufferView", 0);
    const ZelJSONValue& view = Entry("bufferViews", viewIndex, name);
    const std::string viewName = "buffer view " + std::to_string(viewIndex);
    const std::uint64_t buffer = RequiredNumberOf(view, "buffer", viewName);
    Entry("buffers", buffer, viewName);
    const std::uint64_t begin = NumberOf(view, "byteOffset", 0);
    const std::uint64_t length = RequiredNumberOf(view, "byteLength", viewName);
    if (begin + length > buffers_[buffer].size()) {
        Refuse(viewName + " lies outside its buffer");
    }
    stride = NumberOf(view, "byteStride", size);
    const std::uint64_t offset = NumberOf(accessor, "byteOffset", 0);
    const std::uint64_t count = RequiredNumberOf(accessor, "count", name);
    if (count == 0 || stride < size || offset + (count - 1) * stride + size > length) {
        Refuse(name + " lies outside its buffer view");
    }
    return buffers_[buffer].data() + begin + offset;
}

std::pmr::vector<glm::vec3> GltfFile::Vectors(std::uint64_t index,
                                              std::pmr::memory_resource* memory) const {
    const std::string name = "accessor " + std::to_string(index);
    const ZelJSONValue& accessor = Entry("accessors", index, "a primitive");
    if (accessor["type"].AsString() != "VEC3" || NumberOf(accessor, "componentType", 0) != kFloat) {
        Refuse(name + " does not hold vectors of three floats");
    }
    std::uint64_t stride = 0;
    const char* at = BytesOf(accessor, name, 3 * sizeof(float), stride);
    std::pmr::vector<glm::vec3> vectors(static_cast<std::size_t>(NumberOf(accessor, "count", 0)),
                                        memory);
    for (glm::vec3& vector : vectors) {
        float numbers[3];
        std::memcpy(numbers, at, sizeof numbers);
        vector = {numbers[0], numbers[1], numbers[2]};
        at += stride;
    }
    return vectors;
}

std::pmr::vector<std::uint32_t> GltfFile::Indices(std::uint64_t index,
                                                  std::pmr::memory_resource* memory) const {
    const std::string name = "accessor " + std::to_string(index);
    const ZelJSONValue& accessor = Entry("accessors", index, "a primitive");
    const std::uint64_t type = NumberOf(accessor, "componentType", 0);
    const std::uint64_t size = type == kUnsignedByte    ? 1
                               : type == kUnsignedShort ? 2
                               : type == kUnsignedInt   ? 4
                                                        : 0;
    if (accessor["type"].AsString() != "SCALAR" || size == 0) {
        Refuse(name + " does not hold indices");
    }
    std::uint64_t stride = 0;
    const char* at = BytesOf(accessor, name, size, stride);
    std::pmr::vector<std::uint32_t> indices(
        static_cast<std::size_t>(NumberOf(accessor, "count", 0)), memory);
    for (std::uint32_t& each : indices) {
        std::memcpy(&each, at, static_cast<std::size_t>(size));  // lowest byte first
        at += stride;
    }
    return indices;
}

}  // namespace frame
