// The stream's source name, built from the machine's host name, and the frame-rate notice.
#include "cf_leak_fixture.h"
#include "objects/simple_input_stream.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstring>
#include <string>

namespace {

using namespace Drivers::Mac::ZAV::VirtualCamera;

using source_name_t = zav_test::cf_leak_fixture_t;

// The name the stream builds in a child process given its own UTS namespace with `host_name`;
// empty when this machine does not allow one (no user namespaces).
std::string name_under_host_name(const char* host_name, const char* base_name) {
    int pipe_ends[2];
    if (pipe(pipe_ends) != 0) return "";
    const pid_t child = fork();
    if (child == 0) {
        close(pipe_ends[0]);
        std::string name;
        if (unshare(CLONE_NEWUSER | CLONE_NEWUTS) == 0 && sethostname(host_name, std::strlen(host_name)) == 0) {
            simple_input_stream_t::m_p_zav_router_name = base_name;
            simple_input_stream_t stream(nullptr);
            name = stream.get_full_zav_router_name();
        }
        const ssize_t written = write(pipe_ends[1], name.data(), name.size());
        _exit(written == ssize_t(name.size()) ? 0 : 1);
    }
    close(pipe_ends[1]);
    std::string name;
    std::array<char, 512> buffer{};
    ssize_t got = 0;
    while ((got = read(pipe_ends[0], buffer.data(), buffer.size())) > 0) name.append(buffer.data(), std::size_t(got));
    close(pipe_ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return name;
}

TEST_F(source_name_t, is_the_upper_cased_host_name_with_the_base_name_in_brackets) {
    simple_input_stream_t stream(nullptr);
    char host[256] = {};
    gethostname(host, sizeof(host) - 1);
    std::string upper(host);
    for (char& c : upper) c = char(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(stream.get_full_zav_router_name(), upper + " (ZAV Virtual Input)");
}

TEST_F(source_name_t, upper_cases_letters_and_keeps_digits_and_punctuation) {
    const std::string name = name_under_host_name("studio-mac7.lan", "ZAV Virtual Input");
    if (name.empty()) GTEST_SKIP() << "no user and UTS namespaces here";
    EXPECT_EQ(name, "STUDIO-MAC7.LAN (ZAV Virtual Input)");
}

TEST_F(source_name_t, follows_a_changed_base_name_and_host_name) {
    const std::string name = name_under_host_name("other-host", "Studio B");
    if (name.empty()) GTEST_SKIP() << "no user and UTS namespaces here";
    EXPECT_EQ(name, "OTHER-HOST (Studio B)");
}

using frame_rate_notice_t = zav_test::cf_leak_fixture_t;

TEST_F(frame_rate_notice_t, changes_the_rate_and_reports_the_four_rate_properties_in_order) {
    simple_input_stream_t stream(nullptr);
    stream.captured_framerate_change(60000, 1001);
    const CMIOObjectPropertyAddress rate = {kCMIOStreamPropertyFrameRate, kCMIOObjectPropertyScopeGlobal, 0};
    Float64 value = 0;
    UInt32 used = 0;
    ASSERT_EQ(stream.get_property(rate, 0, nullptr, sizeof(value), &used, &value), kCMIOHardwareNoError);
    EXPECT_DOUBLE_EQ(value, 60000.0 / 1001.0);
    stream.captured_framerate_change(60000, 1001);

    const auto changes = zav_platform::probe::properties_changed();
    ASSERT_EQ(changes.size(), 2u) << "one notice per call, even without a change";
    for (const auto& change : changes) {
        ASSERT_EQ(change.addresses.size(), 4u);
        EXPECT_EQ(change.addresses[0].mSelector, CMIOObjectPropertySelector(kCMIOStreamPropertyFrameRate));
        EXPECT_EQ(change.addresses[1].mSelector, CMIOObjectPropertySelector(kCMIOStreamPropertyMinimumFrameRate));
        EXPECT_EQ(change.addresses[2].mSelector, CMIOObjectPropertySelector(kCMIOStreamPropertyFrameRates));
        EXPECT_EQ(change.addresses[3].mSelector, CMIOObjectPropertySelector(kCMIOStreamPropertyFrameRateRanges));
        for (const auto& address : change.addresses) {
            EXPECT_EQ(address.mScope, CMIOObjectPropertyScope(kCMIOObjectPropertyScopeGlobal));
            EXPECT_EQ(address.mElement, 0u);
        }
    }
    EXPECT_EQ(zav_test::log_messages().back(), "Captured framerate changed");
}

}  // namespace
