#pragma once

// Documents that look like what JSON is used for, made from fixed seeds: the same bytes everywhere.

#include <span>
#include <string>

namespace bench {

struct JSONDocument {
    const char* name;
    std::string text;
};

// In this order: "feed", messages of a network with their authors (short strings, some escapes,
// many scripts); "catalog", events and their prices (integers under ever the same keys); "map",
// outlines of regions (arrays of doubles with all their digits); "settings", 1 KB with indentation;
// "scene", a model's nodes, vertices and faces (arrays of few numbers in arrays).
// Made by the first call.
std::span<const JSONDocument> JSONDocuments();

}  // namespace bench
