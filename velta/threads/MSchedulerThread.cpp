// SPDX-License-Identifier: MIT
#include "velta/threads/MSchedulerThread.h"

#include "velta/errors/GenericGuard.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/Win32.h"
#include "velta/threads/MCallbackFunctor.h"

#include <memory>

namespace {

const wchar_t ClassName[] = L"MSchedulerThread";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

MSchedulerThread::MSchedulerThread(IThreadErrorHandler* errorHandler)
    : MEngineThread(errorHandler, false) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
}

MSchedulerThread::~MSchedulerThread() {
  static MFlowPoint point(ClassName, L"~MSchedulerThread");
  point.At(this).LogDestruction();
  EndForDestruction();
}

void MSchedulerThread::RegisterSchedulerEvent(HANDLE event, MCallbackFunctor* callback) {
  static MFlowPoint point(ClassName, L"RegisterSchedulerEvent");
  point.At(this).LogTimingPoint(0, 0);

  std::unique_ptr<MCallbackFunctor> owned(callback);
  if (IsRunning()) {
    point.At(this).Raise(L"ThreadRunning");
  }
  AddEvent(event, owned.release());
}

void MSchedulerThread::ThreadFunction() {
  static MFlowPoint point(ClassName, L"ThreadFunction");
  const MFlowScope scope = point.At(this).OpenScope();
  if (MDiagnosticsRegistry* registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterThreadName(L"Scheduler thread");
  }

  Velta::Libraries::GenericGuard apartment(
      [] { static_cast<void>(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)); },
      [] { ::CoUninitialize(); });
  SignalThreadStarted();
  do {
    static_cast<void>(WaitForEvents(INFINITE));
  } while (!IsStopRequested());
  apartment.Run();
}
