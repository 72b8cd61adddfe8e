// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/ThreadKit.h"
#include "velta/threads/MEngineThread.h"

#include <functional>
#include <utility>

/// An engine thread that runs whatever a test gives it.
class Engine final : public MEngineThread {
 public:
  explicit Engine(IThreadErrorHandler* handler = nullptr, bool windowMessages = false)
      : MEngineThread(handler, windowMessages) {}
  ~Engine() override { EndForDestruction(); }

  using MEngineThread::AddEvent;
  using MEngineThread::SignalThreadStarted;
  using MEngineThread::WaitForEvents;

  void On(const TestEvent& event, std::function<void()> action) {
    AddEvent(event.Handle(), new Callback(std::move(action)));
  }

  // Until a wait has seen the stop: the request alone may come while something else is served.
  void Loop() {
    stopSeen = false;
    SignalThreadStarted();
    while (!stopSeen) {
      static_cast<void>(WaitForEvents(INFINITE));
    }
  }

  std::function<void()> body = [this] { Loop(); };
  std::function<void()> flush = [] {};
  std::function<void()> stop = [] {};

 private:
  void ThreadFunction() override { body(); }
  void OnFlush() override { flush(); }
  void OnStop() override {
    stopSeen = true;
    stop();
  }

  bool stopSeen = false;
};
