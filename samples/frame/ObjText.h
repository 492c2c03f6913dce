#pragma once

// The text of an OBJ file, reduced to what makes a triangle mesh.

#include <string>

namespace frame {

// Reads the file at `path` into `text`. False with the reason in `error` when it cannot be read as
// a whole or is larger than 512 MiB.
bool ReadWholeFile(const std::string& path, std::string& text, std::string& error);

// Copies the statements that triangles are made of (v, vn, f, usemtl, mtllib) from `text` to
// `kept`, so that the parser meets nothing that it need not understand. Material libraries outside
// the model's own folder are left out. False with the line in `error` when a coordinate is no
// number.
bool KeepTriangleStatements(const std::string& text, std::string& kept, std::string& error);

}  // namespace frame
