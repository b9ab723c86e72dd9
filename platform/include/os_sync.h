#pragma once
// Mutual exclusion and events of the toolkit. The constructor flag of the
// toolkit (create locked / signalled) is accepted as false only.
#include <condition_variable>
#include <mutex>

class os_critical_section {
 public:
  explicit os_critical_section(bool locked = false) { (void)locked; }
  void lock() { m_mutex.lock(); }
  void unlock() { m_mutex.unlock(); }

 private:
  std::mutex m_mutex;
};

class os_mutex {
 public:
  explicit os_mutex(bool locked = false) { (void)locked; }
  void lock() { m_mutex.lock(); }
  void unlock() { m_mutex.unlock(); }

 private:
  std::mutex m_mutex;
};

// A manual-reset event: wait blocks until a post after the last reset; a post
// without a waiter stays set until reset.
class os_event_semaphore {
 public:
  explicit os_event_semaphore(bool posted = false) : m_posted(posted) {}
  void reset() {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_posted = false;
  }
  void post() {
    {
      std::lock_guard<std::mutex> guard(m_mutex);
      m_posted = true;
    }
    m_changed.notify_all();
  }
  void wait() {
    std::unique_lock<std::mutex> guard(m_mutex);
    m_changed.wait(guard, [this] { return m_posted; });
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_posted;  // guarded by m_mutex
};
