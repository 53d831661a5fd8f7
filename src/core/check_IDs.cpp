#include <tq5/cellworks/core/check_IDs.hpp>

namespace tq5 {
namespace cellworks {

namespace {

// Each entry must be NO_INDEX or below the limit.
inline bool run_ok(const unsigned* p, std::size_t n, unsigned max_node) {
    for (std::size_t i = 0; i < n; ++i)
        if (p[i] != NO_INDEX && p[i] >= max_node) return false;
    return true;
}

// One column of a mixed solid: `nodes` valid entries, then NO_INDEX to the end.
bool solid_mix_column_ok(const unsigned* c, std::size_t rows, unsigned max_node) {
    std::size_t r = 0;
    for (; r < rows; ++r) {
        if (c[r] == NO_INDEX && (r == 4 || r == 5 || r == 6)) break;
        if (c[r] >= max_node) return false;
    }
    for (; r < rows; ++r)
        if (c[r] != NO_INDEX) return false;
    return true;
}

}  // namespace

bool check_IDs(const dense1D<unsigned>& ids, unsigned max_node) noexcept {
    if (ids.empty() || max_node == NO_INDEX) return true;
    return run_ok(ids.data(), ids.size(), max_node);
}

bool check_IDs(const dense2D<unsigned>& ids, unsigned max_node) noexcept {
    if (ids.empty() || max_node == NO_INDEX) return true;
    const unsigned* d = ids.data();
    const std::size_t rows = ids.rows(), ld = ids.ld();
    for (std::size_t j = 0, cols = ids.cols(); j < cols; ++j)
        if (!run_ok(d + j * ld, rows, max_node)) return false;
    return true;
}

bool check_IDs(const dense2D<unsigned>& connect, element_type type, unsigned max_node) noexcept {
    if (connect.empty()) return true;
    const unsigned* d = connect.data();
    const std::size_t rows = connect.rows(), cols = connect.cols(), ld = connect.ld();
    if (type == ET_FACE_MIX) {
        if (rows != 3 && rows != 4) return false;
        for (std::size_t j = 0; j < cols; ++j) {
            const unsigned* c = d + j * ld;
            const std::size_t n = (rows == 4 && c[3] == NO_INDEX) ? 3 : rows;
            for (std::size_t r = 0; r < n; ++r)
                if (c[r] >= max_node) return false;
        }
        return true;
    }
    if (type == ET_SOLID_MIX) {
        if (rows != 4 && rows != 5 && rows != 6 && rows != 8) return false;
        for (std::size_t j = 0; j < cols; ++j)
            if (!solid_mix_column_ok(d + j * ld, rows, max_node)) return false;
        return true;
    }
    if (max_node == NO_INDEX) return true;
    if (static_cast<unsigned>(type) > static_cast<unsigned>(ET_HEXA27)) return false;
    if (rows != node_count(type) || rows == 0) return false;
    for (std::size_t j = 0; j < cols; ++j) {
        const unsigned* c = d + j * ld;
        for (std::size_t r = 0; r < rows; ++r)
            if (c[r] >= max_node) return false;
    }
    return true;
}

}  // namespace cellworks
}  // namespace tq5
