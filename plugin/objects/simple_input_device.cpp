#include "objects/simple_input_device.h"

#include "host/property_helpers.h"
#include "host/string_utils.h"
#include "host/zav_log.h"

#include <exception>

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

constexpr const char* k_device_name = "ZAV Video";
constexpr const char* k_model_uid = "Mivora-ZAV-Virtual-Camera-Model-1";
// The same on every run and every machine, so that clients remember the camera.
constexpr const char* k_device_uid = "7D2E5B14-3C6A-4F08-9A1D-52E8B0C47F36";
// The virtual transport type ('virt').
constexpr UInt32 k_transport_type_virtual = 0x76697274;

// A new string for the caller, made only once the request has passed its checks.
OSStatus get_string_property(const char* text, UInt32 data_size, UInt32* data_used, void* data) {
    return get_property_helper<CFStringRef>(data_size, data_used, data, [text] { return create_string_ref(text); });
}

// Stores a 32-bit value written by the host and says whether it differs from the old one.
template <typename value_t>
OSStatus exchange_property(std::atomic<value_t>& member, UInt32 data_size, const void* data, bool& changed) {
    value_t value{};
    const OSStatus status = set_property_helper(data_size, data, value);
    if (status != kCMIOHardwareNoError) return status;
    changed = member.exchange(value) != value;
    return kCMIOHardwareNoError;
}

}  // namespace

simple_input_device_t::simple_input_device_t(CMIOHardwarePlugInRef plugin_ref)
    : cmio_object_t(kCMIODeviceClassID, plugin_ref) {
    cmio_object_create();
}

simple_input_device_t::~simple_input_device_t() {
    try {
        unpublish();
    } catch (...) {
        std::terminate();
    }
}

void simple_input_device_t::init_stream() {
    m_p_stream = std::make_shared<simple_input_stream_t>(this);
    m_p_stream->cmio_object_create();
    m_p_stream->publish();
    zav_log("Published input stream");
}

bool simple_input_device_t::is_own_stream(CMIOStreamID stream_id) const {
    return m_p_stream != nullptr && m_p_stream->get_object_id() == stream_id;
}

void simple_input_device_t::report_running_changed() {
    const address_t address = {kCMIODevicePropertyDeviceIsRunning, kCMIOObjectPropertyScopeGlobal,
                               kCMIOObjectPropertyElementMain};
    changed_properties(1, &address);
}

OSStatus simple_input_device_t::start_stream(CMIOStreamID stream_id) {
    if (m_running.load() != 0) {
        zav_log("simple_input_device_t::start_stream already running error");
        return kCMIOHardwareUnspecifiedError;
    }
    if (!is_own_stream(stream_id)) {
        zav_log("simple_input_device_t::start_stream unexpected error");
        return kCMIOHardwareBadStreamError;
    }
    m_p_stream->start();
    if (!m_p_stream->is_running()) {
        zav_log("simple_input_device_t::start_stream unable to start the stream error");
        return kCMIOHardwareNotRunningError;
    }
    m_running.exchange(1);
    report_running_changed();
    return kCMIOHardwareNoError;
}

OSStatus simple_input_device_t::stop_stream(CMIOStreamID stream_id) {
    if (m_running.load() == 0) {
        zav_log("simple_input_device_t::stop_stream already stopped error");
        return kCMIOHardwareUnspecifiedError;
    }
    if (!is_own_stream(stream_id)) {
        zav_log("simple_input_device_t::start_stream unexpected error");
        return kCMIOHardwareBadStreamError;
    }
    m_p_stream->stop();
    if (m_p_stream->is_running()) {
        zav_log("simple_input_device_t::stop_stream unable to stop the stream error");
        return kCMIOHardwareUnspecifiedError;
    }
    m_running.exchange(0);
    report_running_changed();
    return kCMIOHardwareNoError;
}

bool simple_input_device_t::copy_stream_buffer_queue(CMIOStreamID stream_id, CMIODeviceStreamQueueAlteredProc proc,
                                                     void* refcon, CMSimpleQueueRef* queue_out) {
    if (!is_own_stream(stream_id)) return false;
    return m_p_stream->copy_buffer_queue(proc, refcon, queue_out);
}

