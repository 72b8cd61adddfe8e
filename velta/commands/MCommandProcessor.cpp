// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"

#include "velta/errors/GenericGuard.h"
#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/threads/internal/Events.h"
#include "velta/threads/internal/Waits.h"

#include <atomic>
#include <memory>
#include <new>
#include <utility>

using namespace Velta::Platform;
using namespace Velta::Threads;

namespace {

const wchar_t ClassName[] = L"MCommandProcessor";
const Velta::Logging::ClassNameRegistration registration(ClassName);

void RunHook(const std::unique_ptr<MCallbackFunctor>& hook) {
  if (hook != nullptr) {
    (*hook)();
  }
}

}  // namespace

// What processor and callers use together. Every call holds a share of it from its begin on: once
// released, it touches nothing of the processor, which may be gone.
class MCommandProcessor::CommandQueue {
 public:
  explicit CommandQueue(MFlowPoint& point) : abortEvent_(MakeEvent(point, EventReset::kManual)) {}
  CommandQueue(const CommandQueue&) = delete;
  CommandQueue& operator=(const CommandQueue&) = delete;
  ~CommandQueue() { ::CloseHandle(abortEvent_); }

  HANDLE GetAbortEvent() const noexcept { return abortEvent_; }
  bool IsClosed() const noexcept { return closed_.load(std::memory_order_relaxed); }

  // Takes a caller's command, unless the queue is closed. @return whether it was taken
  [[nodiscard]] bool Offer(MCommand* command) { return commands.PushUnless(closed_, command); }

  // Refuses callers from now on, and then releases those who wait. Whoever empties the queue after
  // this finds every command whose caller was told that it never runs: no other follows.
  void Close() noexcept {
    closed_.store(true, std::memory_order_relaxed);  // the queue's lock orders it
    ::SetEvent(abortEvent_);
  }

  MThreadSafeFifo<MCommand*, MCommand*> commands;

 private:
  std::atomic<bool> closed_{false};
  HANDLE abortEvent_;
};

// The hooks are owned before anything can fail.
MCommandProcessor::MCommandProcessor(IThreadErrorHandler* errorHandler,
                                     MCallbackFunctor* threadStartHook,
                                     MCallbackFunctor* threadExitHook, MCallbackFunctor* idleHook,
                                     std::uint32_t idleTimeoutMs, bool processWindowMessages)
    : MCommandProcessor(errorHandler, std::unique_ptr<MCallbackFunctor>(threadStartHook),
                        std::unique_ptr<MCallbackFunctor>(threadExitHook),
                        std::unique_ptr<MCallbackFunctor>(idleHook), idleTimeoutMs,
                        processWindowMessages) {}

MCommandProcessor::MCommandProcessor(IThreadErrorHandler* errorHandler,
                                     std::unique_ptr<MCallbackFunctor> threadStartHook,
                                     std::unique_ptr<MCallbackFunctor> threadExitHook,
                                     std::unique_ptr<MCallbackFunctor> idleHook,
                                     std::uint32_t idleTimeoutMs, bool processWindowMessages)
    : MEngineThread(errorHandler, processWindowMessages),
      threadStartHook_(std::move(threadStartHook)),
      threadExitHook_(std::move(threadExitHook)),
      idleHook_(std::move(idleHook)),
      idleTimeoutMs_(idleTimeoutMs != 0 ? idleTimeoutMs : INFINITE) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();

  try {
    commandQueue_ = std::make_shared<CommandQueue>(point.At(this));
  } catch (const std::bad_alloc&) {
    MErrorOutOfMemory::Throw();
  }
  abortEvent_ = commandQueue_->GetAbortEvent();
  auto* const callback = new (std::nothrow)
      MCallbackFunctorImp<MCommandProcessor>(this, &MCommandProcessor::OnCommandQueued);
  if (callback == nullptr) {
    MErrorOutOfMemory::Throw();
  }
  AddEvent(commandQueue_->commands.GetEvent(), callback);
  SetEndedAction(&MCommandProcessor::AbortUnlessAborted);
}

MCommandProcessor::~MCommandProcessor() {
  static MFlowPoint point(ClassName, L"~MCommandProcessor");
  point.At(this).LogDestruction();
  EndForDestruction();  // first: the thread uses what goes now
  SetEndedAction(nullptr);
  commandQueue_->Close();  // a processor that never ran may still have callers
}

void MCommandProcessor::AbortUnlessAborted(MEngineThread& engine) {
  auto& self = static_cast<MCommandProcessor&>(engine);
  if (!self.commandQueue_->IsClosed()) {
    self.Abort();
  }
}

