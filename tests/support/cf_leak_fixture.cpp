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
    const std::size_t live = probe::live_object_count();
    if (live != m_live_at_start) {
        std::ostringstream types;
        for (const auto& [name, count] : probe::live_objects_by_type())
            types << ' ' << name << '=' << count;
        ADD_FAILURE() << "Core Foundation objects alive after the test: " << live << " (at start "
                      << m_live_at_start << "); by type:" << types.str();
    }
}

std::ptrdiff_t cf_leak_fixture_t::objects_created_since_start() const
{
    return static_cast<std::ptrdiff_t>(probe::live_object_count()) -
           static_cast<std::ptrdiff_t>(m_live_at_start);
}

}  // namespace zav_test
