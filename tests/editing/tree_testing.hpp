// Plain transcriptions of how the node tree is defined, and generated nodes,
// for the tree and detector tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>

#include "test_support.hpp"

namespace cwtest {

// MT19937 written out: seed words by the recurrence, the twist, the tempering.
struct plain_mt {
    std::uint32_t mt[624];
    int next_word = 624;
    explicit plain_mt(std::uint32_t seed) {
        mt[0] = seed;
        for (std::uint32_t i = 1; i < 624; ++i) mt[i] = 1812433253u * (mt[i - 1] ^ (mt[i - 1] >> 30)) + i;
    }
    std::uint32_t next() {
        if (next_word == 624) {
            for (int k = 0; k < 624; ++k) {
                const std::uint32_t y = (mt[k] & 0x80000000u) | (mt[(k + 1) % 624] & 0x7fffffffu);
                mt[k] = mt[(k + 397) % 624] ^ (y >> 1) ^ ((y & 1) ? 0x9908b0dfu : 0u);
            }
            next_word = 0;
        }
        std::uint32_t y = mt[next_word++];
        y ^= y >> 11;
        y ^= (y << 7) & 0x9d2c5680u;
        y ^= (y << 15) & 0xefc60000u;
        return y ^ (y >> 18);
    }
};

// For i = 1 .. n-1: mask = i with all lower bits set; draw until (word & mask) <= i; swap.
inline void plain_shuffle(list& a) {
    plain_mt gen(1);
    for (std::uint32_t i = 1; i < a.size(); ++i) {
        std::uint32_t mask = i, r;
        for (int s = 1; s <= 16; s *= 2) mask |= mask >> s;
        do r = gen.next() & mask;
        while (r > i);
        std::swap(a[i], a[r]);
    }
}

// The tree's slots (id, low, high) after inserting `ids` into `tree`: shuffled,
// ids beyond the columns skipped, each walked down from the root on its own.
inline list plain_tree(const tq5::dense2D<double>& pos, list ids, list tree = {}, bool shuffle = true) {
    if (shuffle) plain_shuffle(ids);
    for (unsigned id : ids) {
        if (id >= pos.cols()) continue;
        const unsigned slot = unsigned(tree.size() / 3);
        tree.insert(tree.end(), {id, NO, NO});
        for (unsigned at = 0, axis = 0; slot > 0; axis = (axis + 1) % pos.rows()) {
            unsigned& child = tree[3 * at + (pos(axis, id) >= pos(axis, tree[3 * at]) ? 2 : 1)];
            if (child == NO) {
                child = slot;
                break;
            }
            at = child;
        }
    }
    return tree;
}

inline list iota(unsigned n) {
    list v(n);
    for (unsigned k = 0; k < n; ++k) v[k] = k;
    return v;
}

// Quarter steps in [0, 4): plenty of ties and coincident nodes.
inline double grid(std::mt19937_64& rng) { return double(rng() % 16) * 0.25; }

// Half the nodes on the quarter grid, half anywhere in [0, 4).
inline tq5::dense2D<double> random_pos(unsigned dim, unsigned n, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    tq5::dense2D<double> pos(dim, n);
    for (unsigned j = 0; j < n; ++j)
        for (unsigned k = 0; k < dim; ++k) pos(k, j) = j % 2 ? grid(rng) : double(rng() >> 11) * 0x1p-51;
    return pos;
}

// Distance from node `id` to q, summed as the tree sums it; infinite for NO_INDEX.
inline double dist(const tq5::dense2D<double>& pos, unsigned id, const double* q) {
    if (id == NO) return INF;
    double xy = 0, z = 0;
    for (unsigned k = 0; k < pos.rows(); ++k) (k < 2 ? xy : z) += (pos(k, id) - q[k]) * (pos(k, id) - q[k]);
    return std::sqrt(z + xy);
}

// Brute force: the least distance from q to nodes 0 .. n-1 other than `excluded`.
inline double nearest(const tq5::dense2D<double>& pos, unsigned n, const double* q, unsigned excluded) {
    double best = INF;
    for (unsigned j = 0; j < n; ++j)
        if (j != excluded) best = std::min(best, dist(pos, j, q));
    return best;
}

}  // namespace cwtest
