// The RFC 4571 reader: packets come out whole however the byte stream is cut, and refused lengths
// are skipped without losing step with the packets after them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "wire/stream_framer.h"

using namespace Drivers::Mac::ZAV;

namespace {

std::vector<uint8_t> framed(const std::vector<std::string>& packets) {
    std::vector<uint8_t> out;
    for (const std::string& p : packets) {
        out.push_back(uint8_t(p.size() >> 8));
        out.push_back(uint8_t(p.size()));
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

std::vector<std::string> feed_in_pieces(stream_framer_t& framer, const std::vector<uint8_t>& bytes, std::size_t piece) {
    std::vector<std::string> got;
    for (std::size_t at = 0; at < bytes.size(); at += piece)
        framer.feed(bytes.data() + at, std::min(piece, bytes.size() - at), [&](const uint8_t* p, std::size_t size) {
            got.emplace_back(reinterpret_cast<const char*>(p), size);
        });
    return got;
}

const std::vector<std::string> three_packets = {"first packet", "the second, longer packet", "third"};

TEST(stream_framer_test, WholeStreamAtOnce) {
    stream_framer_t framer(4, 100);
    EXPECT_EQ(feed_in_pieces(framer, framed(three_packets), 1000), three_packets);
}

TEST(stream_framer_test, OneByteAtATime) {
    stream_framer_t framer(4, 100);
    EXPECT_EQ(feed_in_pieces(framer, framed(three_packets), 1), three_packets);
}

TEST(stream_framer_test, CutsInsideLengthAndPacket) {
    stream_framer_t framer(4, 100);
    EXPECT_EQ(feed_in_pieces(framer, framed(three_packets), 7), three_packets);
}

TEST(stream_framer_test, ZeroLengthIsCountedAndSkipped) {
    stream_framer_t framer(4, 100);
    std::vector<uint8_t> bytes = {0, 0};
    const std::vector<uint8_t> rest = framed(three_packets);
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    EXPECT_EQ(feed_in_pieces(framer, bytes, 3), three_packets);
    EXPECT_EQ(framer.bad_lengths(), 1u);
}

TEST(stream_framer_test, LengthBelowMinimumIsSkippedWithItsBytes) {
    stream_framer_t framer(4, 100);
    EXPECT_EQ(feed_in_pieces(framer, framed({"abc", "good packet"}), 5), std::vector<std::string>{"good packet"});
    EXPECT_EQ(framer.bad_lengths(), 1u);
}

TEST(stream_framer_test, LengthAboveLimitIsSkippedWithItsBytes) {
    stream_framer_t framer(4, 100);
    EXPECT_EQ(feed_in_pieces(framer, framed({std::string(101, 'x'), "after"}), 64), std::vector<std::string>{"after"});
    EXPECT_EQ(framer.bad_lengths(), 1u);
}

TEST(stream_framer_test, LengthAtLimitPasses) {
    stream_framer_t framer(4, 100);
    EXPECT_EQ(feed_in_pieces(framer, framed({std::string(100, 'x')}), 9),
              std::vector<std::string>{std::string(100, 'x')});
    EXPECT_EQ(framer.bad_lengths(), 0u);
}

TEST(stream_framer_test, ResetForgetsAPartPacket) {
    stream_framer_t framer(4, 100);
    const std::vector<uint8_t> first = framed({"lost packet"});
    feed_in_pieces(framer, std::vector<uint8_t>(first.begin(), first.begin() + 5), 5);
    framer.reset();
    EXPECT_EQ(feed_in_pieces(framer, framed({"fresh"}), 2), std::vector<std::string>{"fresh"});
}

}  // namespace
