// Plug-in bundles that are broken in every way the DAL system must survive, made at test time
// next to a working copy of the test camera: each is skipped with one line naming the bundle
// and the reason, and the working plug-in still loads. Also what happens at process exit.
#include "dal_test_support.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace dal_test;
namespace fs = std::filesystem;

namespace {

constexpr const char* k_type = "30010C1C-93BF-11D8-8B5B-000A95AF9C6A";
constexpr const char* k_factory = "0B6E1C40-2F0A-4B38-8F4D-7C1B7E2A9D11";

// An Info.plist with the given executable and factory function; empty means "leave it out".
std::string info_plist(const std::string& executable, const std::string& function, const std::string& type = k_type) {
    std::ostringstream text;
    text << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
    if (!executable.empty()) text << "<key>CFBundleExecutable</key><string>" << executable << "</string>\n";
    if (!function.empty())
        text << "<key>CFPlugInFactories</key><dict><key>" << k_factory << "</key><string>" << function
             << "</string></dict>\n";
    text << "<key>CFPlugInTypes</key><dict><key>" << type << "</key><array><string>" << k_factory
         << "</string></array></dict>\n</dict>\n</plist>\n";
    return text.str();
}

class dal_bundles_t : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        char pattern[] = "/tmp/dal_bundles_XXXXXX";
        s_folder = mkdtemp(pattern);
        // A working plug-in beside the broken ones.
        fs::copy(ZAV_TEST_CAMERA_BUNDLE, s_folder + "/Working.plugin", fs::copy_options::recursive);

        add("NoExecutableKey", info_plist("", "BrokenFactoryReturnsNull"), true);
        add("NoFactories", info_plist("Broken", ""), true);
        add("OtherType", info_plist("Broken", "BrokenFactoryReturnsNull", "11111111-2222-3333-4444-555555555555"), true);
        add("MissingExecutable", info_plist("Broken", "BrokenFactoryReturnsNull"), false);
        add("MissingFactory", info_plist("Broken", "NoSuchFactory"), true);
        add("NullFactory", info_plist("Broken", "BrokenFactoryReturnsNull"), true);
        add("RefusesInterface", info_plist("Broken", "BrokenFactoryRefusesInterface"), true);
        add("FailsToInitialize", info_plist("Broken", "BrokenFactoryFailsToInitialize"), true);
        add("GarbagePlist", "this is not a property list", true);
        fs::create_directories(s_folder + "/NoPlist.plugin/Contents/MacOS");
        fs::create_directories(s_folder + "/NotALibrary.plugin/Contents/MacOS");
        std::ofstream(s_folder + "/NotALibrary.plugin/Contents/Info.plist") << info_plist("Broken", "Factory");
        std::ofstream(s_folder + "/NotALibrary.plugin/Contents/MacOS/Broken") << "not an executable";
        // Neither of these is a bundle, so neither is mentioned.
        std::ofstream(s_folder + "/notes.txt") << "hello";
        fs::create_directories(s_folder + "/Folder.bundle");
    }

    static void TearDownTestSuite() {
        zav_platform::probe::unload_plug_ins();
        fs::remove_all(s_folder);
    }

    static void add(const std::string& name, const std::string& plist, bool with_executable) {
        const std::string contents = s_folder + "/" + name + ".plugin/Contents";
        fs::create_directories(contents + "/MacOS");
        std::ofstream(contents + "/Info.plist") << plist;
        if (with_executable) fs::copy_file(ZAV_BROKEN_FACTORIES, contents + "/MacOS/Broken");
    }

    // The stderr lines that mention a bundle.
    static std::vector<std::string> lines_about(const std::string& log, const std::string& bundle) {
        std::vector<std::string> lines;
        std::istringstream in(log);
        for (std::string line; std::getline(in, line);)
            if (line.find("/" + bundle + ".plugin") != std::string::npos) lines.push_back(line);
        return lines;
    }

    static inline std::string s_folder;
};

// Empty and missing folders in the search path are passed over.
TEST_F(dal_bundles_t, broken_bundles_are_skipped_with_one_line_each_and_the_working_one_loads) {
    use_plugin_folders("::/no/such/folder:" + s_folder + ":");
    CMIOObjectID camera = kCMIOObjectUnknown;
    const std::string log = capture_stderr([&] { camera = find_test_camera(); });
    EXPECT_NE(camera, kCMIOObjectUnknown) << log;
    const std::pair<const char*, const char*> expected[] = {
        {"NoExecutableKey", "CFBundleExecutable"},     {"NoFactories", "CFPlugInFactories"},
        {"OtherType", "CFPlugInTypes"},                {"MissingExecutable", "is missing"},
        {"MissingFactory", "NoSuchFactory not found"}, {"NullFactory", "returned no plug-in"},
        {"RefusesInterface", "refused"},               {"FailsToInitialize", "failed to initialise"},
        {"GarbagePlist", "not a property list"},       {"NoPlist", "Info.plist is missing"},
        {"NotALibrary", "cannot load executable"},
    };
    for (const auto& [bundle, reason] : expected) {
        std::vector<std::string> lines = lines_about(log, bundle);
        ASSERT_EQ(lines.size(), 1u) << bundle << " in:\n" << log;
        EXPECT_NE(lines[0].find(reason), std::string::npos) << lines[0];
    }
    EXPECT_TRUE(lines_about(log, "Working").empty()) << log;
    EXPECT_EQ(log.find("notes.txt"), std::string::npos);
    EXPECT_EQ(log.find("Folder.bundle"), std::string::npos);
    // References of refused and failed plug-ins are given back.
    EXPECT_NE(log.find("RefusingPlugIn: last reference released"), std::string::npos) << log;
    EXPECT_NE(log.find("FailingPlugIn: last reference released"), std::string::npos) << log;
}

// Both ways a process lets go of its plug-ins: exiting, and the DAL system unloading them.
TEST(dal_exit, plugins_are_torn_down_and_released_at_exit_and_on_unload) {
    const char* const k_released = "TestCamera: last reference released after teardown";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
            if (find_test_camera() == kCMIOObjectUnknown) std::_Exit(3);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), k_released);
    use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
    const CMIOObjectID camera = find_test_camera();
    ASSERT_NE(camera, kCMIOObjectUnknown);
    const std::string log = capture_stderr([] { zav_platform::probe::unload_plug_ins(); });
    EXPECT_NE(log.find(k_released), std::string::npos) << log;
    // Its objects are gone with it.
    UInt32 size = 0;
    const CMIOObjectPropertyAddress name = address(kCMIOObjectPropertyName);
    unsetenv("CMIO_DAL_PLUGIN_PATH");
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(camera, &name, 0, nullptr, &size), kCMIOHardwareBadObjectError);
}

}  // namespace
