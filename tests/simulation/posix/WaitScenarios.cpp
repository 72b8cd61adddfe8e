// SPDX-License-Identifier: MIT
// Events, waits, threads and sections over POSIX, operation by operation of their atomics.
#include "../Scheduler.h"
#include "History.h"
#include "velta/platform/internal/DeferredWakeUps.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Velta::Simulation {

namespace {

constexpr ObjectKind kManual = ObjectKind::Manual;
constexpr ObjectKind kAutomatic = ObjectKind::Automatic;
constexpr DWORD kShort = 5;

Call Make(std::uint32_t object) { return {Call::Kind::Make, {object}}; }
Call Set(std::uint32_t object) { return {Call::Kind::Set, {object}}; }
Call Reset(std::uint32_t object) { return {Call::Kind::Reset, {object}}; }
Call Close(std::uint32_t object) { return {Call::Kind::Close, {object}}; }
Call WaitForAny(std::vector<std::uint32_t> objects, DWORD milliseconds = kLong) {
  return {Call::Kind::Wait, std::move(objects), milliseconds};
}

struct CallScenario {
  const char* name;
  std::vector<ObjectKind> objects;
  std::vector<std::vector<Call>> threads;
};

const CallScenario callScenarios[] = {
    // Two waiters, one of which gives up, and two signals, which may become one.
    {"wait.automatic",
     {kAutomatic},
     {{WaitForAny({0})}, {WaitForAny({0}, kShort)}, {Set(0)}, {Set(0)}}},
    // The signal comes when the time is over, as the other's own wait ends then too.
    {"wait.deadline",
     {kAutomatic, kManual},
     {{WaitForAny({0}, kShort)}, {WaitForAny({1}, kShort), Set(0)}, {WaitForAny({0})}}},
    // A pulse ends the waits of all who wait; a second thread looks without waiting.
    {"wait.pulse",
     {kManual},
     {{WaitForAny({0})}, {WaitForAny({0}, 0), WaitForAny({0}, kShort)}, {Set(0), Reset(0)}}},
    // One is closed once it is set.
    {"wait.closed",
     {kAutomatic, kManual},
     {{WaitForAny({0, 1})}, {Set(0), Close(0)}, {Set(1)}, {WaitForAny({0}, kShort)}}},
    // The engine's loop: whoever is served first is reset by the one thread that waits.
    {"wait.lowest",
     {kAutomatic, kManual, kManual},
     {{WaitForAny({0, 1, 2}), WaitForAny({0, 1, 2}, 0)}, {Set(2), Set(0)}, {Set(1)}}},
    // One handle twice in a wait takes one signal.
    {"wait.twice",
     {kAutomatic, kAutomatic},
     {{Set(0)}, {WaitForAny({0}, kShort)}, {WaitForAny({1, 1}), WaitForAny({1}, 0)}, {Set(1)}}},
    // A thread's end, waited for by two, against the closing of its handle.
    {"wait.thread",
     {kAutomatic, ObjectKind::Thread},
     {{WaitForAny({1})}, {WaitForAny({0, 1}, kShort)}, {Close(1)}}},
    // As a synchronous command does: the waiter closes the event and uses its slot again at once,
    // while the setter and a late one may still be inside their calls.
    {"wait.woken-closes",
     {kAutomatic, ObjectKind::Later},
     {{WaitForAny({0}), Close(0), Make(1), WaitForAny({1}, 0), WaitForAny({1}, kShort)},
      {Set(0)},
      {Set(0)}}},
    // What each thread frees, both may take.
    {"table.slots",
     {kManual, kManual, kManual, kManual},
     {{Close(2), Close(3), Make(2), Make(3)},
      {Close(0), Close(1), Make(0), Make(1), Close(0), Make(0)}}},
};

/// Any three calls at once, for an automatic event and a manual one.
void AnyThree() {
  const Call calls[] = {Set(0),
                        Set(1),
                        Reset(1),
                        Close(0),
                        WaitForAny({0}),
                        WaitForAny({0, 1}),
                        WaitForAny({1, 0}, kShort),
                        WaitForAny({1, 0}, 0)};
  std::vector<std::vector<Call>> chosen;
  std::uint32_t from = 0;  // one order of each three is enough
  for (int i = 0; i < 3; ++i) {
    from += ChooseNumber("call", 8 - from);
    chosen.push_back({calls[from]});
  }
  RunCalls({kAutomatic, kManual}, std::move(chosen));
}

void SpawnAll(const std::vector<std::function<void()>>& actions) {
  for (const std::function<void()>& action : actions) {
    Spawn("actor", action);
  }
  WaitUntilOthersEnd();
}

/// A queue as the framework's: its event is set and reset under its lock, the wake-up made after.
void DeferredWakeUpsOfAQueue() {
  CRITICAL_SECTION section;
  ::InitializeCriticalSection(&section);
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  int count = 0;
  const auto push = [&] {
    Velta::Platform::DeferredWakeUps wakeUps;
    ::EnterCriticalSection(&section);
    if (++count == 1) {
      wakeUps.SetEvent(event);
    }
    ::LeaveCriticalSection(&section);
  };
  const auto pop = [&] {
    ::EnterCriticalSection(&section);
    const bool found = count > 0;
    count -= found ? 1 : 0;
    if (found && count == 0) {
      ::ResetEvent(event);
    }
    ::LeaveCriticalSection(&section);
    return found;
  };
  SpawnAll({[&] {
              for (int taken = 0; taken < 3;) {
                ::WaitForSingleObject(event, INFINITE);
                while (pop()) {
                  ++taken;
                }
              }
            },
            [&] {
              push();
              push();
            },
            push});
  ::CloseHandle(event);
}

void OneSection() {
  CRITICAL_SECTION section;
  ::InitializeCriticalSection(&section);
  int inside = 0;
  const auto pass = [&] {
    Check(++inside == 1, "two threads in one section");
    Point("inside");
    --inside;
    ::LeaveCriticalSection(&section);
  };
  const auto enter = [&] {
    ::EnterCriticalSection(&section);
    ::EnterCriticalSection(&section);
    ::LeaveCriticalSection(&section);
    pass();
  };
  SpawnAll({enter, enter, [&] {
              if (::TryEnterCriticalSection(&section) != FALSE) {
                pass();
              }
            }});
}

}  // namespace

std::vector<Scenario> AllScenarios() {
  std::vector<Scenario> all{{"wait.three", &AnyThree, ""},
                            {"section.three", &OneSection, ""},
                            {"queue.deferred", &DeferredWakeUpsOfAQueue, ""}};
  for (const CallScenario& each : callScenarios) {
    all.push_back({each.name, [&each] { RunCalls(each.objects, each.threads); }, ""});
  }
  for (Scenario& scenario : all) {
    scenario.body = [body = std::move(scenario.body)] {
      body();
      CheckAndResetTable();
    };
  }
  return all;
}

}  // namespace Velta::Simulation
