#include "cf_leak_fixture.h"

#include "syslog_capture.h"

#include <zav_platform/inspection.h>

#include <sstream>

namespace zav_test {

namespace inspection = zav_platform::inspection;

void cf_leak_fixture_t::SetUp()
{
    inspection::clear_failures();
    inspection::clear_records();
    clear_log();
    m_live_at_start = inspection::live_object_count();
}

void cf_leak_fixture_t::TearDown()
{
    inspection::clear_failures();
    const std::size_t live = inspection::live_object_count();
    if (live != m_live_at_start) {
        std::ostringstream types;
        for (const auto& [name, count] : inspection::live_objects_by_type())
            types << ' ' << name << '=' << count;
        ADD_FAILURE() << "Core Foundation objects alive after the test: " << live << " (at start "
                      << m_live_at_start << "); by type:" << types.str();
    }
}

std::ptrdiff_t cf_leak_fixture_t::objects_created_since_start() const
{
    return static_cast<std::ptrdiff_t>(inspection::live_object_count()) -
           static_cast<std::ptrdiff_t>(m_live_at_start);
}

}  // namespace zav_test
