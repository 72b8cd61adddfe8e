// SPDX-License-Identifier: MIT
// Events, waits, threads, critical sections and time over the scheduler. Outside of runs (static
// initialisers, the driver) there is one thread: calls there are served without it.
#include "Platform.h"

#include "Scheduler.h"
#include "velta/platform/internal/ThreadName.h"
#include "velta/platform/internal/Win32.h"

#include <algorithm>
#include <cerrno>
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

class ObjectWait;

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

/// As the system does it: what waits is satisfied by the set itself, not when it next looks. Else
/// two sets could release one waiter only.
class ObjectWait final : public Condition {
 public:
  ObjectWait(const Thread& thread, std::vector<Object*> objects)
      : thread_(thread), objects_(std::move(objects)) {
    for (DWORD i = 0; i < objects_.size(); ++i) {
      objects_[i]->waiting.push_back({this, i});
    }
  }
  ObjectWait(const ObjectWait&) = delete;
  ObjectWait& operator=(const ObjectWait&) = delete;
  ~ObjectWait() { Leave(); }

  [[nodiscard]] bool Holds() const noexcept override { return index_ != WAIT_TIMEOUT; }
  [[nodiscard]] std::string Describe() const override {
    std::string text;
    for (const Object* object : objects_) {
      text += (text.empty() ? "" : ", ") + object->Name();
    }
    return objects_.empty() ? "its time" : text;
  }

  void Satisfy(DWORD index) noexcept {
    index_ = index;
    Leave();
  }
  [[nodiscard]] DWORD index() const noexcept { return index_; }
  [[nodiscard]] const Thread& thread() const noexcept { return thread_; }

 private:
  void Leave() noexcept {
    for (Object* const object : std::exchange(objects_, {})) {
      std::erase_if(object->waiting, [&](const Object::Node& node) { return node.wait == this; });
    }
  }

  const Thread& thread_;
  std::vector<Object*> objects_;
  DWORD index_ = WAIT_TIMEOUT;
};

class SectionIsFree final : public Condition {
 public:
  explicit SectionIsFree(const CRITICAL_SECTION& section) : section_(section) {}
  [[nodiscard]] bool Holds() const noexcept override { return section_.owner == nullptr; }
  [[nodiscard]] std::string Describe() const override {
    const auto* const owner = static_cast<const Thread*>(section_.owner);
    return "a critical section of thread " + std::to_string(owner != nullptr ? owner->number : 0);
  }

 private:
  const CRITICAL_SECTION& section_;
};

class InitialiserEnds final : public Condition {
 public:
  explicit InitialiserEnds(const unsigned char* guard) : guard_(guard) {}
  [[nodiscard]] bool Holds() const noexcept override { return guard_[1] == 0; }
  [[nodiscard]] std::string Describe() const override { return "a static initialiser"; }

 private:
  const unsigned char* guard_;
};

constexpr std::uintptr_t kHandleBase = 0x10000;

std::vector<std::unique_ptr<Object>> objects;
std::uint32_t liveThreads = 0;
thread_local std::int32_t granted = Platform::kUnlimited;
constexpr int kOutside = 0;  // its address owns the sections that are entered outside of runs

BOOL Refuse(DWORD error) noexcept {
  ::SetLastError(error);
  return FALSE;
}

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
Object* Reach(const char* operation, HANDLE handle) noexcept {
  Scheduler* const scheduler = Scheduler::Current();
  if (scheduler == nullptr) {
    return nullptr;
  }
  scheduler->Point(operation, reinterpret_cast<std::uintptr_t>(handle));
  return Find(handle, operation);
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
  ObjectWait wait(Scheduler::Self(), std::move(awaited));
  const std::int64_t deadline =
      timeoutMs != INFINITE ? scheduler.now() + std::int64_t{timeoutMs} * 1'000'000 : kNever;
  scheduler.Wait("waits", first, wait, deadline);
  return wait.index();
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
  Object* const event = Reach("SetEvent", handle);
  if (event == nullptr) {
    return Refuse(ERROR_INVALID_HANDLE);
  }
  Signal(*event);
  Scheduler::Current()->FinePoint("after SetEvent");
  return TRUE;
}

BOOL ResetEvent(HANDLE handle) noexcept {
  Object* const event = Reach("ResetEvent", handle);
  if (event == nullptr) {
    return Refuse(ERROR_INVALID_HANDLE);
  }
  event->isSignalled = false;
  return TRUE;
}

BOOL CloseHandle(HANDLE handle) noexcept {
  Object* const object = Reach("CloseHandle", handle);
  if (object == nullptr) {
    return Refuse(ERROR_INVALID_HANDLE);
  }
  if (!object->waiting.empty()) {
    Scheduler::Current()->Fail("%s closed while thread %u waits for it", object->Name().c_str(),
                               object->waiting.front().wait->thread().number);
  }
  object->isOpen = false;
  return TRUE;
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
  const Object* const thread = Reach("GetExitCodeThread", handle);
  if (thread == nullptr || thread->entry == nullptr) {
    return Refuse(ERROR_INVALID_HANDLE);
  }
  *exitCode = thread->isSignalled ? thread->exitCode : STILL_ACTIVE;
  return TRUE;
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
      scheduler->Wait("waits for a critical section", address, SectionIsFree(*section));
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
    scheduler->Wait("waits for a static initialiser", 0, InitialiserEnds(guard));
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
