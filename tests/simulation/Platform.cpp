// SPDX-License-Identifier: MIT
// Events, waits, threads, critical sections and time over the scheduler. Outside of runs (static
// initialisers, the driver) there is one thread: calls there are served without it.
#include "Platform.h"

#include "Scheduler.h"
#include "velta/platform/internal/ThreadName.h"
#include "velta/platform/internal/Win32.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace Velta::Simulation;

namespace Velta::Posix {

constinit thread_local DWORD lastError = ERROR_SUCCESS;

}  // namespace Velta::Posix

namespace {

static_assert(Platform::kRefusal == static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));

struct ObjectWait;

/// An event or a thread.
struct Object {
  struct Node {
    ObjectWait* wait;
    DWORD index;
  };

  std::uint32_t number = 0;  // the n-th of its run; handles are never given again
  bool isManual = true;
  bool isSignalled = false;
  bool isOpen = true;
  std::vector<Node> waiting;           // first come first
  unsigned (*entry)(void*) = nullptr;  // of a thread
  void* argument = nullptr;
  DWORD exitCode = STILL_ACTIVE;

  [[nodiscard]] std::string Name() const {
    return (entry != nullptr ? "thread #" : "event #") + std::to_string(number);
  }
};

/// One wait for several objects. As the system does it: the set itself satisfies what waits, not
/// its next look. Else two sets could release one waiter only.
struct ObjectWait {
  const Thread& thread;
  std::vector<Object*> objects;
  DWORD index = WAIT_TIMEOUT;

  void Enlist() {
    for (DWORD i = 0; i < objects.size(); ++i) {
      objects[i]->waiting.push_back({this, i});
    }
  }
  void Leave() noexcept {
    for (Object* const object : objects) {
      std::erase_if(object->waiting, [&](const Object::Node& node) { return node.wait == this; });
    }
  }
  void Satisfy(DWORD by) noexcept {
    index = by;
    Leave();
  }
  [[nodiscard]] std::string Describe() const {
    std::string text;
    for (const Object* object : objects) {
      text += (text.empty() ? "" : ", ") + object->Name();
    }
    return objects.empty() ? "its time" : text;
  }
};

constexpr std::uintptr_t kHandleBase = 0x10000;

std::vector<std::unique_ptr<Object>> objects;
std::uint32_t liveThreads = 0;
thread_local std::int32_t granted = Platform::kUnlimited;
constexpr int kOutside = 0;  // its address owns the sections that are entered outside of runs

DWORD RefuseWait(DWORD error) noexcept {
  ::SetLastError(error);
  return WAIT_FAILED;
}

bool IsRefused() noexcept {
  const bool isRefused = granted == 0;
  granted -= granted > 0 ? 1 : 0;
  return isRefused;
}

Object& NewObject() {
  objects.push_back(std::make_unique<Object>());
  objects.back()->number = static_cast<std::uint32_t>(objects.size());
  return *objects.back();
}

HANDLE HandleOf(const Object& object) noexcept {
  return reinterpret_cast<HANDLE>(kHandleBase + std::uintptr_t{4} * object.number);
}

/// Null for a null handle, which callers may try; any other that is not open fails the run.
Object* Find(HANDLE handle, const char* operation) noexcept {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  if (value == 0) {
    return nullptr;
  }
  const std::size_t number = Platform::NumberOf(value);
  if (value < kHandleBase || number == 0 || number > objects.size()) {
    Scheduler::Current()->Fail("%s with a handle that never was: %#zx", operation,
                               static_cast<std::size_t>(value));
  }
  Object* const object = objects[number - 1].get();
  if (!object->isOpen) {
    Scheduler::Current()->Fail("%s with closed handle #%u", operation, object->number);
  }
  return object;
}

