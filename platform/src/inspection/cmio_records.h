// The record side of the CoreMediaIO inspection calls: the plug-in side adds to these lists
// as calls succeed; tests read them through zav_platform/inspection.h.
#ifndef ZAV_PLATFORM_CMIO_RECORDS_H
#define ZAV_PLATFORM_CMIO_RECORDS_H

#include <zav_platform/inspection.h>

namespace zav_platform::cmio_records {

void add_created_object(const inspection::created_object_t& record);
void add_published_and_died(inspection::published_and_died_t record);
void add_properties_changed(inspection::properties_changed_t record);
void add_clock_created(inspection::clock_created_t record);
void add_clock_event(const inspection::clock_event_t& record);
void add_clock_invalidated(CFTypeRef clock);

}  // namespace zav_platform::cmio_records

#endif
