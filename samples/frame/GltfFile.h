#pragma once

// A glTF 2.0 file (https://registry.khronos.org/glTF/specs/2.0/glTF-2.0.html), as text or binary:
// its document, and the bytes that the document refers to. Knows nothing of scenes.

#include <cstdint>
#include <glm/vec3.hpp>
#include <memory_resource>
#include <string>
#include <vector>

#include "ZelREKernel/json/ZelJSONValue.h"

namespace frame {

// All of these throw std::runtime_error with one line that says what is wrong with the file.
class GltfFile {
public:
    explicit GltfFile(const std::string& path);

    const ZelJSONValue& Document() const { return document_; }
    // Entry `index` of the list `list` ("nodes"); `user` names who asks.
    const ZelJSONValue& Entry(const char* list, std::uint64_t index, const std::string& user) const;

    // The contents of accessor `index`, in `memory`: vectors of three floats, or indices of any
    // width.
    std::pmr::vector<glm::vec3> Vectors(std::uint64_t index,
                                        std::pmr::memory_resource* memory) const;
    std::pmr::vector<std::uint32_t> Indices(std::uint64_t index,
                                            std::pmr::memory_resource* memory) const;

private:
    std::string SplitBinary(const std::string& bytes);
    void LoadBuffers(const std::string& folder);
    const char* BytesOf(const ZelJSONValue& accessor, const std::string& name, std::uint64_t size,
                        std::uint64_t& stride) const;

    ZelJSONValue document_;
    std::string binary_;  // the second chunk of a binary file
    bool hasBinary_ = false;
    std::vector<std::string> buffers_;
};

// The member of `object`, which was checked to be such a number; `absent` if there is none.
std::uint64_t NumberOf(const ZelJSONValue& object, const char* member, std::uint64_t absent);
// The same for one that has to be there.
std::uint64_t RequiredNumberOf(const ZelJSONValue& object, const char* member,
                               const std::string& name);

}  // namespace frame
