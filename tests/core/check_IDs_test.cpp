#include "test_support.hpp"

TEST(CheckIDs, UntypedFormsAcceptAbsentEntries) {
    EXPECT_TRUE(cw::check_IDs(vec({1, 1, NO}), 2));
    EXPECT_FALSE(cw::check_IDs(vec({1, 2, NO}), 2));
    EXPECT_TRUE(cw::check_IDs(vec({1, 2, NO}), NO));
    EXPECT_TRUE(cw::check_IDs(tq5::dense1D<unsigned>(), 0));
    const auto m = padded(4, {0, 1, NO, 3, 9, 9, 9, 9});  // 7777 around the columns
    EXPECT_FALSE(cw::check_IDs(m, 5));
    EXPECT_TRUE(cw::check_IDs(m.sub_matrix(0, 0, 4, 1), 4));
    EXPECT_TRUE(cw::check_IDs(padded(2, {0, 1, 2, 3}), 4));  // steps by ld over the pads
    EXPECT_TRUE(cw::check_IDs(tq5::dense2D<unsigned>(0, 5), 0));
}

TEST(CheckIDs, ConnectivitiesByType) {
    // clang-format off
    const struct { std::size_t rows; list entries; cw::element_type type; unsigned max; bool ok; } cases[] = {
        {4, {0, 1, 2, 3}, cw::ET_TRIA3, NO, true},  // fixed kinds: no look at all
        {4, {0, 1, 2, 3}, cw::ET_TRIA3, 10, false},  // wrong rows
        {4, {0, 1, 2, 3}, cw::ET_QUAD4, 4, true},
        {4, {0, 1, 2, 3}, cw::ET_QUAD4, 3, false},
        {4, {0, 1, NO, 3}, cw::ET_QUAD4, 10, false},  // no padding in fixed kinds
        {2, {0, 1}, cw::ET_BAR_MIX, 10, false},      // node count 0
        {4, {0, 1, 2, 3}, cw::element_type(40), 10, false},
        {0, {}, cw::ET_HEXA8, 0, true},
        {4, {7, 8, 9, NO, 1, 2, 3, 4}, cw::ET_FACE_MIX, 10, true},
        {4, {7, NO, 9, 4}, cw::ET_FACE_MIX, 10, false},
        {4, {7, NO, 9, 4}, cw::ET_FACE_MIX, NO, false},  // mixed kinds: NO_INDEX still checks the shape
        {3, {7, 8, 9}, cw::ET_FACE_MIX, 10, true},
        {5, {7, 8, 9, 1, 2}, cw::ET_FACE_MIX, 10, false},
        {8, {0, 1, 2, 3, NO, NO, NO, NO, 0, 1, 2, 3, 4, NO, NO, NO, 0, 1, 2, 3, 4, 5, NO, NO, 0, 1, 2, 3, 4, 5, 6, 7},
         cw::ET_SOLID_MIX, 100, true},
        {8, {0, 1, 2, 3, 4, NO, 6, NO}, cw::ET_SOLID_MIX, 100, false},  // a node behind the padding
        {8, {0, 1, 2, 3, 4, 5, 6, NO}, cw::ET_SOLID_MIX, 100, false},   // seven nodes
        {8, {0, 1, NO, 3, NO, NO, NO, NO}, cw::ET_SOLID_MIX, NO, false},
        {5, {0, 1, 2, 3, NO}, cw::ET_SOLID_MIX, 100, true},
        {7, {0, 1, 2, 3, 4, 5, 6}, cw::ET_SOLID_MIX, NO, false},
        {8, {0, 1, 2, 3, 4, 5, 6, 100}, cw::ET_SOLID_MIX, 100, false},
    };
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(cw::check_IDs(padded(c.rows, c.entries), c.type, c.max), c.ok)
            << "type " << c.type << ", " << c.entries.size() << " entries";
}
