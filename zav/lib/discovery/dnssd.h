// Finding and publishing sources through DNS-SD (service type _zav-video._tcp): the instance name
// is the source's full name, the TXT record carries the format parameters as key=value items.
#ifndef ZAV_LIB_DISCOVERY_DNSSD_H
#define ZAV_LIB_DISCOVERY_DNSSD_H

#include <cstdint>
#include <memory>
#include <string>

#include "common/socket_util.h"
#include "discovery/source_entry.h"

namespace Drivers::Mac::ZAV {

extern const char* const zav_service_type;

enum class dnssd_lookup_e { found, not_found, no_daemon, woken };

// Browses for `name` and resolves it, for at most timeout_ms; the wake pipe ends it early.
dnssd_lookup_e dnssd_find_source(const std::string& name, const wake_pipe_t& wake, int timeout_ms,
                                 source_entry_t* p_entry);

// Reads the format parameters from the bytes of a TXT record (length-prefixed key=value items), as
// a resolved source carries them. False, with a reason in *p_error, as params_from_pairs.
bool params_from_txt_record(const unsigned char* p_txt, uint16_t length, video_params_t* p_params,
                            std::string* p_error);

// Logs, once per process, that no DNS-SD daemon answered and the sources files are used alone.
void log_no_dnssd_daemon_once();

enum class dnssd_registration_e { pending, registered, failed };

// A service handed to the daemon; unpublished when destroyed. Null from publish when no daemon
// answered. The daemon confirms (or refuses) the registration later, through `update`.
class dnssd_publication_t {
public:
    virtual ~dnssd_publication_t() = default;
    // Takes in the daemon's answers that have arrived, without waiting, and says where the
    // registration stands.
    virtual dnssd_registration_e update() = 0;
    // The instance name the daemon confirmed (it may have renamed a clash); empty before that.
    virtual const std::string& published_name() const = 0;
};
// `instance` is the part of the full name the daemon publishes (the whole full name).
std::unique_ptr<dnssd_publication_t> dnssd_publish(const std::string& instance, uint16_t port,
                                                   const video_params_t& params);

}  // namespace Drivers::Mac::ZAV

#endif
