// The virtual camera clients list and open: one device that owns one input stream and carries
// out the host's start, stop and buffer-queue requests for it.
#ifndef ZAV_PLUGIN_OBJECTS_SIMPLE_INPUT_DEVICE_H
#define ZAV_PLUGIN_OBJECTS_SIMPLE_INPUT_DEVICE_H

#include "host/cmio_object.h"
#include "objects/simple_input_stream.h"

#include <atomic>
#include <memory>

namespace Drivers::Mac::ZAV::VirtualCamera {

class simple_input_device_t : public cmio_object_t {
public:
    // Creates the device's id in the host; publishing it is the plug-in's step.
    explicit simple_input_device_t(CMIOHardwarePlugInRef plugin_ref);
    // Withdraws the device from the host, then lets its stream go.
    ~simple_input_device_t() override;

    OSStatus set_property(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                          UInt32 data_size, const void* data, bool& changed) override;
    bool has_property(const address_t& address, Boolean& is_settable) const override;
    OSStatus get_property(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                          UInt32 data_size, UInt32* data_used, void* data) override;
    using cmio_object_t::has_property;

    // Makes, creates and publishes the device's stream (replacing any earlier one).
    void init_stream();
    OSStatus start_stream(CMIOStreamID stream_id);
    OSStatus stop_stream(CMIOStreamID stream_id);
    // False, touching nothing, for any id but the stream's.
    bool copy_stream_buffer_queue(CMIOStreamID stream_id, CMIODeviceStreamQueueAlteredProc proc, void* refcon,
                                  CMSimpleQueueRef* queue_out);

    const std::shared_ptr<simple_input_stream_t>& get_stream() const { return m_p_stream; }

private:
    // Process id of the client holding device mastership; -1 for none.
    std::atomic<int32_t> m_device_master{-1};
    std::atomic<uint32_t> m_exclude_non_dal_access{0};
    // 1 while the stream has been started through this device.
    std::atomic<uint32_t> m_running{0};
    std::shared_ptr<simple_input_stream_t> m_p_stream;

    bool is_own_stream(CMIOStreamID stream_id) const;
    void report_running_changed();
};

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#endif