/// Decides who goes on, then finds the object: the handle may have been closed meanwhile.
BOOL Reach(const char* operation, HANDLE handle, const std::function<void(Object&)>& action) {
  Scheduler::Current()->Point(operation, reinterpret_cast<std::uintptr_t>(handle));
  Object* const object = Find(handle, operation);
  if (object == nullptr) {
    ::SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  action(*object);
  return TRUE;
}

/// An automatic event goes to one waiter and is not set; a manual one releases all, whoever resets
/// it after that.
void Signal(Object& object) noexcept {
  while (!object.waiting.empty()) {
    const Object::Node node = object.waiting.front();
    node.wait->Satisfy(node.index);
    if (!object.isManual) {
      return;
    }
  }
  object.isSignalled = true;
}

DWORD WaitForAny(const char* name, DWORD count, const HANDLE* handles, DWORD timeoutMs) noexcept {
  Scheduler& scheduler = *Scheduler::Current();
  const auto first = count != 0 ? reinterpret_cast<std::uintptr_t>(handles[0]) : 0;
  scheduler.Point(name, first);
  std::vector<Object*> awaited;
  for (DWORD i = 0; i < count; ++i) {  // read once, like a system call does
    Object* const object = Find(handles[i], name);
    if (object == nullptr) {
      return RefuseWait(ERROR_INVALID_HANDLE);
    }
    awaited.push_back(object);
  }
  for (DWORD i = 0; i < count; ++i) {
    if (awaited[i]->isSignalled) {
      awaited[i]->isSignalled = awaited[i]->isManual;
      return WAIT_OBJECT_0 + i;
    }
  }
  if (timeoutMs == 0) {
    return WAIT_TIMEOUT;
  }
  ObjectWait wait{Scheduler::Self(), std::move(awaited)};
  wait.Enlist();
  const std::int64_t deadline =
      timeoutMs != INFINITE ? scheduler.now() + std::int64_t{timeoutMs} * 1'000'000 : kNever;
  scheduler.Wait("waits", first,
                 {[&] { return wait.index != WAIT_TIMEOUT; }, [&] { return wait.Describe(); }},
                 deadline);
  wait.Leave();
  return wait.index;
}

void RunProgram(void* object) {
  auto* const thread = static_cast<Object*>(object);
  thread->exitCode = thread->entry(thread->argument);
}

void SignalEnd(void* object) {
  --liveThreads;
  Signal(*static_cast<Object*>(object));
}

}  // namespace

namespace Velta::Simulation::Platform {

void BeginRun() noexcept { liveThreads = 0; }

void EndRun() noexcept {
  for (const auto& object : objects) {
    if (object->isOpen) {
      Scheduler::Current()->Fail("handle left open: %s", object->Name().c_str());
    }
  }
  decltype(objects)().swap(objects);  // with its memory, which is counted
}

std::uint32_t LiveThreads() noexcept { return liveThreads; }

std::uint32_t OpenThreads() noexcept {
  return static_cast<std::uint32_t>(
      std::count_if(objects.begin(), objects.end(),
                    [](const auto& object) { return object->isOpen && object->entry != nullptr; }));
}

std::uint32_t OpenHandles() noexcept {
  return static_cast<std::uint32_t>(std::count_if(
      objects.begin(), objects.end(), [](const auto& object) { return object->isOpen; }));
}

std::size_t NumberOf(std::uintptr_t handle) noexcept { return (handle - kHandleBase) / 4; }

void Grant(std::int32_t count) noexcept { granted = count; }

}  // namespace Velta::Simulation::Platform

