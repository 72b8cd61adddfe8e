// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"

#include "velta/errors/GenericGuard.h"
#include "velta/errors/MException.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/logging/internal/ClassNameRegistration.h"
#include "velta/threads/internal/Waits.h"

#include <new>
#include <utility>

namespace {

const wchar_t ClassName[] = L"MCommandProcessor";
const ClassNameRegistration registration(ClassName);

void RunHook(const std::unique_ptr<MCallbackFunctor>& hook) {
  if (hook != nullptr) {
    (*hook)();
  }
}

}  // namespace

// The hooks are owned before anything can fail.
MCommandProcessor::MCommandProcessor(IThreadErrorHandler* errorHandler, MCallbackFunctor* startHook,
                                     MCallbackFunctor* exitHook, MCallbackFunctor* whenIdle,
                                     std::uint32_t idleTimeout, bool withWindowMessages)
    : MCommandProcessor(errorHandler, std::unique_ptr<MCallbackFunctor>(startHook),
                        std::unique_ptr<MCallbackFunctor>(exitHook),
                        std::unique_ptr<MCallbackFunctor>(whenIdle), idleTimeout,
                        withWindowMessages) {}

MCommandProcessor::MCommandProcessor(IThreadErrorHandler* errorHandler,
                                     std::unique_ptr<MCallbackFunctor> startHook,
                                     std::unique_ptr<MCallbackFunctor> exitHook,
                                     std::unique_ptr<MCallbackFunctor> whenIdle,
                                     std::uint32_t idleTimeout, bool withWindowMessages)
    : MEngineThread(errorHandler, withWindowMessages),
      threadStartHook(std::move(startHook)),
      threadExitHook(std::move(exitHook)),
      idleHook(std::move(whenIdle)),
      idleTimeoutMs(idleTimeout != 0 ? idleTimeout : INFINITE),
      commandQueue(new(std::nothrow) CommandQueue),
      abortEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();

  Velta::Libraries::GenericGuard closeOnFailure([this] { ::CloseHandle(abortEvent); });
  auto* const callback = new (std::nothrow)
      MCallbackFunctorImp<MCommandProcessor>(this, &MCommandProcessor::OnCommandQueued);
  if (commandQueue == nullptr || callback == nullptr) {
    delete callback;
    MErrorOutOfMemory::Throw();
  }
  AddEvent(commandQueue->GetEvent(), callback);
  closeOnFailure.Dismiss();
}

MCommandProcessor::~MCommandProcessor() {
  static MFlowPoint point(ClassName, L"~MCommandProcessor");
  point.At(this).LogDestruction();
  ForceStop();  // first: the thread uses what goes now
  ::CloseHandle(abortEvent);
}

void MCommandProcessor::ExecuteSynchronously(std::unique_ptr<MCommandSynchronous>& command) {
  static MFlowPoint point(ClassName, L"ExecuteSynchronously");
  const MFlowScope scope = point.At(this).OpenScope();

  if (IsAborted()) {
    point.At(this).Raise(L"ProcessorStopped");
  }
  if (command == nullptr) {
    return;
  }
  const HANDLE completionEvent = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  command->completionEvent = completionEvent;
  try {
    commandQueue->Push(command.get());
  } catch (...) {
    ::CloseHandle(completionEvent);
    throw;
  }
  static_cast<void>(command.release());

  const WaitOutcome outcome = WaitForAny({completionEvent, abortEvent});
  ::CloseHandle(completionEvent);
  if (outcome.result == WAIT_OBJECT_0) {
    return;
  }
  if (outcome.result == WAIT_OBJECT_0 + 1) {
    // The push may have come after the thread emptied the queue for the last time.
    DiscardQueue();
    point.At(this).Raise(L"CommandProcessingAborted");
  }
  // Unlike the engine thread's waits, this one tells neither the status of an abandoned handle nor
  // an unexpected result from a failed wait.
  if (outcome.result == WAIT_ABANDONED_0 || outcome.result == WAIT_ABANDONED_0 + 1) {
    point.At(this).Raise(L"Abandoned");
  }
  point.At(this).Raise(L"WaitFailed", L"winErrorCode", outcome.lastError);
}

void MCommandProcessor::Stop() {
  MEngineThread::Stop();
  // A thread that has seen the stop request has aborted before it ended.
  if (!IsRunning() && IsStopRequested() && !IsAborted()) {
    Abort();
  }
}

bool MCommandProcessor::IsAborted() const {
  static MFlowPoint point(ClassName, L"IsAborted");
  const WaitOutcome outcome = WaitForOne(abortEvent, 0);
  if (outcome.result != WAIT_OBJECT_0 && outcome.result != WAIT_TIMEOUT) {
    point.At(this).Raise(L"ErrorAccessingEvent", L"winErrorCode", outcome.lastError);
  }
  return outcome.result == WAIT_OBJECT_0;
}

void MCommandProcessor::Abort() {
  static MFlowPoint point(ClassName, L"Abort");
  point.At(this).LogTimingPoint(0, 0);
  ::SetEvent(abortEvent);
  DiscardQueue();
}

void MCommandProcessor::DiscardQueue() {
  while (PopCommand() != nullptr) {
  }
}

std::unique_ptr<MCommand> MCommandProcessor::PopCommand() {
  MCommand* command = nullptr;
  static_cast<void>(commandQueue->Pop(command));
  return std::unique_ptr<MCommand>(command);
}

void MCommandProcessor::OnCommandQueued() {
  // The caller of one that was queued too late has been told that it never runs: a processor that
  // was started again must not run it either.
  const std::unique_ptr<MCommand> command = PopCommand();
  if (command != nullptr && !IsAborted()) {
    command->ExecuteGenericCommand();
  }
}

void MCommandProcessor::OnFlush() {
  static MFlowPoint point(ClassName, L"OnFlush");
  const MFlowScope scope = point.At(this).OpenScope();
  while (!commandQueue->IsEmpty()) {
    OnCommandQueued();
  }
}

void MCommandProcessor::OnStop() {
  static MFlowPoint point(ClassName, L"OnStop");
  const MFlowScope scope = point.At(this).OpenScope();
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

  Velta::Libraries::GenericGuard hooks([this] { RunHook(threadStartHook); },
                                       [this] { RunHook(threadExitHook); });
  SignalThreadStarted();
  do {
    if (!WaitForEvents(idleTimeoutMs)) {
      try {
        RunHook(idleHook);
      } catch (const MException& exception) {
        point.At(this).LogDismissedError(exception);
      }
    }
  } while (!IsStopRequested());
  if (!IsAborted()) {
    OnStopWrapper();  // the request came while something else ran: no wait has seen it
  }
  hooks.Run();
}
