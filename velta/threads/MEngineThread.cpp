// SPDX-License-Identifier: MIT
#include "velta/threads/MEngineThread.h"

#include "velta/errors/GenericGuard.h"
#include "velta/errors/IThreadErrorHandler.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/Assert.h"
#include "velta/threads/MCallbackFunctor.h"
#include "velta/threads/internal/Events.h"
#include "velta/threads/internal/Waits.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <new>

using Velta::Libraries::GenericGuard;
using namespace Velta::Platform;
using namespace Velta::Threads;

namespace {

const wchar_t ClassName[] = L"MEngineThread";
const Velta::Logging::ClassNameRegistration registration(ClassName);

// The engine whose body this thread runs. The id alone does not tell: the system gives a dead
// thread's id to a new one.
constinit thread_local const MEngineThread* engineOfThisThread = nullptr;

void RegisterStateNames() noexcept {
  if (MDiagnosticsRegistry* registry = MDiagnosticsRegistry::Instance()) {
    const wchar_t* const names[] = {L"Inactive", L"Starting", L"Running", L"Stopping"};
    for (std::uint32_t state = 0; state < 4; ++state) {
      registry->RegisterStateName(ClassName, state, names[state]);
    }
  }
}

}  // namespace

// A control operation under way. Its end is the operation's last touch of the object: whoever
// destroys the object waits for it.
class MEngineThread::ControlCall {
 public:
  explicit ControlCall(MEngineThread& engine) noexcept : calls_(engine.controlCalls_) {
    calls_.fetch_add(1, std::memory_order_relaxed);
  }
  ControlCall(const ControlCall&) = delete;
  ControlCall& operator=(const ControlCall&) = delete;
  ~ControlCall() { calls_.fetch_sub(1, std::memory_order_release); }

 private:
  std::atomic<std::uint32_t>& calls_;
};

MEngineThread::MEngineThread(IThreadErrorHandler* errorHandler, bool processWindowMessages)
    : threadErrorHandler_(errorHandler), processWindowMessages_(processWindowMessages) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  try {
    RegisterBuiltInEvents(point);
  } catch (...) {
    DestroyEvents();
    throw;
  }
  RegisterStateNames();
}

void MEngineThread::RegisterBuiltInEvents(MFlowPoint& point) {
  try {
    waitableHandles_.reserve(MAXIMUM_WAIT_OBJECTS);
    callbacks_.reserve(MAXIMUM_WAIT_OBJECTS);
  } catch (const std::bad_alloc&) {
    MErrorOutOfMemory::Throw();
  }
  flushRequestEvent_ = MakeEvent(point.At(this), EventReset::kAutomatic);
  stopEvent_ = MakeEvent(point.At(this), EventReset::kManual);
  threadStartedEvent_ = MakeEvent(point.At(this), EventReset::kAutomatic);
  flushDoneEvent_ = MakeEvent(point.At(this), EventReset::kAutomatic);
  restartEvent_ = MakeEvent(point.At(this), EventReset::kAutomatic);

  // The order gives the indices 0 to 2, and so the priority of flush over stop over restart.
  struct BuiltIn {
    HANDLE event;
    void (MEngineThread::*operation)();
  };
  const BuiltIn builtIns[] = {{flushRequestEvent_, &MEngineThread::OnFlushWrapper},
                              {stopEvent_, &MEngineThread::OnStopWrapper},
                              {restartEvent_, &MEngineThread::OnRestartEventLoop}};
  for (const BuiltIn& builtIn : builtIns) {
    auto* callback = new (std::nothrow) MCallbackFunctorImp<MEngineThread>(this, builtIn.operation);
    if (callback == nullptr) {
      MErrorOutOfMemory::Throw();
    }
    AddEvent(builtIn.event, callback);
  }
}

MEngineThread::~MEngineThread() {
  static MFlowPoint point(ClassName, L"~MEngineThread");
  point.At(this).LogDestruction();
  EndForDestruction();
  CloseThread();  // still held when a stop failed half-way
  DestroyEvents();
}

void MEngineThread::EndForDestruction() noexcept {
  ForceStop();
  // Hardly ever: the others are on their way out, or one of them is stopping the thread.
  while (controlCalls_.load(std::memory_order_acquire) != 0) {
    ::Sleep(1);
  }
}

void MEngineThread::DestroyEvents() noexcept {
  for (const MCallbackFunctor* callback : callbacks_) {
    delete callback;
  }
  for (const HANDLE event :
       {flushDoneEvent_, threadStartedEvent_, stopEvent_, flushRequestEvent_, restartEvent_}) {
    if (event != nullptr) {
      ::CloseHandle(event);
    }
  }
}

