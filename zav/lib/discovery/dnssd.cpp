#include "discovery/dnssd.h"

#include <arpa/inet.h>
#include <dns_sd.h>
#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <vector>

#include "common/lib_log.h"

namespace Drivers::Mac::ZAV {

const char* const zav_service_type = "_zav-video._tcp";

namespace {

struct service_ref_t {
    DNSServiceRef ref = nullptr;
    ~service_ref_t() {
        if (ref) DNSServiceRefDeallocate(ref);
    }
};

struct lookup_state_t {
    std::string wanted;
    bool seen = false;
    uint32_t interface_index = 0;
    std::string type, domain;
    bool resolved = false;
    bool resolve_failed = false;
    source_entry_t entry;
    std::string error;
};

void DNSSD_API on_browse(DNSServiceRef, DNSServiceFlags flags, uint32_t interface_index, DNSServiceErrorType error,
                         const char* name, const char* type, const char* domain, void* context) {
    auto* p_state = static_cast<lookup_state_t*>(context);
    if (error != kDNSServiceErr_NoError || !(flags & kDNSServiceFlagsAdd) || p_state->seen) return;
    if (p_state->wanted != name) return;
    p_state->seen = true;
    p_state->interface_index = interface_index;
    p_state->type = type;
    p_state->domain = domain;
}

void DNSSD_API on_resolve(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType error, const char*,
                          const char* host, uint16_t port_network, uint16_t txt_length, const unsigned char* txt,
                          void* context) {
    auto* p_state = static_cast<lookup_state_t*>(context);
    if (error != kDNSServiceErr_NoError) {
        p_state->resolve_failed = true;
        return;
    }
    source_entry_t entry;
    entry.name = p_state->wanted;
    entry.host = host;
    if (!entry.host.empty() && entry.host.back() == '.') entry.host.pop_back();
    entry.port = ntohs(port_network);
    if (!params_from_txt_record(txt, txt_length, &entry.params, &p_state->error)) {
        p_state->resolve_failed = true;
        return;
    }
    p_state->entry = entry;
    p_state->resolved = true;
}

// Runs the callbacks of `ref` until done() holds, the deadline passes or the pipe is signalled.
dnssd_lookup_e pump(DNSServiceRef ref, const wake_pipe_t& wake, std::chrono::steady_clock::time_point deadline,
                    const std::function<bool()>& done) {
    while (!done()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        if (left <= 0) return dnssd_lookup_e::not_found;
        switch (wait_for_fd(DNSServiceRefSockFD(ref), false, wake, int(left))) {
            case wait_e::woken:
                return dnssd_lookup_e::woken;
            case wait_e::timeout:
                return dnssd_lookup_e::not_found;
            case wait_e::ready:
                if (DNSServiceProcessResult(ref) != kDNSServiceErr_NoError) return dnssd_lookup_e::not_found;
                break;
        }
    }
    return dnssd_lookup_e::found;
}

void quiet_compat_layer_warning() {
#ifndef __APPLE__
    // Avahi's compatibility layer prints a warning to stderr in every process that uses it. The
    // environment is the host process's and not safe to change while other threads read it, so it
    // is changed once per process, not on every lookup.
    static std::once_flag once;
    std::call_once(once, [] { setenv("AVAHI_COMPAT_NOWARN", "1", 0); });
#endif
}

class registered_service_t : public dnssd_publication_t {
public:
    dnssd_registration_e update() override {
        while (m_state == dnssd_registration_e::pending) {
            pollfd answer = {DNSServiceRefSockFD(m_service.ref), POLLIN, 0};
            if (poll(&answer, 1, 0) <= 0) break;
            if (DNSServiceProcessResult(m_service.ref) != kDNSServiceErr_NoError)
                m_state = dnssd_registration_e::failed;
        }
        return m_state;
    }
    const std::string& published_name() const override { return m_name; }

