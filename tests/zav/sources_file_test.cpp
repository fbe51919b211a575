// Sources files and format parameters: a table of good and bad lines, the files chosen by the
// environment, and one log line per malformed line naming the file and the line.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "discovery/sources_file.h"
#include "syslog_capture.h"

using namespace Drivers::Mac::ZAV;

namespace {

struct good_line_t {
    std::string name;
    std::string line;
    std::string source;
    std::string host;
    uint16_t port;
    sampling_e sampling;
    int width, height, rate_num, rate_den;
};

// A failing case is reported by its name rather than as a dump of its bytes.
void PrintTo(const good_line_t& c, std::ostream* os) {
    *os << c.name;
}

class good_sources_line_test : public testing::TestWithParam<good_line_t> {};

TEST_P(good_sources_line_test, Parses) {
    const good_line_t& c = GetParam();
    source_entry_t entry;
    std::string error;
    ASSERT_EQ(parse_sources_line(c.line, &entry, &error), sources_line_e::entry) << error;
    EXPECT_EQ(entry.name, c.source);
    EXPECT_EQ(entry.host, c.host);
    EXPECT_EQ(entry.port, c.port);
    EXPECT_EQ(entry.params.sampling, c.sampling);
    EXPECT_EQ(entry.params.width, c.width);
    EXPECT_EQ(entry.params.height, c.height);
    EXPECT_EQ(entry.params.rate_num, c.rate_num);
    EXPECT_EQ(entry.params.rate_den, c.rate_den);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, good_sources_line_test,
    testing::Values(good_line_t{"Uyvy",
                                "\"STUDIO (Cam 1)\" 10.0.0.2:5004 sampling=YCbCr-4:2:2; width=1920; height=1080; "
                                "depth=8; exactframerate=60",
                                "STUDIO (Cam 1)", "10.0.0.2", 5004, sampling_e::ycbcr_422, 1920, 1080, 60, 1},
                    good_line_t{"BgraOddWidthFraction",
                                "\"A (B)\" host.local:1 sampling=BGRA; width=641; height=3; "
                                "exactframerate=30000/1001",
                                "A (B)", "host.local", 1, sampling_e::bgra, 641, 3, 30000, 1001},
                    good_line_t{"TabsAndLeadingBlanks",
                                "  \t\"X (Y)\"\t127.0.0.1:65535\tsampling=BGRA;width=8192;height=8192", "X (Y)",
                                "127.0.0.1", 65535, sampling_e::bgra, 8192, 8192, 30000, 1001},
                    good_line_t{"Ipv6", "\"V6 (Z)\" [::1]:7000 sampling=RGB; width=2; height=2", "V6 (Z)", "::1", 7000,
                                sampling_e::rgb, 2, 2, 30000, 1001},
                    good_line_t{"UnknownKeysIgnored",
                                "\"K (L)\" h:9 sampling=RGBA; width=4; height=4; TCS=SDR; PAR=1:1", "K (L)", "h", 9,
                                sampling_e::rgba, 4, 4, 30000, 1001}),
    [](const testing::TestParamInfo<good_line_t>& case_info) { return case_info.param.name; });

struct bad_line_t {
    std::string name;
    std::string line;
};

// A failing case is reported by its name rather than as a dump of its bytes.
void PrintTo(const bad_line_t& c, std::ostream* os) {
    *os << c.name;
}

class bad_sources_line_test : public testing::TestWithParam<bad_line_t> {};

TEST_P(bad_sources_line_test, IsMalformed) {
    source_entry_t entry;
    std::string error;
    EXPECT_EQ(parse_sources_line(GetParam().line, &entry, &error), sources_line_e::malformed);
    EXPECT_FALSE(error.empty());
}

const std::string ok_params = " sampling=YCbCr-4:2:2; width=4; height=2";

INSTANTIATE_TEST_SUITE_P(
    Lines, bad_sources_line_test,
    testing::Values(bad_line_t{"NameNotQuoted", "STUDIO (Cam) 1.2.3.4:5" + ok_params},
                    bad_line_t{"NameNotClosed", "\"STUDIO (Cam) 1.2.3.4:5" + ok_params},
                    bad_line_t{"EmptyName", "\"\" 1.2.3.4:5" + ok_params},
                    bad_line_t{"NoAddress", "\"S (C)\"" + ok_params},
                    bad_line_t{"NoPort", "\"S (C)\" 1.2.3.4" + ok_params},
                    bad_line_t{"PortZero", "\"S (C)\" 1.2.3.4:0" + ok_params},
                    bad_line_t{"PortTooLarge", "\"S (C)\" 1.2.3.4:65536" + ok_params},
                    bad_line_t{"BareIpv6", "\"S (C)\" ::1:5" + ok_params},
                    bad_line_t{"NoParameters", "\"S (C)\" 1.2.3.4:5"},
                    bad_line_t{"UnknownSampling", "\"S (C)\" h:5 sampling=YCbCr-4:2:0; width=4; height=2"},
                    bad_line_t{"DepthTen", "\"S (C)\" h:5" + ok_params + "; depth=10"},
                    bad_line_t{"ZeroWidth", "\"S (C)\" h:5 sampling=BGRA; width=0; height=2"},
                    bad_line_t{"WidthBeyondLimit", "\"S (C)\" h:5 sampling=BGRA; width=8193; height=2"},
                    bad_line_t{"HeightBeyondLimit", "\"S (C)\" h:5 sampling=BGRA; width=2; height=8193"},
                    bad_line_t{"NegativeHeight", "\"S (C)\" h:5 sampling=BGRA; width=2; height=-2"},
                    bad_line_t{"OddWidthFor422", "\"S (C)\" h:5 sampling=YCbCr-4:2:2; width=5; height=2"},
                    bad_line_t{"ZeroRate", "\"S (C)\" h:5" + ok_params + "; exactframerate=0"},
                    bad_line_t{"RateWithZeroDenominator", "\"S (C)\" h:5" + ok_params + "; exactframerate=30/0"},
                    bad_line_t{"DecimalRate", "\"S (C)\" h:5" + ok_params + "; exactframerate=29.97"},
                    bad_line_t{"StaticPayloadType", "\"S (C)\" h:5" + ok_params + "; pt=26"}),
    [](const testing::TestParamInfo<bad_line_t>& case_info) { return case_info.param.name; });

TEST(sources_line_test, BlankAndCommentLinesAreNothing) {
    source_entry_t entry;
    for (const char* line : {"", "   ", "\t", "# a comment", "   # indented comment"})
        EXPECT_EQ(parse_sources_line(line, &entry, nullptr), sources_line_e::nothing) << '"' << line << '"';
}

TEST(sources_line_test, FormattedLineReadsBack) {
    source_entry_t entry;
    entry.name = "HOST (Name With Spaces)";
    entry.host = "::1";
    entry.port = 4242;
    entry.params.sampling = sampling_e::bgra;
    entry.params.width = 7;
    entry.params.height = 5;
    entry.params.rate_num = 60000;
    entry.params.rate_den = 1001;
    entry.params.interlaced = true;
    source_entry_t back;
    ASSERT_EQ(parse_sources_line(format_sources_line(entry), &back, nullptr), sources_line_e::entry);
    EXPECT_EQ(back.name, entry.name);
    EXPECT_EQ(back.host, entry.host);
    EXPECT_EQ(back.port, entry.port);
    EXPECT_EQ(back.params, entry.params);
}

class sources_files_test : public testing::Test {
protected:
    void SetUp() override {
        m_dir = testing::TempDir() + "zav_sources_" + std::to_string(::getpid());
        std::system(("mkdir -p " + m_dir).c_str());
        zav_test::clear_log();
    }
    void TearDown() override {
        unsetenv("ZAV_SOURCES");
        std::system(("rm -rf " + m_dir).c_str());
    }
    std::string write(const std::string& name, const std::string& text) {
        const std::string path = m_dir + "/" + name;
        std::ofstream(path) << text;
        return path;
    }
    std::string m_dir;
};

TEST_F(sources_files_test, MalformedLineSkippedWithOneLogLine) {
    const std::string path = write("sources",
                                   "# sources\n\n\"A (B)\" h:1 sampling=BGRA; width=2; height=2\n"
                                   "broken line\n\"C (D)\" h:2 sampling=BGRA; width=2; height=2\n");
    const std::vector<source_entry_t> entries = read_sources_file(path);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].name, "A (B)");
    EXPECT_EQ(entries[1].name, "C (D)");
    const std::vector<std::string> log = zav_test::log_messages();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].find(path + ":4:"), std::string::npos) << log[0];
}

