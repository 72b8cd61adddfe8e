// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

/// Ends the process with a message when its scope takes longer than the limit.
///
/// A test that waits for an event holds one, so that a lost wake-up fails fast and says where,
/// instead of hanging until the test runner gives up.
class Watchdog {
 public:
  /// @param what  what is being waited for; must outlive the watchdog
  explicit Watchdog(const char* what, std::chrono::seconds limit = std::chrono::seconds(60))
      : thread([this, what, limit] {
          std::unique_lock lock(mutex);
          started = true;
          done.notify_one();
          if (done.wait_for(lock, limit, [this] { return finished; })) {
            return;
          }
          std::fprintf(stderr, "Watchdog: no end of \"%s\" within %lld s\n", what,
                       static_cast<long long>(limit.count()));
          std::fflush(stderr);
          std::abort();
        }) {
    // A thread allocates and frees while it starts: tests that count must not see that.
    std::unique_lock lock(mutex);
    done.wait(lock, [this] { return started; });
  }

  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  ~Watchdog() {
    {
      const std::lock_guard lock(mutex);
      finished = true;
    }
    done.notify_one();
    thread.join();
  }

 private:
  std::mutex mutex;
  std::condition_variable done;
  bool started = false;
  bool finished = false;
  std::thread thread;  // last: it uses the others
};
