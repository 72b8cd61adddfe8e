// SPDX-License-Identifier: MIT
// Events, waits, threads and sections over POSIX, operation by operation of their atomics.
#include "../Campaign.h"
#include "History.h"
#include "velta/platform/internal/DeferredWakeUps.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Velta::Simulation {

namespace {

constexpr History::Reset kManual = History::Reset::Manual;
constexpr History::Reset kAutomatic = History::Reset::Automatic;
constexpr DWORD kShort = 5;

using Action = std::function<void()>;

/// Runs each on a thread of its own.
void Start(const std::vector<Action>& actions) {
  for (const Action& action : actions) {
    Scheduler::Current()->Spawn(
        "actor", {[](void* given) { (*static_cast<Action*>(given))(); },
                  [](void* given) { delete static_cast<Action*>(given); }, new Action(action)});
  }
}

void Check(bool condition, const char* verdict) {
  if (!condition) {
    Scheduler::Current()->Fail("%s", verdict);
  }
}

/// Two waiters, one of which gives up, and two signals, which may become one.
void OneAutomaticEvent() {
  History history;
  const int event = history.MakeEvent(kAutomatic);
  Start({[&] { history.Wait({event}); }, [&] { history.Wait({event}, kShort); },
         [&] { history.Set(event); }, [&] { history.Set(event); }});
  history.Settle();
}

/// The signal comes when the time is over, as the other's own wait ends then too.
void ASignalWithTheDeadline() {
  History history;
  const int event = history.MakeEvent(kAutomatic);
  const int never = history.MakeEvent(kManual);
  Start({[&] { history.Wait({event}, kShort); },
         [&] {
           history.Wait({never}, kShort);
           history.Set(event);
         },
         [&] { history.Wait({event}); }});
  history.Settle();
}

/// A pulse ends the waits of all who wait; a second thread looks without waiting.
void OneManualEvent() {
  History history;
  const int event = history.MakeEvent(kManual);
  Start({[&] { history.Wait({event}); },
         [&] {
           history.Wait({event}, 0);
           history.Wait({event}, kShort);
         },
         [&] {
           history.Set(event);
           history.ResetEvent(event);
         }});
  history.Settle();
}

void AnyOfTwoThatAreSetAndClosed() {
  History history;
  const int first = history.MakeEvent(kAutomatic);
  const int second = history.MakeEvent(kManual);
  Start({[&] { history.Wait({first, second}); },
         [&] {
           history.Set(first);
           history.Close(first);
         },
         [&] { history.Set(second); }, [&] { history.Wait({first}, kShort); }});
  history.Settle();
}

/// The engine's loop: whoever is served first is reset by the one thread that waits.
void TheLowestIndexFirst() {
  History history;
  const int flush = history.MakeEvent(kAutomatic);
  const int stop = history.MakeEvent(kManual);
  const int data = history.MakeEvent(kManual);
  Start({[&] {
           history.Wait({flush, stop, data});
           history.Wait({flush, stop, data}, 0);
         },
         [&] {
           history.Set(data);
           history.Set(flush);
         },
         [&] { history.Set(stop); }});
  history.Settle();
}

void OneHandleTwice() {
  History history;
  const int event = history.MakeEvent(kAutomatic);
  Start({[&] { history.Set(event); }, [&] { history.Wait({event}, kShort); }});
  const HANDLE same = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const HANDLE handles[] = {same, same};
  Start({[&] {
           Check(::WaitForMultipleObjects(2, handles, FALSE, INFINITE) < 2,
                 "a handle twice ends no wait");
         },
         [&] { ::SetEvent(same); }});
  history.Settle();
  Check(::WaitForSingleObject(same, 0) == WAIT_TIMEOUT, "a signal was taken twice");
  ::CloseHandle(same);
}

/// A thread's end, waited for by two, against the closing of its handle.
void TheEndOfAThread() {
  History history;
  const int event = history.MakeEvent(kAutomatic);
  const int thread = history.MakeThread();
  Start({[&] { history.Wait({thread}); }, [&] { history.Wait({event, thread}, kShort); },
         [&] { history.Close(thread); }});
  history.Settle();
}

/// As a synchronous command does: the waiter closes the event and uses its slot again at once,
/// while the setter and a late one may still be inside their calls.
void AnEventThatItsWaiterCloses() {
  History history;
  const int done = history.MakeEvent(kAutomatic);
  int next = -1;
  Start({[&] {
           history.Wait({done});
           history.Close(done);
           next = history.MakeEvent(kAutomatic);
           history.Wait({next}, 0);
           history.Wait({next}, kShort);
         },
         [&] { history.Set(done); }, [&] { history.Set(done); }});
  history.Settle();
}

/// What one thread frees, two take.
void SlotsAreTakenByOneThreadEach() {
  const History atRest;
  HANDLE handles[4];
  for (HANDLE& handle : handles) {
    handle = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  }
  const auto open = [&](int i) { handles[i] = ::CreateEventW(nullptr, TRUE, FALSE, nullptr); };
  const auto close = [&](int i) { ::CloseHandle(handles[i]); };
  close(2);
  close(3);
  Start({[&] {
           open(2);
           open(3);
         },
         [&] {
           close(0);
           close(1);
           open(0);
           open(1);
           close(0);
           open(0);
         }});
  Scheduler::Current()->WaitForOthers("all end", true);
  for (const HANDLE handle : handles) {
    Check(::CloseHandle(handle) != FALSE, "a slot was taken twice");
  }
}

/// A queue as the framework's: its event is set and reset under its lock, the wake-up made after.
void AQueueThatDefersItsWakeUps() {
  struct Queue {
    Queue() { ::InitializeCriticalSection(&section); }
    void Push() {
      Velta::Platform::DeferredWakeUps wakeUps;
      ::EnterCriticalSection(&section);
      if (++count == 1) {
        wakeUps.SetEvent(event);
      }
      ::LeaveCriticalSection(&section);
    }
    bool Pop() {
      ::EnterCriticalSection(&section);
      const bool found = count > 0;
      count -= found ? 1 : 0;
      if (found && count == 0) {
        ::ResetEvent(event);
      }
      ::LeaveCriticalSection(&section);
      return found;
    }
    CRITICAL_SECTION section;
    int count = 0;
    HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  } queue;
  Start({[&] {
           for (int taken = 0; taken < 3;) {
             ::WaitForSingleObject(queue.event, INFINITE);
             while (queue.Pop()) {
               ++taken;
             }
           }
         },
         [&] {
           queue.Push();
           queue.Push();
         },
         [&] { queue.Push(); }});
  Scheduler::Current()->WaitForOthers("all end", true);
  const History atRest;
  ::CloseHandle(queue.event);
}

void OneSection() {
  CRITICAL_SECTION section;
  ::InitializeCriticalSection(&section);
  int inside = 0;
  const auto pass = [&] {
    Check(++inside == 1, "two threads in one section");
    Scheduler::Current()->Point("inside");
    --inside;
  };
  const Action enter = [&] {
    ::EnterCriticalSection(&section);
    ::EnterCriticalSection(&section);
    ::LeaveCriticalSection(&section);
    pass();
    ::LeaveCriticalSection(&section);
  };
  Start({enter, enter, [&] {
           if (::TryEnterCriticalSection(&section) != FALSE) {
             pass();
             ::LeaveCriticalSection(&section);
           }
         }});
  Scheduler::Current()->WaitForOthers("all end", true);
}

/// Any three calls at once, for an automatic event and a manual one.
void AnyThree() {
  History history;
  const int one = history.MakeEvent(kAutomatic);
  const int all = history.MakeEvent(kManual);
  const Action calls[] = {[&] { history.Set(one); },
                          [&] { history.Set(all); },
                          [&] { history.ResetEvent(all); },
                          [&] { history.Close(one); },
                          [&] { history.Wait({one}); },
                          [&] { history.Wait({one, all}); },
                          [&] { history.Wait({all, one}, kShort); },
                          [&] { history.Wait({all, one}, 0); }};
  constexpr std::uint32_t kCalls = 8;
  std::vector<Action> chosen;
  std::uint32_t from = 0;  // one order of each three is enough
  for (int i = 0; i < 3; ++i) {
    from += Scheduler::Current()->ChooseNumber("call", kCalls - from);
    chosen.push_back(calls[from]);
  }
  Start(chosen);
  history.Settle();
}

}  // namespace

std::string NameOf(std::uintptr_t /*object*/) { return ""; }

void AddScenarios(std::vector<Scenario>& scenarios) {
  const std::pair<const char*, void (*)()> all[] = {
      {"wait.automatic", &OneAutomaticEvent},
      {"wait.deadline", &ASignalWithTheDeadline},
      {"wait.pulse", &OneManualEvent},
      {"wait.closed", &AnyOfTwoThatAreSetAndClosed},
      {"wait.lowest", &TheLowestIndexFirst},
      {"wait.twice", &OneHandleTwice},
      {"wait.thread", &TheEndOfAThread},
      {"wait.woken-closes", &AnEventThatItsWaiterCloses},
      {"wait.three", &AnyThree},
      {"table.slots", &SlotsAreTakenByOneThreadEach},
      {"section.three", &OneSection},
      {"queue.deferred", &AQueueThatDefersItsWakeUps},
  };
  for (const auto& [name, body] : all) {
    scenarios.push_back({name, body, ""});
  }
}

}  // namespace Velta::Simulation