TEST_F(sources_files_test, MalformedLineReadAgainIsNotLoggedAgainUntilItChanges) {
    const std::string path = write("reread", "broken line\n");
    read_sources_file(path);
    read_sources_file(path);
    EXPECT_EQ(zav_test::log_messages().size(), 1u);
    write("reread", "another broken line\n");
    read_sources_file(path);
    EXPECT_EQ(zav_test::log_messages().size(), 2u);
}

TEST_F(sources_files_test, MissingFileHasNoEntriesAndNoLog) {
    EXPECT_TRUE(read_sources_file(m_dir + "/absent").empty());
    EXPECT_TRUE(zav_test::log_messages().empty());
}

TEST_F(sources_files_test, EnvironmentNamesTheOnlyFile) {
    const std::string path = write("chosen", "\"A (B)\" h:1 sampling=BGRA; width=2; height=2\n");
    setenv("ZAV_SOURCES", path.c_str(), 1);
    EXPECT_EQ(sources_paths(), std::vector<std::string>{path});
    ASSERT_TRUE(find_source_in_files("A (B)"));
    EXPECT_FALSE(find_source_in_files("A (C)"));
}

TEST_F(sources_files_test, FirstEntryOfANameWins) {
    const std::string path = write("twice",
                                   "\"A (B)\" first:1 sampling=BGRA; width=2; height=2\n"
                                   "\"A (B)\" second:1 sampling=BGRA; width=2; height=2\n");
    setenv("ZAV_SOURCES", path.c_str(), 1);
    EXPECT_EQ(find_source_in_files("A (B)")->host, "first");
}

#if !defined(__APPLE__)
TEST_F(sources_files_test, UserFileFollowsXdgConfigHome) {
    const char* old = std::getenv("XDG_CONFIG_HOME");
    const std::string saved = old ? old : "";
    setenv("XDG_CONFIG_HOME", m_dir.c_str(), 1);
    EXPECT_EQ(user_sources_path(), m_dir + "/zav/sources");
    EXPECT_EQ(sources_paths(), (std::vector<std::string>{m_dir + "/zav/sources", "/etc/zav/sources"}));
    if (old)
        setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    else
        unsetenv("XDG_CONFIG_HOME");
}
#endif

}  // namespace