void MEngineThread::Start() {
  static MFlowPoint point(ClassName, L"Start");
  const ControlCall call(*this);
  const MFlowScope scope = point.At(this).OpenScope();
  if (IsOnEngineThread()) {
    point.At(this).Raise(L"AlreadyRunning");  // without the lock, as in Stop
  }
  const MMutexGuard lock(controlMutex_);

  if (IsRunning()) {
    point.At(this).Raise(L"AlreadyRunning");
  }
  ::ResetEvent(restartEvent_);
  ::ResetEvent(stopEvent_);
  // What an earlier thread left unanswered must not answer this one's start or flush.
  ::ResetEvent(threadStartedEvent_);
  ::ResetEvent(flushRequestEvent_);
  ::ResetEvent(flushDoneEvent_);

  CreateThread(point);
  ChangeState(State::Starting);
  GenericGuard backToInactive([this] { ForceStop(); });

  const WaitOutcome outcome = WaitForAny({threadStartedEvent_, threadHandle_});
  if (outcome.result == WAIT_OBJECT_0) {
    backToInactive.Dismiss();
    ChangeState(State::Running);
    return;
  }
  if (outcome.result == WAIT_OBJECT_0 + 1) {
    point.At(this).Raise(L"ThreadExitedUnexpectedly");
  }
  RaiseWaitError(point.At(this), outcome, 2, AbandonedError::kWithStatus);
}

void MEngineThread::CreateThread(MFlowPoint& point) {
  const std::uintptr_t created = systemCalls.beginThread.load(std::memory_order_relaxed)(
      &MEngineThread::RunThread, this, nullptr);
  if (created == 0) {
    const int error = errno;  // first: logging may set it
    MError beginThread = point.At(this).MakeRootError(L"BeginThread");
    beginThread.AddParameter(L"errno", static_cast<std::int32_t>(error));
    point.Throw(beginThread);
  }
  threadHandle_ = reinterpret_cast<HANDLE>(created);
  ++startCount_;
}

unsigned MEngineThread::RunThread(void* argument) {
  auto* const self = static_cast<MEngineThread*>(argument);
  // Both by the thread itself: its body may ask before its starter could store the id.
  engineOfThisThread = self;
  self->threadId_.store(::GetCurrentThreadId(), std::memory_order_relaxed);  // it alone trusts it
  try {
    self->ThreadFunction();
  } catch (const MException& exception) {
    if (self->threadErrorHandler_ != nullptr) {
      self->threadErrorHandler_->OnSpontaneousError(exception);
    } else {
      static MFlowPoint point(ClassName, L"ThreadFunction");
      point.At(self).LogDismissedError(exception);
    }
  }
  // From here on the object may be gone: when a start or a stop failed, nobody waits for the end.
  return 0;
}

void MEngineThread::Stop() {
  static MFlowPoint point(ClassName, L"Stop");
  const ControlCall call(*this);
  const MFlowScope scope = point.At(this).OpenScope();
  // Answered before the lock is asked for: whoever holds it may be waiting for this very thread.
  if (IsOnEngineThread()) {
    if (IsStopRequested()) {
      return;
    }
    point.At(this).Raise(L"CannotStopSelf");
  }
  MMutexGuard lock(controlMutex_);

  if (!IsRunning() || IsStopRequested()) {
    return;
  }
  ChangeState(State::Stopping);
  ::SetEvent(stopEvent_);
  const HANDLE thread = threadHandle_;
  lock.Unlock();  // the thread may still be flushed or asked meanwhile

  const WaitOutcome outcome = WaitForOne(thread, INFINITE);
  if (outcome.result != WAIT_OBJECT_0) {
    RaiseWaitError(point.At(this), outcome, 1, AbandonedError::kWithoutStatus);
  }
  VELTA_ASSERT(state_.load(std::memory_order_relaxed) == State::Stopping);
  RunEndedAction();  // before "Inactive": no start may come in between
  // Under the lock again: a flush may still wait on the handle, and a start that sees "Inactive"
  // makes a new one.
  const MMutexGuard closing(controlMutex_);
  ChangeState(State::Inactive);
  CloseThread();
}

void MEngineThread::Flush() {
  static MFlowPoint point(ClassName, L"Flush");
  const ControlCall call(*this);
  const MFlowScope scope = point.At(this).OpenScope();
  if (IsOnEngineThread()) {
    point.At(this).Raise(L"CannotFlushSelf");  // without the lock, as in Stop
  }
  const MMutexGuard lock(controlMutex_);

  if (!IsRunning()) {
    return;
  }
  ::SetEvent(flushRequestEvent_);

  const WaitOutcome outcome = WaitForAny({flushDoneEvent_, threadHandle_});
  if (outcome.result == WAIT_OBJECT_0) {
    return;
  }
  if (outcome.result == WAIT_OBJECT_0 + 1) {
    point.At(this).Raise(L"ThreadExitedUnexpectedly");
  }
  RaiseWaitError(point.At(this), outcome, 2, AbandonedError::kWithStatus);
}

