// Learning also sees each capture through its corner crops: each crop must
// hold exactly the regions of its corner, row by row, with counts that
// describe it, or the learned filters see scenes that never were.
#include <gtest/gtest.h>

#include "SampleStats.h"

namespace {

using Vireo::Score::SampleStats;

// A cols x rows grid whose region k has rSum k.
SampleStats NumberedGrid(int cols, int rows) {
    SampleStats s;
    s.header.horizontalRegionCount = cols;
    s.header.verticalRegionCount = rows;
    s.regions.resize(static_cast<size_t>(cols) * rows);
    for (size_t k = 0; k < s.regions.size(); ++k) s.regions[k].rSum = static_cast<int64_t>(k);
    return s;
}

TEST(CornerCrop, HoldsItsCornersRegionsRowByRow) {
    struct Row {
        int corner;
        double fraction;
        int width, height, firstRegion;
    };
    // 10 x 6 grid at 0.6: 6 columns (even), 3 rows.
    const Row rows[] = {{0, 0.6, 6, 3, 0},
                        {1, 0.6, 6, 3, 4},
                        {2, 0.6, 6, 3, 30},
                        {3, 0.6, 6, 3, 34},
                        {3, 0.75, 6, 4, 24}};  // 7.5 columns kept even: 6
    const SampleStats grid = NumberedGrid(10, 6);
    for (const Row& row : rows) {
        SCOPED_TRACE("corner " + std::to_string(row.corner));
        SampleStats crop;
        ASSERT_TRUE(Vireo::Score::CornerCrop(grid, row.corner, row.fraction, crop));
        EXPECT_EQ(crop.header.horizontalRegionCount, row.width);
        EXPECT_EQ(crop.header.verticalRegionCount, row.height);
        ASSERT_EQ(crop.regions.size(), static_cast<size_t>(row.width * row.height));
        for (int y = 0; y < row.height; ++y) {
            for (int x = 0; x < row.width; ++x) {
                EXPECT_EQ(crop.regions[y * row.width + x].rSum, row.firstRegion + y * 10 + x);
            }
        }
    }
}

TEST(CornerCrop, RefusesGridsItCannotCut) {
    SampleStats crop;
    SampleStats mismatched = NumberedGrid(10, 6);
    mismatched.regions.pop_back();  // counts no longer describe the records
    EXPECT_FALSE(Vireo::Score::CornerCrop(mismatched, 0, 0.6, crop));
    EXPECT_FALSE(Vireo::Score::CornerCrop(NumberedGrid(3, 3), 0, 0.6, crop));  // 1 column
    EXPECT_FALSE(Vireo::Score::CornerCrop(NumberedGrid(0, 0), 0, 0.6, crop));
}

}  // namespace
