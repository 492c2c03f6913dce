#pragma once

// The shapes of the task graph benchmarks, as functions of a node's number. Node 0 starts all;
// every edge leads to a higher number.

#include <cmath>
#include <cstddef>

struct Fan {
    static constexpr const char* kName = "fan";
    std::size_t size;

    template <typename Visit>
    void ForPredecessors(std::size_t node, Visit visit) const {
        if (node > 0) {
            visit(0);
        }
    }
    bool IsLeaf(std::size_t node) const { return node > 0; }
};

struct Chain {
    static constexpr const char* kName = "chain";
    std::size_t size;

    template <typename Visit>
    void ForPredecessors(std::size_t node, Visit visit) const {
        if (node > 0) {
            visit(node - 1);
        }
    }
    bool IsLeaf(std::size_t node) const { return node + 1 == size; }
};

// A square: every node waits for its left and upper neighbours.
struct Grid {
    static constexpr const char* kName = "grid";
    std::size_t size;
    std::size_t side = static_cast<std::size_t>(std::lround(std::sqrt(static_cast<double>(size))));

    template <typename Visit>
    void ForPredecessors(std::size_t node, Visit visit) const {
        if (node % side != 0) {
            visit(node - 1);
        }
        if (node >= side) {
            visit(node - side);
        }
    }
    bool IsLeaf(std::size_t node) const { return node + 1 == size; }
};

struct Tree {
    static constexpr const char* kName = "tree";
    std::size_t size;

    template <typename Visit>
    void ForPredecessors(std::size_t node, Visit visit) const {
        if (node > 0) {
            visit((node - 1) / 2);
        }
    }
    bool IsLeaf(std::size_t node) const { return 2 * node + 1 >= size; }
};