// ---- events and waits ---------------------------------------------------------------------------

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState,
                    LPCWSTR name) noexcept {
  if (name != nullptr || Scheduler::Current() == nullptr) {
    ::SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  if (IsRefused()) {
    ::SetLastError(Platform::kRefusal);
    return nullptr;
  }
  Object& event = NewObject();
  event.isManual = manualReset != FALSE;
  event.isSignalled = initialState != FALSE;
  ::SetLastError(ERROR_SUCCESS);
  return HandleOf(event);
}

BOOL SetEvent(HANDLE handle) noexcept {
  return Reach("SetEvent", handle, [](Object& event) {
    Signal(event);
    Scheduler::Current()->FinePoint("after SetEvent");
  });
}

BOOL ResetEvent(HANDLE handle) noexcept {
  return Reach("ResetEvent", handle, [](Object& event) { event.isSignalled = false; });
}

BOOL CloseHandle(HANDLE handle) noexcept {
  return Reach("CloseHandle", handle, [](Object& object) {
    if (!object.waiting.empty()) {
      Scheduler::Current()->Fail("%s closed while thread %u waits for it", object.Name().c_str(),
                                 object.waiting.front().wait->thread.number);
    }
    object.isOpen = false;
  });
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) noexcept {
  return WaitForAny("WaitForSingleObject", 1, &object, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll,
                             DWORD milliseconds) noexcept {
  const bool isValid =
      count != 0 && count <= MAXIMUM_WAIT_OBJECTS && handles != nullptr && !waitAll;
  return isValid ? WaitForAny("WaitForMultipleObjects", count, handles, milliseconds)
                 : RefuseWait(ERROR_INVALID_PARAMETER);
}

DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* handles, DWORD milliseconds,
                                  DWORD /*wakeMask*/, DWORD flags) noexcept {
  const bool isValid = count < MAXIMUM_WAIT_OBJECTS && (count == 0 || handles != nullptr) &&
                       (flags & ~MWMO_INPUTAVAILABLE) == 0;
  return isValid ? WaitForAny("MsgWaitForMultipleObjectsEx", count, handles, milliseconds)
                 : RefuseWait(ERROR_INVALID_PARAMETER);
}

// ---- threads and time ---------------------------------------------------------------------------

std::uintptr_t _beginthreadex(void* /*security*/, unsigned /*stackSize*/, unsigned (*entry)(void*),
                              void* argument, unsigned flags, unsigned* threadId) noexcept {
  Scheduler* const scheduler = Scheduler::Current();
  if (entry == nullptr || flags != 0 || scheduler == nullptr) {
    errno = EINVAL;
    return 0;
  }
  if (IsRefused()) {
    errno = EAGAIN;
    return 0;
  }
  Object& object = NewObject();
  object.entry = entry;
  object.argument = argument;
  ++liveThreads;
  const HANDLE handle = HandleOf(object);
  const Thread& thread = scheduler->Spawn("thread", {&RunProgram, &SignalEnd, &object});
  if (threadId != nullptr) {
    *threadId = thread.id;
  }
  return reinterpret_cast<std::uintptr_t>(handle);
}

BOOL GetExitCodeThread(HANDLE handle, DWORD* exitCode) noexcept {
  return Reach("GetExitCodeThread", handle, [&](const Object& thread) {
    *exitCode = thread.isSignalled ? thread.exitCode : STILL_ACTIVE;
  });
}

DWORD GetCurrentThreadId() noexcept {
  return Scheduler::Current() != nullptr ? Scheduler::Self().id : 1;
}

void Sleep(DWORD milliseconds) noexcept {
  Scheduler* const scheduler = Scheduler::Current();
  if (scheduler == nullptr) {
    return;
  }
  if (milliseconds == 0) {
    scheduler->Yield();
  } else {
    static_cast<void>(WaitForAny("Sleep", 0, nullptr, milliseconds));
  }
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept {
  Scheduler* const scheduler = Scheduler::Current();
  if (scheduler != nullptr) {
    scheduler->FinePoint("log");
  }
  counter->QuadPart = scheduler != nullptr ? scheduler->Tick() : 0;
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) noexcept {
  frequency->QuadPart = 10'000'000;
  return TRUE;
}

void Velta::Platform::AnnounceThreadName(std::uint32_t /*threadId*/, const char* name) noexcept {
  if (Scheduler* const scheduler = Scheduler::Current()) {
    scheduler->SetName(Scheduler::Self(), name);
  }
}

// ---- critical sections --------------------------------------------------------------------------

namespace {

const void* Owner() noexcept {
  return Scheduler::Current() != nullptr ? static_cast<const void*>(&Scheduler::Self()) : &kOutside;
}

bool EnterAgain(CRITICAL_SECTION* section) noexcept {
  const bool isInside = section->owner == Owner();
  section->recursion += isInside ? 1 : 0;
  return isInside;
}

BOOL EnterFree(CRITICAL_SECTION* section) noexcept {
  section->owner = Owner();
  if (Scheduler::Current() != nullptr) {
    ++Scheduler::Self().sections;
  }
  return TRUE;
}

}  // namespace

void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept { *section = {}; }

BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) noexcept {
  if (EnterAgain(section)) {
    return TRUE;
  }
  if (Scheduler* const scheduler = Scheduler::Current()) {
    scheduler->Point("TryEnterCriticalSection", reinterpret_cast<std::uintptr_t>(section));
  }
  return section->owner == nullptr ? EnterFree(section) : FALSE;
}

void EnterCriticalSection(CRITICAL_SECTION* section) noexcept {
  if (EnterAgain(section)) {
    return;
  }
  if (Scheduler* const scheduler = Scheduler::Current()) {
    const auto address = reinterpret_cast<std::uintptr_t>(section);
    scheduler->Point("EnterCriticalSection", address);
    if (section->owner != nullptr) {
      if (!scheduler->Knows(section->owner)) {
        scheduler->Fail("critical section entered in freed memory");
      }
      ++section->waiting;
      scheduler->Wait("waits for a critical section", address,
                      {[&] { return section->owner == nullptr; },
                       [&] {
                         const auto* const owner = static_cast<const Thread*>(section->owner);
                         return "a critical section of thread " + std::to_string(owner->number);
                       }});
      --section->waiting;
    }
  }
  EnterFree(section);
}

void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept {
  Scheduler* const scheduler = Scheduler::Current();
  if (section->owner != Owner()) {
    if (scheduler != nullptr) {
      scheduler->Fail("critical section left by a thread that is not inside");
    }
    return;
  }
  if (section->recursion != 0) {
    --section->recursion;
    return;
  }
  section->owner = nullptr;
  if (scheduler != nullptr) {
    --Scheduler::Self().sections;
    scheduler->FinePoint("after LeaveCriticalSection");
  }
}

void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept {
  Scheduler* const scheduler = Scheduler::Current();
  if (scheduler != nullptr && (section->waiting != 0 || section->owner != nullptr)) {
    scheduler->Fail("critical section deleted while in use");
  }
}

// ---- static initialisers ------------------------------------------------------------------------

// The C++ library's guards would block a thread without the scheduler's knowledge. These stand in
// for them: byte 0 says initialised, byte 1 under way. An initialiser is one step, so the first run
// of a process decides where the thousandth does.

extern "C" int __cxa_guard_acquire(unsigned char* guard) {
  Scheduler* const scheduler = Scheduler::Current();
  if (scheduler != nullptr && guard[1] != 0) {
    scheduler->Wait("waits for a static initialiser", 0,
                    {[&] { return guard[1] == 0; }, [] { return "a static initialiser"; }});
  }
  if (guard[0] != 0) {
    return 0;
  }
  if (scheduler != nullptr) {
    ++Scheduler::Self().undivided;
  }
  guard[1] = 1;
  return 1;
}

extern "C" void __cxa_guard_abort(unsigned char* guard) {
  guard[1] = 0;
  if (Scheduler::Current() != nullptr) {
    --Scheduler::Self().undivided;
  }
}

extern "C" void __cxa_guard_release(unsigned char* guard) {
  __atomic_store_n(guard, static_cast<unsigned char>(1), __ATOMIC_RELEASE);
  __cxa_guard_abort(guard);
}
