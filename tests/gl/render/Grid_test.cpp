// The grid's vertex array, built without any OpenGL context.
#include "gl/render/Grid.h"

#include <gtest/gtest.h>

#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

struct Vertex2 {
    float x, y;
    bool operator==(const Vertex2& o) const { return x == o.x && y == o.y; }
};

std::ostream& operator<<(std::ostream& os, const Vertex2& v) {
    return os << "(" << v.x << ", " << v.y << ")";
}

std::vector<Vertex2> Positions(Grid& grid) {
    const float* v = grid.Vertices();
    std::vector<Vertex2> out;
    if (v == nullptr)
        return out;
    const int n = grid.Columns() * grid.Rows() * 2;
    for (int i = 0; i < n; ++i) {
        out.push_back({v[i * Grid::kStride], v[i * Grid::kStride + 1]});
        EXPECT_EQ(v[i * Grid::kStride + 2], 0.0f) << "third float of vertex " << i;
    }
    return out;
}

TEST(GridTest, SmallGridsByHand) {
    // Per row: for each column the upper, then the lower vertex. The last row sits at the top
    // with no height.
    Grid two(2, 2);
    EXPECT_EQ(Positions(two), (std::vector<Vertex2>{{0, 1},
                                                    {0, 0},
                                                    {1, 1},
                                                    {1, 0}, // row 0
                                                    {0, 1},
                                                    {0, 1},
                                                    {1, 1},
                                                    {1, 1}})); // row 1

    Grid wide(3, 2);
    EXPECT_EQ(Positions(wide), (std::vector<Vertex2>{{0, 1},
                                                     {0, 0},
                                                     {0.5f, 1},
                                                     {0.5f, 0},
                                                     {1, 1},
                                                     {1, 0},
                                                     {0, 1},
                                                     {0, 1},
                                                     {0.5f, 1},
                                                     {0.5f, 1},
                                                     {1, 1},
                                                     {1, 1}}));

    Grid tall(2, 3);
    EXPECT_EQ(Positions(tall), (std::vector<Vertex2>{{0, 0.5f},
                                                     {0, 0},
                                                     {1, 0.5f},
                                                     {1, 0},
                                                     {0, 1},
                                                     {0, 0.5f},
                                                     {1, 1},
                                                     {1, 0.5f},
                                                     {0, 1},
                                                     {0, 1},
                                                     {1, 1},
                                                     {1, 1}}));
}

TEST(GridTest, IndexAddressesColumnRowAndEdge) {
    Grid grid(4, 3);
    EXPECT_EQ(grid.Index(0, 0, 0), 0);
    EXPECT_EQ(grid.Index(0, 0, 1), 1);
    EXPECT_EQ(grid.Index(1, 0, 0), 2);
    EXPECT_EQ(grid.Index(3, 0, 1), 7);
    EXPECT_EQ(grid.Index(0, 1, 0), 8);
    EXPECT_EQ(grid.Index(2, 2, 1), 21);
}

class LargeGridTest : public ::testing::TestWithParam<std::pair<int, int>> {};

TEST_P(LargeGridTest, RowsAreContiguousStripsHeldInsideTheUnitSquare) {
    Grid grid(GetParam().first, GetParam().second);
    const int columns = grid.Columns(), rows = grid.Rows();
    const float* v = grid.Vertices();
    ASSERT_NE(v, nullptr);
    const auto at = [&](int k, int r, int e, int c) { return v[grid.Index(k, r, e) * Grid::kStride + c]; };
    for (int r = 0; r < rows; ++r) {
        for (int k = 0; k < columns; ++k) {
            for (int e = 0; e < 2; ++e) {
                for (int c = 0; c < 2; ++c) {
                    ASSERT_GE(at(k, r, e, c), 0.0f);
                    ASSERT_LE(at(k, r, e, c), 1.0f);
                }
            }
            // Both vertices of a column share x; x grows across the row, y is the same along it.
            ASSERT_EQ(at(k, r, 0, 0), at(k, r, 1, 0));
            if (k > 0) {
                ASSERT_GT(at(k, r, 0, 0), at(k - 1, r, 0, 0));
                ASSERT_EQ(at(k, r, 0, 1), at(0, r, 0, 1));
                ASSERT_EQ(at(k, r, 1, 1), at(0, r, 1, 1));
            }
            // Rows stack without gaps: a row's lower edge is the previous row's upper edge.
            if (r > 0) {
                ASSERT_EQ(at(k, r, 1, 1), at(k, r - 1, 0, 1)) << "row " << r;
            }
        }
        ASSERT_EQ(at(columns - 1, r, 0, 0), 1.0f);
        ASSERT_EQ(at(0, r, 0, 0), 0.0f);
    }
    EXPECT_EQ(at(0, 0, 1, 1), 0.0f);
    EXPECT_EQ(at(0, rows - 2, 0, 1), 1.0f) << "the last full row reaches the top";
    EXPECT_EQ(at(0, rows - 1, 1, 1), 1.0f);
    EXPECT_EQ(at(0, rows - 1, 0, 1), 1.0f) << "the last row has no height";
    // Uniform spacing: any cell is 1 / (n - 1) wide and high.
    EXPECT_NEAR(at(columns / 2 + 1, 0, 0, 0) - at(columns / 2, 0, 0, 0), 1.0f / (columns - 1), 1e-6);
    EXPECT_NEAR(at(0, rows / 2, 0, 1) - at(0, rows / 2, 1, 1), 1.0f / (rows - 1), 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LargeGridTest,
                         ::testing::Values(std::make_pair(121, 121), std::make_pair(241, 241),
                                           std::make_pair(7, 13), std::make_pair(20, 20)));

TEST(GridTest, BuiltOnFirstUseAndDroppedOnResize) {
    Grid grid(5, 4);
    EXPECT_EQ(grid.BuiltVertices(), nullptr);
    const float* first = grid.Vertices();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(grid.Vertices(), first) << "kept between uses";

    grid.Resize(5, 4);
    EXPECT_EQ(grid.BuiltVertices(), first) << "the same size keeps the array";

    grid.Resize(3, 4);
    EXPECT_EQ(grid.BuiltVertices(), nullptr);
    EXPECT_EQ(grid.Columns(), 3);
    Grid reference(3, 4);
    EXPECT_EQ(Positions(grid), Positions(reference)) << "rebuilt for the new size";

    grid.Resize(3, 2);
    EXPECT_EQ(grid.BuiltVertices(), nullptr);
    EXPECT_EQ(grid.Rows(), 2);
}

TEST(GridTest, TooSmallGridHasNoVertices) {
    for (const auto& size :
         {std::make_pair(1, 5), std::make_pair(5, 1), std::make_pair(0, 0), std::make_pair(-3, 4)}) {
        Grid grid(size.first, size.second);
        EXPECT_EQ(grid.Vertices(), nullptr) << size.first << " x " << size.second;
    }
}

TEST(GridTest, SharedGridsHaveTheirSizes) {
    EXPECT_EQ(sGrid.Columns(), 121);
    EXPECT_EQ(sGrid.Rows(), 121);
    EXPECT_EQ(sBigGrid.Columns(), 241);
    EXPECT_EQ(sBigGrid.Rows(), 241);
}

} // namespace
