// What a test can see of the platform layer that a real system would not show: live Core
// Foundation objects (leak checks), the CoreMediaIO calls plug-ins made, and switches that make
// chosen platform calls fail so that error paths can be exercised. Not an Apple header; only
// non-Apple builds have it.
#ifndef ZAV_PLATFORM_PROBE_H
#define ZAV_PLATFORM_PROBE_H

#include <CoreFoundation/CoreFoundation.h>
#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace zav_platform::probe {

// ---- Core Foundation objects -------------------------------------------------------------

// Number of live (created and not yet freed) Core Foundation objects of every type, constant
// objects (CFSTR strings, kCFBooleanTrue, constant UUIDs, ...) excluded.
std::size_t live_object_count();
// The same for one type id (CFStringGetTypeID(), CVPixelBufferGetTypeID(), ...).
std::size_t live_object_count(CFTypeID type_id);
// Live objects by type name ("CFString", "CVPixelBuffer", ...), types with none left out.
std::map<std::string, std::size_t> live_objects_by_type();

// ---- Failure switches ----------------------------------------------------------------------

// A platform call that tests can make fail.
enum class failing_call_t {
    pixel_buffer_create,         // CVPixelBufferCreate
    pixel_buffer_pool_create,    // CVPixelBufferPoolCreate
    pool_create_pixel_buffer,    // CVPixelBufferPoolCreatePixelBuffer
    simple_queue_create,         // CMSimpleQueueCreate
    format_description_create,   // CMVideoFormatDescriptionCreate and ...ForImageBuffer
    object_create,               // CMIOObjectCreate
    objects_published_and_died,  // CMIOObjectsPublishedAndDied
    properties_changed,          // CMIOObjectPropertiesChanged
    stream_clock_create,         // CMIOStreamClockCreate
};

// From now on `call` fails with `status` (its output left untouched or null, as the real call
// leaves it on failure) until cleared. A status of 0 clears the switch.
void set_failure(failing_call_t call, OSStatus status);
// Clears every failure switch.
void clear_failures();

// ---- CoreMediaIO calls made by plug-ins -----------------------------------------------------

struct created_object_t {
    CMIOObjectID object_id;
    CMIOClassID class_id;
    CMIOObjectID owner_id;
};

struct published_and_died_t {
    CMIOObjectID owner_id;
    std::vector<CMIOObjectID> published;
    std::vector<CMIOObjectID> died;
};

struct properties_changed_t {
    CMIOObjectID object_id;
    std::vector<CMIOObjectPropertyAddress> addresses;
};

struct clock_created_t {
    CFTypeRef clock;  // not retained: compare by address only
    std::string name;
    CMTime resolution;
    UInt32 events_for_rate_smoothing;
    UInt32 averages_for_rate_smoothing;
    const void* source_identifier;
};

struct clock_event_t {
    CFTypeRef clock;  // not retained
    CMTime event_time;
    UInt64 host_time;
    Boolean resynchronize;
};

// Successful calls only, in the order they were made (failed calls and calls refused by a
// failure switch are not recorded).
std::vector<created_object_t> created_objects();
std::vector<published_and_died_t> published_and_died();
std::vector<properties_changed_t> properties_changed();
std::vector<clock_created_t> clocks_created();
std::vector<clock_event_t> clock_events();
std::vector<CFTypeRef> clocks_invalidated();  // not retained

// Forgets every record above (objects, clocks and switches are not touched).
void clear_records();

// ---- The DAL system -------------------------------------------------------------------------

// Tears down and releases every plug-in the DAL system loaded, closes their executables and
// forgets their objects, all property listeners and the system object's settings, so that the
// next client call loads plug-ins afresh from the search folders as they are then (for
// example after CMIO_DAL_PLUGIN_PATH changed). Only while no other thread uses CoreMediaIO.
void unload_plug_ins();

}  // namespace zav_platform::probe

#endif
