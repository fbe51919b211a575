// Absolute time (seconds since 2001-01-01 00:00:00 UTC) and CFDate.
#include <CoreFoundation/CFDate.h>

#include "cf_object.h"

#include <ctime>
#include <string>

using namespace zav_platform;

namespace {

class cf_date_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CFDate");
        return id;
    }
    explicit cf_date_t(CFAbsoluteTime at) : cf_object_t(class_type_id()), m_at(at) {}
    CFAbsoluteTime at() const { return m_at; }
    bool equal_to(const cf_object_t& other) const override { return m_at == static_cast<const cf_date_t&>(other).m_at; }
    CFHashCode hash() const override { return static_cast<CFHashCode>(static_cast<long long>(m_at)); }
    std::string description() const override { return std::to_string(m_at); }

private:
    const CFAbsoluteTime m_at;
};

const cf_date_t& date_of(CFDateRef ref) {
    const cf_date_t* date = cf_cast<cf_date_t>(ref);
    if (date == nullptr) cf_fatal("CFDate call with something that is not a date");
    return *date;
}

}  // namespace

const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) - kCFAbsoluteTimeIntervalSince1970 + static_cast<double>(now.tv_nsec) * 1e-9;
}

CFTypeID CFDateGetTypeID(void) {
    return cf_date_t::class_type_id();
}

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at) {
    return cf_ref<CFDateRef>(new cf_date_t(at));
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate) {
    return date_of(theDate).at();
}

CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate) {
    return date_of(theDate).at() - date_of(otherDate).at();
}

CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void*) {
    const double a = date_of(theDate).at();
    const double b = date_of(otherDate).at();
    return a < b ? kCFCompareLessThan : a > b ? kCFCompareGreaterThan : kCFCompareEqualTo;
}
