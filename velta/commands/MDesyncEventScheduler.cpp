// SPDX-License-Identifier: MIT
#include "velta/commands/MDesyncEventScheduler.h"

#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/threads/MCallbackFunctor.h"

#include <memory>
#include <new>

namespace {

const wchar_t ClassName[] = L"MDesyncEventScheduler";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

MDesyncEventScheduler::MDesyncEventScheduler(IThreadErrorHandler* errorHandler)
    : schedulerThread_(errorHandler) {
  static MFlowPoint point(ClassName, ClassName);
  auto* const callback = new (std::nothrow)
      MCallbackFunctorImp<MDesyncEventScheduler>(this, &MDesyncEventScheduler::OnSchedulerEvent);
  if (callback == nullptr) {
    MErrorOutOfMemory::Throw();
  }
  schedulerThread_.RegisterSchedulerEvent(eventQueue_.GetEvent(), callback);
  point.At(this).LogConstruction();
}

MDesyncEventScheduler::~MDesyncEventScheduler() {
  static MFlowPoint point(ClassName, L"~MDesyncEventScheduler");
  point.At(this).LogDestruction();
  try {
    Disable();
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
    schedulerThread_.ForceStop();    // it uses the queue, which goes first
  } catch (const std::bad_alloc&) {  // no memory for that error
    point.At(this).LogDismissedError(MErrorOutOfMemory());
    schedulerThread_.ForceStop();
  }
}

void MDesyncEventScheduler::Enable() {
  static MFlowPoint point(ClassName, L"Enable");
  const MFlowScope scope = point.At(this).OpenScope();
  schedulerThread_.Start();
}

void MDesyncEventScheduler::Disable() {
  static MFlowPoint point(ClassName, L"Disable");
  const MFlowScope scope = point.At(this).OpenScope();
  schedulerThread_.Flush();
  schedulerThread_.Stop();
}

void MDesyncEventScheduler::ScheduleDesyncEvent(MDesyncEvent* event) {
  static MFlowPoint point(ClassName, L"ScheduleDesyncEvent");
  point.At(this).LogTimingPoint(0, 0);
  if (event == nullptr) {
    return;
  }
  std::unique_ptr<MDesyncEvent> owned(event);
  eventQueue_.Push(event);
  static_cast<void>(owned.release());
}

void MDesyncEventScheduler::OnSchedulerEvent() {
  static MFlowPoint point(ClassName, L"OnSchedulerEvent");
  while (const std::unique_ptr<MDesyncEvent> event = PopEvent()) {
    try {
      event->Fire();
    } catch (const MException& exception) {
      point.At(this).LogDismissedError(exception);
    }
  }
}

std::unique_ptr<MDesyncEvent> MDesyncEventScheduler::PopEvent() {
  MDesyncEvent* event = nullptr;
  static_cast<void>(eventQueue_.Pop(event));
  return std::unique_ptr<MDesyncEvent>(event);
}