    static void DNSSD_API on_registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error, const char* name,
                                        const char*, const char*, void* context) {
        auto* p_self = static_cast<registered_service_t*>(context);
        if (error != kDNSServiceErr_NoError) {
            p_self->m_state = dnssd_registration_e::failed;
            return;
        }
        p_self->m_name = name;
        p_self->m_state = dnssd_registration_e::registered;
    }

    service_ref_t m_service;

private:
    dnssd_registration_e m_state = dnssd_registration_e::pending;
    std::string m_name;
};

}  // namespace

void log_no_dnssd_daemon_once() {
    static std::atomic<bool> said{false};
    if (!said.exchange(true)) lib_log("no DNS-SD daemon reachable: sources are looked up in the sources files alone");
}

bool params_from_txt_record(const unsigned char* p_txt, uint16_t length, video_params_t* p_params,
                            std::string* p_error) {
    std::vector<std::pair<std::string, std::string>> pairs;
    const uint16_t count = TXTRecordGetCount(length, p_txt);
    for (uint16_t i = 0; i < count; ++i) {
        char key[256];
        uint8_t value_length = 0;
        const void* value = nullptr;
        if (TXTRecordGetItemAtIndex(length, p_txt, i, sizeof key, key, &value_length, &value) != 0) continue;
        pairs.emplace_back(key, value ? std::string(static_cast<const char*>(value), value_length) : std::string());
    }
    return params_from_pairs(pairs, p_params, p_error);
}

dnssd_lookup_e dnssd_find_source(const std::string& name, const wake_pipe_t& wake, int timeout_ms,
                                 source_entry_t* p_entry) {
    quiet_compat_layer_warning();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    lookup_state_t state;
    state.wanted = name;
    service_ref_t browse;
    if (DNSServiceBrowse(&browse.ref, 0, kDNSServiceInterfaceIndexAny, zav_service_type, nullptr, on_browse, &state) !=
        kDNSServiceErr_NoError) {
        browse.ref = nullptr;
        return dnssd_lookup_e::no_daemon;
    }
    dnssd_lookup_e result = pump(browse.ref, wake, deadline, [&] { return state.seen; });
    if (result != dnssd_lookup_e::found) return result;
    service_ref_t resolve;
    if (DNSServiceResolve(&resolve.ref, 0, state.interface_index, name.c_str(), state.type.c_str(),
                          state.domain.c_str(), on_resolve, &state) != kDNSServiceErr_NoError) {
        resolve.ref = nullptr;
        return dnssd_lookup_e::not_found;
    }
    result = pump(resolve.ref, wake, deadline, [&] { return state.resolved || state.resolve_failed; });
    if (result != dnssd_lookup_e::found) return result;
    if (!state.resolved) {
        if (!state.error.empty())
            lib_log("source \"%s\" found through DNS-SD with bad format parameters: %s", name.c_str(),
                    state.error.c_str());
        return dnssd_lookup_e::not_found;
    }
    *p_entry = state.entry;
    return dnssd_lookup_e::found;
}

std::unique_ptr<dnssd_publication_t> dnssd_publish(const std::string& instance, uint16_t port,
                                                   const video_params_t& params) {
    quiet_compat_layer_warning();
    TXTRecordRef txt;
    TXTRecordCreate(&txt, 0, nullptr);
    for (const auto& [key, value] : params_to_pairs(params))
        TXTRecordSetValue(&txt, key.c_str(), uint8_t(value.size()), value.empty() ? nullptr : value.data());
    auto service = std::make_unique<registered_service_t>();
    const DNSServiceErrorType error =
        DNSServiceRegister(&service->m_service.ref, 0, kDNSServiceInterfaceIndexAny, instance.c_str(), zav_service_type,
                           nullptr, nullptr, htons(port), TXTRecordGetLength(&txt), TXTRecordGetBytesPtr(&txt),
                           registered_service_t::on_registered, service.get());
    TXTRecordDeallocate(&txt);
    if (error != kDNSServiceErr_NoError) {
        service->m_service.ref = nullptr;
        return nullptr;
    }
    return service;
}

}  // namespace Drivers::Mac::ZAV