bool simple_input_device_t::has_property(const address_t& address, Boolean& is_settable) const {
    switch (address.mSelector) {
        case kCMIODevicePropertyDeviceMaster:
        case kCMIODevicePropertyExcludeNonDALAccess:
            is_settable = true;
            return true;
        case kCMIOObjectPropertyName:
        case kCMIODevicePropertyModelUID:
        case kCMIODevicePropertyDeviceUID:
        case kCMIODevicePropertyLinkedCoreAudioDeviceUID:
        case kCMIODevicePropertyLinkedAndSyncedCoreAudioDeviceUID:
        case kCMIODevicePropertyTransportType:
        case kCMIODevicePropertyDeviceIsAlive:
        case kCMIODevicePropertyDeviceIsRunning:
        case kCMIODevicePropertyDeviceIsRunningSomewhere:
        case kCMIODevicePropertyDeviceCanBeDefaultDevice:
        case kCMIODevicePropertyHogMode:
        case kCMIODevicePropertySuspendedByUser:
        case kCMIODevicePropertyStreams:
            is_settable = false;
            return true;
        default:
            return cmio_object_t::has_property(address, is_settable);
    }
}

OSStatus simple_input_device_t::get_property(const address_t& address, UInt32 qualifier_data_size,
                                             const void* qualifier_data, UInt32 data_size, UInt32* data_used,
                                             void* data) {
    switch (address.mSelector) {
        case kCMIOObjectPropertyName:
            return get_string_property(k_device_name, data_size, data_used, data);
        case kCMIODevicePropertyModelUID:
            return get_string_property(k_model_uid, data_size, data_used, data);
        case kCMIODevicePropertyDeviceUID:
            return get_string_property(k_device_uid, data_size, data_used, data);
        case kCMIODevicePropertyLinkedCoreAudioDeviceUID:
        case kCMIODevicePropertyLinkedAndSyncedCoreAudioDeviceUID:
            return get_string_property("", data_size, data_used, data);
        case kCMIODevicePropertyTransportType:
            return get_property_value<UInt32>(data_size, data_used, data, k_transport_type_virtual);
        case kCMIODevicePropertyDeviceIsAlive:
            return get_property_value<UInt32>(data_size, data_used, data, 1);
        case kCMIODevicePropertyDeviceIsRunning:
        case kCMIODevicePropertyDeviceIsRunningSomewhere:
            return get_property_value<UInt32>(data_size, data_used, data, m_running.load());
        case kCMIODevicePropertyDeviceCanBeDefaultDevice:
            return get_property_value<UInt32>(data_size, data_used, data,
                                              address.mScope == kCMIODevicePropertyScopeInput ? 1 : 0);
        case kCMIODevicePropertyHogMode:
            return get_property_value<pid_t>(data_size, data_used, data, -1);
        case kCMIODevicePropertySuspendedByUser:
            return get_property_value<UInt32>(data_size, data_used, data, 0);
        case kCMIODevicePropertyDeviceMaster:
            return get_property_value<int32_t>(data_size, data_used, data, m_device_master.load());
        case kCMIODevicePropertyExcludeNonDALAccess:
            return get_property_value<uint32_t>(data_size, data_used, data, m_exclude_non_dal_access.load());
        case kCMIODevicePropertyStreams:
            // Only the input scope lists the stream, and only once it exists in the host.
            if (address.mScope != kCMIODevicePropertyScopeInput || m_p_stream == nullptr ||
                m_p_stream->get_object_id() == 0) {
                if (data_used != nullptr) *data_used = 0;
                return kCMIOHardwareNoError;
            }
            return get_property_value<CMIOStreamID>(data_size, data_used, data, m_p_stream->get_object_id());
        default:
            return cmio_object_t::get_property(address, qualifier_data_size, qualifier_data, data_size, data_used,
                                               data);
    }
}

OSStatus simple_input_device_t::set_property(const address_t& address, UInt32 qualifier_data_size,
                                             const void* qualifier_data, UInt32 data_size, const void* data,
                                             bool& changed) {
    switch (address.mSelector) {
        case kCMIODevicePropertyDeviceMaster:
            return exchange_property(m_device_master, data_size, data, changed);
        case kCMIODevicePropertyExcludeNonDALAccess:
            return exchange_property(m_exclude_non_dal_access, data_size, data, changed);
        default:
            return cmio_object_t::set_property(address, qualifier_data_size, qualifier_data, data_size, data, changed);
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera
