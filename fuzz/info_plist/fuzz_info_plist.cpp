// A bundle's Info.plist: arbitrary bytes (XML, binary or neither) written as the plist file of a
// bundle and read as the DAL system reads it for its plug-in type. Either the reading fails with a
// reason, or it gives an executable name that stays inside the bundle and a factory name.
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "CoreMediaIO/dal/info_plist.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p_data, std::size_t size) {
    // The DAL plug-in type, as the DAL system names it.
    static const std::string dal_type = "30010C1C-93BF-11D8-8B5B-000A95AF9C6A";
    static const std::string path = "/tmp/zav-fuzz-info-" + std::to_string(getpid()) + ".plist";
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(p_data), std::streamsize(size));
    }
    std::string reason;
    const auto info = zav_platform::cmio::read_plugin_info(path, dal_type, reason);
    if (!info) {
        fuzz_check(!reason.empty(), "refused without a reason");
        return 0;
    }
    fuzz_check(!info->executable.empty() && info->executable.find('/') == std::string::npos,
               "an executable name outside the bundle's MacOS folder");
    fuzz_check(!info->factory_function.empty(), "no factory function");
    return 0;
}
