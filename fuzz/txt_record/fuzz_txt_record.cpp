// DNS-SD TXT records: arbitrary record bytes (in an exact-size heap block, so that a read past the
// record is an AddressSanitizer report) read into format parameters. Accepted parameters are in
// range, and written back as a TXT record they read back the same.
#include <dns_sd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "discovery/dnssd.h"
#include "fuzz_check.h"

using namespace Drivers::Mac::ZAV;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p_data, std::size_t size) {
    if (size > 0xffff) return -1;  // a TXT record's length is 16 bits
    const std::vector<unsigned char> record(p_data, p_data + size);
    video_params_t params;
    std::string error;
    if (!params_from_txt_record(record.data(), uint16_t(record.size()), &params, &error)) {
        fuzz_check(!error.empty(), "refused without a reason");
        return 0;
    }
    fuzz_check(
        params.width > 0 && params.width <= max_picture_side && params.height > 0 && params.height <= max_picture_side,
        "picture size out of range");
    fuzz_check(params.width % pixel_group(params.sampling).pixels == 0, "width not whole pixel groups");
    fuzz_check(params.rate_num > 0 && params.rate_den > 0, "frame rate not positive");

    TXTRecordRef txt;
    TXTRecordCreate(&txt, 0, nullptr);
    for (const auto& [key, value] : params_to_pairs(params))
        TXTRecordSetValue(&txt, key.c_str(), uint8_t(value.size()), value.empty() ? nullptr : value.data());
    video_params_t again;
    const bool parsed = params_from_txt_record(static_cast<const unsigned char*>(TXTRecordGetBytesPtr(&txt)),
                                               TXTRecordGetLength(&txt), &again, &error);
    TXTRecordDeallocate(&txt);
    fuzz_check(parsed, "written parameters do not read back");
    fuzz_check(again == params, "written parameters read back as others");
    return 0;
}