void MEngineThread::ForceStop() {
  static MFlowPoint point(ClassName, L"ForceStop");
  const ControlCall call(*this);
  point.At(this).LogTimingPoint(0, 0);
  // Looked at before the lock is asked for: the caller may be the thread for which a flush waits
  // under the lock.
  if (!IsRunning() || IsStopRequested()) {
    return;
  }

  // The lock makes this wait for a start in progress; a start that fails holds it itself.
  MMutexGuard lock(controlMutex_);
  if (!IsRunning() || IsStopRequested()) {
    return;
  }
  const std::uint32_t run = startCount_;
  bool stopFailed = false;
  if (state_.load(std::memory_order_relaxed) == State::Running) {
    lock.Unlock();
    try {
      Stop();
    } catch (const MException& exception) {
      point.At(this).LogDismissedError(exception);
      stopFailed = true;
    } catch (const std::bad_alloc&) {  // no memory for that error; destructors rely on this
      point.At(this).LogDismissedError(MErrorOutOfMemory());
      stopFailed = true;
    }
  }
  const MMutexGuard closing(controlMutex_);
  const bool stoppedElsewhere =
      state_.load(std::memory_order_relaxed) == State::Stopping && !stopFailed;
  if (run != startCount_ || stoppedElsewhere) {
    return;  // another thread has started it again, or is waiting for its end: not ours to close
  }
  if (stopFailed && WaitForOne(threadHandle_, 0).result == WAIT_OBJECT_0) {
    RunEndedAction();
  }
  ChangeState(State::Inactive);
  CloseThread();
}

void MEngineThread::RunEndedAction() {
  if (endedAction_ != nullptr) {
    endedAction_(*this);
  }
}

void MEngineThread::CloseThread() noexcept {
  if (threadHandle_ != nullptr) {
    ::CloseHandle(threadHandle_);
    threadHandle_ = nullptr;
  }
  threadId_.store(0, std::memory_order_relaxed);
}

bool MEngineThread::IsOnEngineThread() const noexcept {
  return engineOfThisThread == this &&
         threadId_.load(std::memory_order_relaxed) == ::GetCurrentThreadId();
}

bool MEngineThread::IsRunning() const noexcept {
  return state_.load(std::memory_order_acquire) != State::Inactive;
}

bool MEngineThread::IsStopRequested() const noexcept {
  return ::WaitForSingleObject(stopEvent_, 0) == WAIT_OBJECT_0;
}

void MEngineThread::AddEvent(HANDLE event, MCallbackFunctor* callback) {
  static MFlowPoint point(ClassName, L"AddEvent");
  point.At(this).LogTimingPoint(0, 0);

  std::unique_ptr<MCallbackFunctor> owned(callback);
  if (waitableHandles_.size() >= MAXIMUM_WAIT_OBJECTS) {
    point.At(this).Raise(L"TooManyWaitableEvents");
  }
  VELTA_ASSERT(waitableHandles_.capacity() >= MAXIMUM_WAIT_OBJECTS &&
               callbacks_.capacity() >= MAXIMUM_WAIT_OBJECTS &&
               callbacks_.size() == waitableHandles_.size());
  waitableHandles_.push_back(event);  // both have the room
  callbacks_.push_back(owned.release());
  ::SetEvent(restartEvent_);
}

bool MEngineThread::WaitForEvents(std::uint32_t timeoutMs) {
  static MFlowPoint point(ClassName, L"WaitForEvents");
  point.At(this).LogTimingPoint(0, 0);

  const auto count = static_cast<DWORD>(waitableHandles_.size());
  const SystemCalls::WaitForMultiple wait =
      (processWindowMessages_ ? systemCalls.waitForAnyOrInput : systemCalls.waitForAny)
          .load(std::memory_order_relaxed);

  const WaitOutcome outcome = ObserveWait(wait(count, waitableHandles_.data(), timeoutMs));
  if (outcome.result < WAIT_OBJECT_0 + count) {
    (*callbacks_[outcome.result - WAIT_OBJECT_0])();
    return true;
  }
  const bool inputWaits = processWindowMessages_ && outcome.result == WAIT_OBJECT_0 + count;
  if (outcome.result == WAIT_TIMEOUT || inputWaits) {
    return false;
  }
  RaiseWaitError(point.At(this), outcome, count, AbandonedError::kWithStatus);
}

void MEngineThread::SignalThreadStarted() {
  static MFlowPoint point(ClassName, L"SignalThreadStarted");
  point.At(this).LogTimingPoint(0, 0);
  ::SetEvent(threadStartedEvent_);
}

void MEngineThread::ChangeState(State newState) noexcept {
  static MFlowPoint point(ClassName, L"ChangeState");
  // Whoever sees "Inactive", with the lock or without, may read what the thread wrote, or destroy
  // the object: both come after all that was done before.
  state_.store(newState, std::memory_order_release);
  point.At(this).LogStateChange(static_cast<std::uint32_t>(newState), 0);
}

void MEngineThread::OnFlush() {}

void MEngineThread::OnStop() {}

void MEngineThread::OnFlushWrapper() {
  static MFlowPoint point(ClassName, L"OnFlushWrapper");
  const MFlowScope scope = point.At(this).OpenScope();
  OnFlush();
  ::SetEvent(flushDoneEvent_);
}

void MEngineThread::OnStopWrapper() {
  static MFlowPoint point(ClassName, L"OnStopWrapper");
  const MFlowScope scope = point.At(this).OpenScope();
  OnStop();
}

void MEngineThread::OnRestartEventLoop() {
  static MFlowPoint point(ClassName, L"OnRestartEventLoop");
  const MFlowScope scope = point.At(this).OpenScope();
}
