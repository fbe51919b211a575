// The record side of the CoreMediaIO probe calls: the plug-in side adds to these lists
// as calls succeed; tests read them through zav_platform/probe.h.
#ifndef ZAV_PLATFORM_CMIO_RECORDS_H
#define ZAV_PLATFORM_CMIO_RECORDS_H

#include <zav_platform/probe.h>

namespace zav_platform::cmio_records {

void add_created_object(const probe::created_object_t& record);
void add_published_and_died(probe::published_and_died_t record);
void add_properties_changed(probe::properties_changed_t record);
void add_clock_created(probe::clock_created_t record);
void add_clock_event(const probe::clock_event_t& record);
void add_clock_invalidated(CFTypeRef clock);

}  // namespace zav_platform::cmio_records

#endif
