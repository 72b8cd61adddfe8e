// SPDX-License-Identifier: MIT
// Events, waits, threads, critical sections and time over the scheduler.
#include "Kit.h"
#include "Scheduler.h"
#include "velta/platform/internal/ThreadName.h"
#include "velta/platform/internal/Win32.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

using namespace Velta::Simulation;

namespace Velta::Posix {

constinit thread_local DWORD lastError = ERROR_SUCCESS;

}  // namespace Velta::Posix

namespace {

static_assert(Platform::kRefusal == static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));

/// An event or a thread.
struct Object {
  const char* kind;
  HANDLE handle;  // never given again
  bool isManual;
  bool isSignalled;
  bool isOpen = true;

  [[nodiscard]] bool IsThread() const { return kind[0] == 't'; }
  [[nodiscard]] std::string Name() const {
    char text[32];
    std::snprintf(text, sizeof(text), "%s %p", kind, handle);
    return text;
  }
};

/// One wait for several objects. As the system does it: the set itself satisfies what waits, not
/// its next look. Else two sets could release one waiter only.
struct ObjectWait {
  const Thread& thread;
  std::vector<Object*> objects;
  DWORD index = WAIT_TIMEOUT;

  /// @return the object's index; `WAIT_TIMEOUT` when this does not wait for it
  [[nodiscard]] DWORD IndexOf(const Object& object) const {
    const auto found = std::find(objects.begin(), objects.end(), &object);
    const bool waits = index == WAIT_TIMEOUT && found != objects.end();
    return waits ? static_cast<DWORD>(found - objects.begin()) : WAIT_TIMEOUT;
  }
  [[nodiscard]] std::string Describe() const {
    std::string text = objects.empty() ? "its time" : "";
    for (const Object* object : objects) {
      text += (text.empty() ? "" : ", ") + object->Name();
    }
    return text;
  }
};

std::vector<std::unique_ptr<Object>> objects;
std::vector<ObjectWait*> waits;  // first come first
thread_local std::int32_t granted = Platform::kUnlimited;

bool IsRefused() noexcept {
  const bool isRefused = granted == 0;
  granted -= granted > 0 ? 1 : 0;
  return isRefused;
}

Object& NewObject(const char* kind, bool isManual, bool isSignalled) {
  const auto handle = reinterpret_cast<HANDLE>(4 * (objects.size() + 1));
  objects.push_back(std::make_unique<Object>(Object{kind, handle, isManual, isSignalled}));
  return *objects.back();
}

/// @return null for a null handle, which callers may try; any other that is not open fails the run
Object* Find(const char* operation, HANDLE handle) noexcept {
  if (handle == nullptr) {
    ::SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  const auto found = std::find_if(objects.begin(), objects.end(),
                                  [&](const auto& object) { return object->handle == handle; });
  Check(found != objects.end(), "%s with a handle that never was: %p", operation, handle);
  Check((*found)->isOpen, "%s with closed handle %p", operation, handle);
  return found->get();
}

/// Decides who goes on, then finds the object: the handle may have been closed meanwhile.
Object* Reach(const char* operation, HANDLE handle) noexcept {
  Point(operation, handle);
  return Find(operation, handle);
}

/// An automatic event goes to one waiter and is not set; a manual one releases all, whoever resets
/// it after that.
void Signal(Object& object) noexcept {
  for (ObjectWait* const wait : waits) {
    const DWORD index = wait->IndexOf(object);
    if (index != WAIT_TIMEOUT) {
      wait->index = index;
      if (!object.isManual) {
        return;
      }
    }
  }
  object.isSignalled = true;
}

DWORD WaitForAny(const char* name, DWORD count, const HANDLE* handles, DWORD timeoutMs) noexcept {
  Point(name, count != 0 ? handles[0] : nullptr);
  Check(count <= MAXIMUM_WAIT_OBJECTS, "a wait for %u objects", count);
  ObjectWait wait{Self(), {}};
  for (DWORD i = 0; i < count; ++i) {  // read once, like a system call does
    wait.objects.push_back(Find(name, handles[i]));
    if (wait.objects.back() == nullptr) {
      return WAIT_FAILED;
    }
  }
  for (DWORD i = 0; i < count; ++i) {
    if (wait.objects[i]->isSignalled) {
      wait.objects[i]->isSignalled = wait.objects[i]->isManual;
      return WAIT_OBJECT_0 + i;
    }
  }
  if (timeoutMs != 0) {
    const auto isSatisfied = [&] { return wait.index != WAIT_TIMEOUT; };
    waits.push_back(&wait);
    if (timeoutMs == INFINITE) {
      Wait(wait.Describe(), isSatisfied);
    } else {
      WaitFor(wait.Describe(), isSatisfied, timeoutMs);
    }
    std::erase(waits, &wait);
  }
  return wait.index;
}

}  // namespace

namespace Velta::Simulation::Platform {

Counts Count() noexcept {
  Counts counts;
  for (const auto& object : objects) {
    const bool isThread = object->IsThread();
    counts.liveThreads += isThread && !object->isSignalled ? 1 : 0;
    counts.openThreads += isThread && object->isOpen ? 1 : 0;
    counts.openHandles += object->isOpen ? 1 : 0;
  }
  return counts;
}

void CheckAllClosed() {
  for (const auto& object : objects) {
    Check(!object->isOpen, "handle left open: %s", object->Name().c_str());
  }
  decltype(objects)().swap(objects);  // with its memory, which is watched
  decltype(waits)().swap(waits);
}

void Grant(std::int32_t count) noexcept { granted = count; }

}  // namespace Velta::Simulation::Platform

