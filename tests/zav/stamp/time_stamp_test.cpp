// The time stamp on its own: what it carries at the edges of its range and of the picture sizes
// it is drawn into, and that a damaged or missing stamp gives no reading rather than a wrong one.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <random>
#include <vector>

#include "stamp/time_stamp.h"

namespace {

using namespace Drivers::Mac::ZAV;

// A mid-grey picture (neither black nor white to a stamp reader) with padded rows.
struct grey_picture_t {
    int width, height;
    stamp_layout_e layout;
    std::size_t stride;
    std::vector<uint8_t> bytes;

    grey_picture_t(int w, int h, stamp_layout_e l)
        : width(w),
          height(h),
          layout(l),
          stride(std::size_t(l == stamp_layout_e::uyvy ? (w + 1) / 2 * 4 : w * 4) + 16),
          bytes(stride * std::size_t(h), 128) {}
    stamp_picture_t picture() { return {bytes.data(), stride, width, height, layout}; }
    stamp_view_t view() const { return {bytes.data(), stride, width, height, layout}; }
    // Sets the luma of every pixel in columns [from, to) of the top `rows` rows.
    void paint_columns(int from, int to, int rows, uint8_t luma) {
        for (int y = 0; y < rows; ++y)
            for (int x = from; x < to; ++x) {
                uint8_t* row = bytes.data() + std::size_t(y) * stride;
                if (layout == stamp_layout_e::uyvy)
                    row[std::size_t(x / 2) * 4 + (x % 2 == 0 ? 1 : 3)] = luma;
                else
                    std::memset(row + std::size_t(x) * 4, luma, 3);
            }
    }
};

// Where cell `cell` of the 60 lies in a picture `width` wide, as the stamp draws it.
int cell_start(int cell, int width) {
    return cell * width / 60;
}

constexpr uint64_t some_time = 0x12'3456'789aull;

TEST(time_stamp, uyvy_stamp_at_the_smallest_drawable_size_reads_back) {
    grey_picture_t picture(240, 32, stamp_layout_e::uyvy);
    ASSERT_TRUE(draw_time_stamp(picture.picture(), some_time));
    EXPECT_EQ(read_time_stamp(picture.view()), some_time);
}

TEST(time_stamp, bgra_stamp_at_the_smallest_drawable_size_reads_back) {
    grey_picture_t picture(240, 32, stamp_layout_e::bgra);
    ASSERT_TRUE(draw_time_stamp(picture.picture(), some_time));
    EXPECT_EQ(read_time_stamp(picture.view()), some_time);
}

TEST(time_stamp, odd_width_uyvy_stamp_reads_back) {
    grey_picture_t picture(1001, 99, stamp_layout_e::uyvy);
    ASSERT_TRUE(draw_time_stamp(picture.picture(), some_time));
    EXPECT_EQ(read_time_stamp(picture.view()), some_time);
}

TEST(time_stamp, zero_and_the_largest_time_read_back) {
    grey_picture_t zero(640, 360, stamp_layout_e::uyvy), largest(640, 360, stamp_layout_e::uyvy);
    ASSERT_TRUE(draw_time_stamp(zero.picture(), 0));
    ASSERT_TRUE(draw_time_stamp(largest.picture(), stamp_time_modulo - 1));
    EXPECT_EQ(read_time_stamp(zero.view()), 0u);
    EXPECT_EQ(read_time_stamp(largest.view()), stamp_time_modulo - 1);
}

TEST(time_stamp, time_beyond_the_range_is_drawn_modulo_the_range) {
    grey_picture_t picture(640, 360, stamp_layout_e::bgra);
    ASSERT_TRUE(draw_time_stamp(picture.picture(), 3 * stamp_time_modulo + 5));
    EXPECT_EQ(read_time_stamp(picture.view()), 5u);
}

TEST(time_stamp, picture_one_pixel_too_narrow_or_too_short_is_left_untouched) {
    grey_picture_t narrow(239, 360, stamp_layout_e::uyvy), short_one(640, 31, stamp_layout_e::bgra);
    const std::vector<uint8_t> narrow_before = narrow.bytes, short_before = short_one.bytes;
    EXPECT_FALSE(draw_time_stamp(narrow.picture(), some_time));
    EXPECT_FALSE(draw_time_stamp(short_one.picture(), some_time));
    EXPECT_EQ(narrow.bytes, narrow_before);
    EXPECT_EQ(short_one.bytes, short_before);
}

TEST(time_stamp, stamp_is_found_below_a_band_at_the_top) {
    // As when a wide picture is fitted into a taller one: 40 black rows, then the stamped picture.
    grey_picture_t picture(640, 400, stamp_layout_e::uyvy);
    const std::size_t band = 40 * picture.stride;
    stamp_picture_t below = picture.picture();
    below.p_data += band;
    below.height -= 40;
    ASSERT_TRUE(draw_time_stamp(below, some_time));
    picture.paint_columns(0, 640, 40, 16);
    EXPECT_EQ(read_time_stamp(picture.view()), some_time);
}

TEST(time_stamp, stamp_below_the_upper_quarter_is_not_looked_for) {
    grey_picture_t picture(640, 400, stamp_layout_e::uyvy);
    stamp_picture_t low = picture.picture();
    low.p_data += 100 * picture.stride;
    low.height -= 100;
    ASSERT_TRUE(draw_time_stamp(low, some_time));
    EXPECT_EQ(read_time_stamp(picture.view()), std::nullopt);
}

// Damage: the stamp is drawn, then part of it is changed in every row it covers.
class damaged_stamp : public testing::Test {
protected:
    grey_picture_t m_picture{600, 200, stamp_layout_e::uyvy};
    void SetUp() override { ASSERT_TRUE(draw_time_stamp(m_picture.picture(), some_time)); }
    // Gives cell `cell` the luma `luma` over the stamp's rows (600 / 60 = 10).
    void paint_cell(int cell, uint8_t luma) {
        m_picture.paint_columns(cell_start(cell, 600), cell_start(cell + 1, 600), 10, luma);
    }
    uint8_t luma_of_cell(int cell) const {
        const int x = cell_start(cell, 600) + 5;
        return m_picture.bytes[std::size_t(x / 2) * 4 + (x % 2 == 0 ? 1 : 3)];
    }
    void invert_cell(int cell) { paint_cell(cell, luma_of_cell(cell) > 128 ? 16 : 235); }
};

TEST_F(damaged_stamp, one_inverted_time_cell_is_rejected_by_the_check_value) {
    invert_cell(20);
    EXPECT_EQ(read_time_stamp(m_picture.view()), std::nullopt);
}

TEST_F(damaged_stamp, one_inverted_check_cell_is_rejected) {
    invert_cell(50);
    EXPECT_EQ(read_time_stamp(m_picture.view()), std::nullopt);
}

TEST_F(damaged_stamp, a_grey_cell_is_neither_black_nor_white_and_is_rejected) {
    paint_cell(10, 125);
    EXPECT_EQ(read_time_stamp(m_picture.view()), std::nullopt);
}

TEST_F(damaged_stamp, missing_start_marker_is_rejected) {
    paint_cell(0, 16);
    EXPECT_EQ(read_time_stamp(m_picture.view()), std::nullopt);
}

TEST_F(damaged_stamp, missing_end_marker_is_rejected) {
    paint_cell(59, 16);
    EXPECT_EQ(read_time_stamp(m_picture.view()), std::nullopt);
}

TEST(time_stamp, random_pictures_give_no_reading) {
    std::mt19937 random(20261124);
    for (stamp_layout_e layout : {stamp_layout_e::uyvy, stamp_layout_e::bgra}) {
        grey_picture_t picture(1280, 720, layout);
        for (uint8_t& byte : picture.bytes) byte = random() & 1 ? 235 : 16;
        EXPECT_EQ(read_time_stamp(picture.view()), std::nullopt);
    }
}

TEST(time_stamp, no_picture_or_one_too_narrow_gives_no_reading) {
    grey_picture_t narrow(119, 100, stamp_layout_e::bgra);
    EXPECT_EQ(read_time_stamp({nullptr, 0, 640, 360, stamp_layout_e::uyvy}), std::nullopt);
    EXPECT_EQ(read_time_stamp(narrow.view()), std::nullopt);
}

TEST(time_stamp_age, age_is_the_difference_of_the_two_times) {
    EXPECT_EQ(stamp_age_us(1'000'250, 1'000'000), 250);
}

TEST(time_stamp_age, age_across_the_wrap_of_the_range_stays_small) {
    EXPECT_EQ(stamp_age_us(3, stamp_time_modulo - 2), 5);
}

TEST(time_stamp_age, reading_before_the_stamp_gives_a_negative_age) {
    EXPECT_EQ(stamp_age_us(1'000'000, 1'000'250), -250);
    EXPECT_EQ(stamp_age_us(stamp_time_modulo - 2, 3), -5);
}

TEST(time_stamp_age, stamp_clock_is_the_wall_clock_in_microseconds) {
    using namespace std::chrono;
    const auto wall = uint64_t(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
    const int64_t apart = stamp_age_us(stamp_clock_now_us(), wall % stamp_time_modulo);
    EXPECT_GE(apart, 0);
    EXPECT_LT(apart, 1'000'000);
}

}  // namespace
