// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>
#include <sched.h>

/// Where the two threads of a hand-over run. Both are always measured: left alone, the scheduler
/// puts them on one core; kept on two, every blocking wake-up crosses between them.
enum class Placement { Free, TwoCores };

/// Binds the calling thread to one core; `core` -1 lets it run on any.
inline void BindThisThread(int core) {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  for (int i = 0; i < CPU_SETSIZE; ++i) {
    if (core < 0 || i == core) {
      CPU_SET(i, &cores);
    }
  }
  pthread_setaffinity_np(pthread_self(), sizeof cores, &cores);
}

inline void BindCaller(Placement placement) {
  BindThisThread(placement == Placement::TwoCores ? 0 : -1);
}
inline void BindWorker(Placement placement) {
  BindThisThread(placement == Placement::TwoCores ? 1 : -1);
}