void MCommandProcessor::ExecuteSynchronously(std::unique_ptr<MCommandSynchronous>& command) {
  static MFlowPoint point(ClassName, L"ExecuteSynchronously");
  const MFlowScope scope = point.At(this).OpenScope();

  const std::shared_ptr<CommandQueue> queue = commandQueue_;
  if (IsAborted()) {
    point.At(this).Raise(L"ProcessorStopped");
  }
  if (command == nullptr) {
    return;
  }
  const HANDLE completionEvent =
      systemCalls.createEvent.load(std::memory_order_relaxed)(FALSE, FALSE);
  if (completionEvent == nullptr) {
    const DWORD lastError = ::GetLastError();  // first: nothing may run in between
    point.At(this).Raise(L"WaitFailed", L"winErrorCode", lastError);
  }
  command->completionEvent_ = completionEvent;
  const auto takeBack = [&command, completionEvent] {
    command->completionEvent_ = nullptr;
    ::CloseHandle(completionEvent);
  };
  bool taken = false;
  try {
    taken = queue->Offer(command.get());
  } catch (...) {
    takeBack();
    throw;
  }
  if (!taken) {  // stopped since the look above
    takeBack();
    point.At(this).Raise(L"ProcessorStopped");
  }
  static_cast<void>(command.release());

  const WaitOutcome outcome = WaitForAny({completionEvent, queue->GetAbortEvent()});
  ::CloseHandle(completionEvent);
  if (outcome.result == WAIT_OBJECT_0) {
    return;
  }
  if (outcome.result == WAIT_OBJECT_0 + 1) {
    point.At(this).Raise(L"CommandProcessingAborted");
  }
  // Unlike the engine thread's waits, this one tells neither the status of an abandoned handle nor
  // an unexpected result from a failed wait.
  if (outcome.result == WAIT_ABANDONED_0 || outcome.result == WAIT_ABANDONED_0 + 1) {
    point.At(this).Raise(L"Abandoned");
  }
  point.At(this).Raise(L"WaitFailed", L"winErrorCode", outcome.lastError);
}

bool MCommandProcessor::IsAborted() const {
  static MFlowPoint point(ClassName, L"IsAborted");
  const WaitOutcome outcome = WaitForOne(abortEvent_, 0);
  if (outcome.result != WAIT_OBJECT_0 && outcome.result != WAIT_TIMEOUT) {
    point.At(this).Raise(L"ErrorAccessingEvent", L"winErrorCode", outcome.lastError);
  }
  return outcome.result == WAIT_OBJECT_0;
}

void MCommandProcessor::Abort() {
  static MFlowPoint point(ClassName, L"Abort");
  point.At(this).LogTimingPoint(0, 0);
  commandQueue_->Close();
  while (PopCommand() != nullptr) {
  }
}

MThreadSafeFifoInput<MCommand*, MCommand*>& MCommandProcessor::GetCommandInput() noexcept {
  return commandQueue_->commands;
}

std::unique_ptr<MCommand> MCommandProcessor::PopCommand() {
  MCommand* command = nullptr;
  static_cast<void>(commandQueue_->commands.Pop(command));
  return std::unique_ptr<MCommand>(command);
}

void MCommandProcessor::OnCommandQueued() {
  if (const std::unique_ptr<MCommand> command = PopCommand()) {
    command->ExecuteGenericCommand();
  }
}

void MCommandProcessor::OnFlush() {
  static MFlowPoint point(ClassName, L"OnFlush");
  const MFlowScope scope = point.At(this).OpenScope();
  while (!commandQueue_->commands.IsEmpty()) {
    OnCommandQueued();
  }
}

void MCommandProcessor::OnStop() {
  static MFlowPoint point(ClassName, L"OnStop");
  const MFlowScope scope = point.At(this).OpenScope();
  stopServed_ = true;
  try {
    OnFlush();
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
  }
  Abort();
}

void MCommandProcessor::ThreadFunction() {
  static MFlowPoint point(ClassName, L"ThreadFunction");
  const MFlowScope scope = point.At(this).OpenScope();
  if (MDiagnosticsRegistry* registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterThreadName(L"Command processor thread");
  }

  stopServed_ = false;
  Velta::Libraries::GenericGuard hooks([this] { RunHook(threadStartHook_); },
                                       [this] { RunHook(threadExitHook_); });
  SignalThreadStarted();
  do {
    if (!WaitForEvents(idleTimeoutMs_)) {
      try {
        RunHook(idleHook_);
      } catch (const MException& exception) {
        point.At(this).LogDismissedError(exception);
      }
    }
  } while (!IsStopRequested());
  if (!stopServed_) {
    OnStopWrapper();  // the request came while something else ran: no wait has seen it
  }
  hooks.Run();
}
