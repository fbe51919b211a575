#include "probe/cmio_records.h"

#include <mutex>
#include <utility>

namespace zav_platform {
namespace {

struct records_t {
    std::mutex mutex;
    std::vector<probe::created_object_t> created;
    std::vector<probe::published_and_died_t> published_and_died;
    std::vector<probe::properties_changed_t> properties_changed;
    std::vector<probe::clock_created_t> clocks_created;
    std::vector<probe::clock_event_t> clock_events;
    std::vector<CFTypeRef> clocks_invalidated;
};

records_t& records() {
    // Never destroyed: plug-in threads may still record while the process exits.
    static records_t* all = new records_t;
    return *all;
}

template <class T>
std::vector<T> copy_of(const std::vector<T>& list) {
    std::lock_guard<std::mutex> lock(records().mutex);
    return list;
}

}  // namespace

namespace cmio_records {

void add_created_object(const probe::created_object_t& record) {
    std::lock_guard<std::mutex> lock(records().mutex);
    records().created.push_back(record);
}

void add_published_and_died(probe::published_and_died_t record) {
    std::lock_guard<std::mutex> lock(records().mutex);
    records().published_and_died.push_back(std::move(record));
}

void add_properties_changed(probe::properties_changed_t record) {
    std::lock_guard<std::mutex> lock(records().mutex);
    records().properties_changed.push_back(std::move(record));
}

void add_clock_created(probe::clock_created_t record) {
    std::lock_guard<std::mutex> lock(records().mutex);
    records().clocks_created.push_back(std::move(record));
}

void add_clock_event(const probe::clock_event_t& record) {
    std::lock_guard<std::mutex> lock(records().mutex);
    records().clock_events.push_back(record);
}

void add_clock_invalidated(CFTypeRef clock) {
    std::lock_guard<std::mutex> lock(records().mutex);
    records().clocks_invalidated.push_back(clock);
}

}  // namespace cmio_records

namespace probe {

std::vector<created_object_t> created_objects() {
    return copy_of(records().created);
}
std::vector<published_and_died_t> published_and_died() {
    return copy_of(records().published_and_died);
}
std::vector<properties_changed_t> properties_changed() {
    return copy_of(records().properties_changed);
}
std::vector<clock_created_t> clocks_created() {
    return copy_of(records().clocks_created);
}
std::vector<clock_event_t> clock_events() {
    return copy_of(records().clock_events);
}
std::vector<CFTypeRef> clocks_invalidated() {
    return copy_of(records().clocks_invalidated);
}

void clear_records() {
    records_t& all = records();
    std::lock_guard<std::mutex> lock(all.mutex);
    all.created.clear();
    all.published_and_died.clear();
    all.properties_changed.clear();
    all.clocks_created.clear();
    all.clock_events.clear();
    all.clocks_invalidated.clear();
}

}  // namespace probe
}  // namespace zav_platform
