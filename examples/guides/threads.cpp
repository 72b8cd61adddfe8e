// SPDX-License-Identifier: MIT
#include "velta/errors/Describe.h"
#include "velta/errors/IThreadErrorHandler.h"
#include "velta/errors/MException.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/threads/MCallbackFunctor.h"
#include "velta/threads/MEngineThread.h"
#include "velta/threads/MSchedulerThread.h"
#include "velta/threads/MThreadSafeFifo.h"

#include <cstdint>
#include <functional>
#include <iostream>
#include <latch>
#include <memory>
#include <utility>

namespace {

using Job = std::function<void()>;

constexpr std::uint32_t kNoLimit = 0xFFFFFFFF;

// Runs jobs from any threads on one thread of its own.
class Worker final : public MEngineThread {
 public:
  explicit Worker(IThreadErrorHandler* handler) : MEngineThread(handler, false) {
    AddEvent(jobs_.GetEvent(), new MCallbackFunctorImp<Worker>(this, &Worker::RunNext));
  }
  ~Worker() override {
    EndForDestruction();  // the thread uses the queue, which is destroyed before the base
    while (const std::unique_ptr<Job> job = Next()) {
    }
  }

  void Post(Job job) {
    auto owned = std::make_unique<Job>(std::move(job));
    jobs_.Push(owned.get());
    static_cast<void>(owned.release());
  }

 private:
  void ThreadFunction() override {
    if (MDiagnosticsRegistry* registry = MDiagnosticsRegistry::Instance()) {
      registry->RegisterThreadName(L"Worker");
    }
    SignalThreadStarted();
    while (!IsStopRequested()) {
      static_cast<void>(WaitForEvents(kNoLimit));
    }
  }

  void OnFlush() override {
    while (const std::unique_ptr<Job> job = Next()) {
      (*job)();
    }
  }

  void RunNext() {
    if (const std::unique_ptr<Job> job = Next()) {
      (*job)();
    }
  }

  std::unique_ptr<Job> Next() {
    Job* job = nullptr;
    static_cast<void>(jobs_.Pop(job));
    return std::unique_ptr<Job>(job);
  }

  MThreadSafeFifo<Job*, Job*> jobs_;
};

class Reporter final : public IThreadErrorHandler {
 public:
  void OnSpontaneousError(const MException& exception) override {
    std::wcout << L"the thread ended: " << Describe(exception) << L'\n';
  }
  void OnUnhandledException(std::uintptr_t) override {}
};

// The same with nothing but events and callbacks: no class derived from a thread.
class Mailbox {
 public:
  explicit Mailbox(std::latch& read) : read_(read), thread_(nullptr) {
    thread_.RegisterSchedulerEvent(letters_.GetEvent(),
                                   new MCallbackFunctorImp<Mailbox>(this, &Mailbox::OnLetter));
    thread_.Start();
  }
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  void Send(const wchar_t* letter) { letters_.Push(letter); }

 private:
  void OnLetter() {
    const wchar_t* letter = nullptr;
    if (!letters_.Pop(letter)) {
      return;
    }
    std::wcout << letter << L'\n';
    read_.count_down();
  }

  std::latch& read_;
  MThreadSafeFifo<const wchar_t*, const wchar_t*> letters_;
  MSchedulerThread thread_;  // last, so that it is destroyed first
};

void PrintCode(const wchar_t* when, const MException& exception) {
  // The entry is null if there was no memory for it.
  if (const MError* error = exception.GetError(0)) {
    std::wcout << when << error->GetCode() << L'\n';
  }
}

void PrintStopFailure(Worker& worker) {
  try {
    worker.Stop();
  } catch (const MException& exception) {
    PrintCode(L"from the thread itself: ", exception);
  }
}

}  // namespace

int main() {
  Reporter reporter;  // outlives the thread that reports to it
  Worker worker(&reporter);

  worker.Start();
  worker.Post([] { std::wcout << L"first job\n"; });
  worker.Post([] { std::wcout << L"second job\n"; });
  worker.Flush();  // returns when both have run
  worker.Post([&] { PrintStopFailure(worker); });
  worker.Flush();
  worker.Stop();

  worker.Start();  // the same object, a new thread
  worker.Post([] {
    static MFlowPoint point(L"Worker", L"Job");
    point.At(nullptr).Raise(L"Broken");
  });
  try {
    worker.Flush();
  } catch (const MException& exception) {
    PrintCode(L"flush: ", exception);
  }
  worker.Stop();
  std::wcout << (worker.IsRunning() ? L"running" : L"inactive") << L'\n';

  std::latch read(2);
  Mailbox mailbox(read);
  mailbox.Send(L"a letter");
  mailbox.Send(L"another");
  read.wait();
}
