// Threads that do something together, again and again.
//
//   Crew crew(4);
//   for (int round = 0; round < 100; ++round) {
//     ChangeTheTree();                               // nobody else is at work now
//     crew.Run([&](int worker) { ReadTheTree(); });  // all four, starting together
//   }
//
// Run() hands the same job to all threads, lets none begin before all are ready, and
// returns when all have finished.  What was written before Run() is seen by the job, and
// what the job wrote is seen behind it.  GoogleTest's assertions may be used in a job.

#ifndef TREE_TESTS_THREAD_CREW_H
#define TREE_TESTS_THREAD_CREW_H

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

class Crew {
 public:
  explicit Crew(int workers) {
    for (int i = 0; i < workers; ++i) {
      m_threads.emplace_back([this, i] { Work(i); });
    }
  }

  // Waits for the threads to end.
  ~Crew() {
    {
      std::lock_guard<std::mutex> guard(m_mutex);
      m_closing = true;
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads) thread.join();
  }

  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  int size() const { return static_cast<int>(m_threads.size()); }

  void Run(const std::function<void(int)>& job) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_job = &job;
    m_at_the_gate.store(0, std::memory_order_relaxed);
    m_busy = size();
    ++m_round;
    m_changed.notify_all();
    m_changed.wait(lock, [&] { return m_busy == 0; });
  }

 private:
  void Work(int worker) {
    for (int seen = 0;;) {
      const std::function<void(int)>* job = nullptr;
      {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return m_closing || m_round != seen; });
        if (m_round == seen) return;
        seen = m_round;
        job = m_job;
      }
      // Being woken takes longer than many a job, so all meet once more.
      m_at_the_gate.fetch_add(1, std::memory_order_relaxed);
      while (m_at_the_gate.load(std::memory_order_relaxed) < size()) std::this_thread::yield();
      (*job)(worker);
      {
        std::lock_guard<std::mutex> guard(m_mutex);
        --m_busy;
      }
      m_changed.notify_all();
    }
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  const std::function<void(int)>* m_job = nullptr;
  int m_round = 0;
  int m_busy = 0;
  bool m_closing = false;
  std::atomic<int> m_at_the_gate{0};
  std::vector<std::thread> m_threads;
};

#endif  // TREE_TESTS_THREAD_CREW_H
