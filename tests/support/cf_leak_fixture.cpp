#include "cf_leak_fixture.h"

#include "syslog_capture.h"

#include <zav_platform/probe.h>

#include <sstream>

namespace zav_test {

namespace probe = zav_platform::probe;

void cf_leak_fixture_t::SetUp()
{
    probe::clear_failures();
    probe::clear_records();
    clear_log();
    m_live_at_start = probe::live_object_count();
}

void cf_leak_fixture_t::TearDown()
{
    probe::clear_failures();
    if (objects_created_since_start() == 0)
        return;
    std::ostringstream types;
    for (const auto& [name, count] : probe::live_objects_by_type())
        types << ' ' << name << '=' << count;
    ADD_FAILURE() << "Core Foundation objects alive after the test: " << probe::live_object_count() << " (at start "
                  << m_live_at_start << "); by type:" << types.str();
}

std::ptrdiff_t cf_leak_fixture_t::objects_created_since_start() const
{
    return std::ptrdiff_t(probe::live_object_count()) - std::ptrdiff_t(m_live_at_start);
}

}  // namespace zav_test
