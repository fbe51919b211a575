// A client that takes every sample inside its queue-altered procedure, on the thread that
// delivered it, as some applications do. It never falls behind, however fast samples come (a
// capture thread that ran late catches up without sleeping), so no sample is ever refused by a
// full queue. It keeps what it saw of each sample and releases the sample at once.
#ifndef ZAV_TESTS_STRESS_ALTERED_PROC_CLIENT_H
#define ZAV_TESTS_STRESS_ALTERED_PROC_CLIENT_H

#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace zav_test::stress {

// What the client keeps of one sample.
struct seen_sample_t {
    uint64_t sequence_number = 0;
    uint32_t discontinuity = 0;
    OSType pixel_format = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    // Luma of the middle pixel for '2vuy', its blue for 'BGRA'.
    int middle_grey = -1;
};

class altered_proc_client_t {
public:
    // Asks `stream` for its queue with this client's procedure.
    explicit altered_proc_client_t(CMIOStreamID stream);
    // Hands the queue back and releases whatever is left in it.
    ~altered_proc_client_t();
    altered_proc_client_t(const altered_proc_client_t&) = delete;
    altered_proc_client_t& operator=(const altered_proc_client_t&) = delete;

    bool ready() const { return m_p_queue != nullptr; }
    std::vector<seen_sample_t> seen() const;
    // Waits until `done` holds for the samples seen so far; false at the deadline.
    bool wait_until(const std::function<bool(const std::vector<seen_sample_t>&)>& done,
                    std::chrono::milliseconds deadline);

private:
    static void queue_altered(CMIOObjectID stream, void* token, void* refcon);
    void take_all();

    CMIOStreamID m_stream;
    CMSimpleQueueRef m_p_queue = nullptr;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<seen_sample_t> m_seen;
};

}  // namespace zav_test::stress

#endif