// ---- events and waits ---------------------------------------------------------------------------

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCWSTR) noexcept {
  const bool isRefused = IsRefused();
  ::SetLastError(isRefused ? Platform::kRefusal : ERROR_SUCCESS);
  return isRefused ? nullptr
                   : NewObject("event", manualReset != FALSE, initialState != FALSE).handle;
}

BOOL SetEvent(HANDLE handle) noexcept {
  Object* const event = Reach("SetEvent", handle);
  if (event != nullptr) {
    Signal(*event);
    FinePoint("after SetEvent");
  }
  return event != nullptr ? TRUE : FALSE;
}

BOOL ResetEvent(HANDLE handle) noexcept {
  Object* const event = Reach("ResetEvent", handle);
  if (event != nullptr) {
    event->isSignalled = false;
  }
  return event != nullptr ? TRUE : FALSE;
}

BOOL CloseHandle(HANDLE handle) noexcept {
  Object* const object = Reach("CloseHandle", handle);
  if (object == nullptr) {
    return FALSE;
  }
  for (const ObjectWait* const wait : waits) {
    Check(wait->IndexOf(*object) == WAIT_TIMEOUT, "%s closed while thread %u waits for it",
          object->Name().c_str(), wait->thread.number);
  }
  object->isOpen = false;
  return TRUE;
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) noexcept {
  return WaitForAny("WaitForSingleObject", 1, &object, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL /*waitAll*/,
                             DWORD milliseconds) noexcept {
  return WaitForAny("WaitForMultipleObjects", count, objects, milliseconds);
}

DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* objects, DWORD milliseconds,
                                  DWORD /*wakeMask*/, DWORD /*flags*/) noexcept {
  return WaitForAny("MsgWaitForMultipleObjectsEx", count, objects, milliseconds);
}

// ---- threads and time ---------------------------------------------------------------------------

std::uintptr_t _beginthreadex(void* /*security*/, unsigned /*stackSize*/, unsigned (*entry)(void*),
                              void* argument, unsigned /*flags*/, unsigned* threadId) noexcept {
  if (IsRefused()) {
    errno = EAGAIN;
    return 0;
  }
  Object& object = NewObject("thread", true, false);
  const Thread& thread =
      Spawn("thread", [entry, argument] { entry(argument); }, [&object] { Signal(object); });
  if (threadId != nullptr) {
    *threadId = thread.id;
  }
  return reinterpret_cast<std::uintptr_t>(object.handle);
}

DWORD GetCurrentThreadId() noexcept { return Self().id; }

void Sleep(DWORD milliseconds) noexcept {
  if (milliseconds == 0) {
    Yield();
  } else {
    WaitForAny("Sleep", 0, nullptr, milliseconds);
  }
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept {
  static std::int64_t ticks = 0;
  FinePoint("log");
  counter->QuadPart = ++ticks;
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) noexcept {
  frequency->QuadPart = 10'000'000;
  return TRUE;
}

void Velta::Platform::AnnounceThreadName(std::uint32_t /*threadId*/, const char* name) noexcept {
  Self().name = name;
}

// ---- critical sections --------------------------------------------------------------------------

namespace {

/// @return whether the thread is inside; a section that is free, or its own, lets it in
bool Enter(CRITICAL_SECTION* section, const char* name, bool mayWait) noexcept {
  Thread& me = Self();
  if (section->owner != &me) {
    Point(name, section);
    if (section->owner != nullptr && !mayWait) {
      return false;
    }
    if (section->owner != nullptr) {
      Check(IsThread(section->owner), "critical section entered in freed memory");
      const auto* const owner = static_cast<const Thread*>(section->owner);
      ++section->waiting;
      Wait("a critical section of thread " + std::to_string(owner->number),
           [section] { return section->owner == nullptr; });
      --section->waiting;
    }
    section->owner = &me;
    ++me.sections;
  }
  ++section->entries;
  return true;
}

}  // namespace

void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept { *section = {}; }

BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) noexcept {
  return Enter(section, "TryEnterCriticalSection", false) ? TRUE : FALSE;
}

void EnterCriticalSection(CRITICAL_SECTION* section) noexcept {
  Enter(section, "EnterCriticalSection", true);
}

void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept {
  Check(section->owner == &Self(), "critical section left by a thread that is not inside");
  if (--section->entries == 0) {
    section->owner = nullptr;
    --Self().sections;
    FinePoint("after LeaveCriticalSection");
  }
}

void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept {
  Check(section->waiting == 0 && section->owner == nullptr,
        "critical section deleted while in use");
}

// ---- static initialisers ------------------------------------------------------------------------

// The C++ library's guards would block a thread without the scheduler's knowledge. These stand in
// for them: byte 0 says initialised, byte 1 under way. An initialiser is one step, so the first run
// of a process decides where the thousandth does.

extern "C" int __cxa_guard_acquire(unsigned char* guard) {
  if (guard[1] != 0) {
    Wait("a static initialiser", [guard] { return guard[1] == 0; });
  }
  if (guard[0] != 0) {
    return 0;
  }
  ++Self().undivided;
  guard[1] = 1;
  return 1;
}

extern "C" void __cxa_guard_abort(unsigned char* guard) {
  guard[1] = 0;
  --Self().undivided;
}

extern "C" void __cxa_guard_release(unsigned char* guard) {
  __atomic_store_n(guard, static_cast<unsigned char>(1), __ATOMIC_RELEASE);
  __cxa_guard_abort(guard);
}
