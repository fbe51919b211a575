// A fixture for tests that call the stream's frame fill directly: it owns the scratch block and
// the conversion cache the fill keeps between frames, frees them after each test, and then fails
// the test on leaked CF objects. Only targets that link the plug-in's objects can include it.
#ifndef ZAV_TESTS_SUPPORT_FRAME_FILL_FIXTURE_H
#define ZAV_TESTS_SUPPORT_FRAME_FILL_FIXTURE_H

#include "cf_leak_fixture.h"
#include "objects/simple_input_stream.h"

#include <cstdlib>

namespace zav_test {

class frame_fill_fixture_t : public cf_leak_fixture_t {
protected:
    void TearDown() override {
        if (m_cache.first != nullptr) CFRelease(m_cache.first);
        delete[] m_cache.second;
        std::free(m_scratch.first);
        cf_leak_fixture_t::TearDown();
    }

    Drivers::Mac::ZAV::VirtualCamera::simple_input_stream_t::scratch_t m_scratch{nullptr, 0};
    Drivers::Mac::ZAV::VirtualCamera::simple_input_stream_t::conversion_cache_t m_cache{nullptr, nullptr};
};

}  // namespace zav_test

#endif
