// A thread that calls one function over and over until it is stopped, as a busy client thread
// does; it counts its rounds. Stopping (or destroying) it joins the thread.
#ifndef ZAV_TESTS_STRESS_REPEATING_THREAD_H
#define ZAV_TESTS_STRESS_REPEATING_THREAD_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <thread>
#include <utility>

namespace zav_test::stress {

class repeating_thread_t {
public:
    explicit repeating_thread_t(std::function<void()> round)
        : m_round(std::move(round)), m_thread([this] {
              while (!m_stop.load()) {
                  m_round();
                  ++m_rounds;
              }
          }) {}
    ~repeating_thread_t() { stop(); }
    repeating_thread_t(const repeating_thread_t&) = delete;
    repeating_thread_t& operator=(const repeating_thread_t&) = delete;

    // Lets the current round finish and returns the number of rounds run.
    std::size_t stop() {
        m_stop.store(true);
        if (m_thread.joinable()) m_thread.join();
        return m_rounds.load();
    }
    std::size_t rounds() const { return m_rounds.load(); }

private:
    std::function<void()> m_round;
    std::atomic<bool> m_stop{false};
    std::atomic<std::size_t> m_rounds{0};
    std::thread m_thread;
};

}  // namespace zav_test::stress

#endif
