// SPDX-License-Identifier: MIT
// Programs with a fault each, which the simulation must find: by every way, with the right verdict.
#include "Kit.h"
#include "tests/support/StressScale.h"
#include "velta/platform/internal/Win32.h"

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <signal.h>

namespace Velta::Simulation {

namespace {

/// What the two threads of a program share.
struct Stage {
  HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  CRITICAL_SECTION section;
  CRITICAL_SECTION other;
  std::unique_ptr<int> value = std::make_unique<int>(0);
  int* alias = value.get();
  int increments = 0;
};

void EnterBoth(CRITICAL_SECTION* outer, CRITICAL_SECTION* inner) {
  ::EnterCriticalSection(outer);
  ::EnterCriticalSection(inner);
  ::LeaveCriticalSection(inner);
  ::LeaveCriticalSection(outer);
}

void Increment(Stage& stage) {
  const int seen = *stage.value;
  Point("store");
  *stage.value = seen + 1;
  Check(++stage.increments == 1 || *stage.value == 2, "an update is lost");
}

// What the compiler sees it warns of or leaves out.
void* volatile memory = nullptr;

struct Program {
  const char* name;
  void (*first)(Stage& stage);
  void (*second)(Stage& stage);
  const char* verdict;
  const char* sanitized = nullptr;  // the verdict there, if it differs; empty: none
};

#if defined(VELTA_TEST_SANITIZED)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif
constexpr const char* kReported = "the process ended by itself";

const Program programs[] = {
    {"sections", [](Stage& stage) { EnterBoth(&stage.section, &stage.other); },
     [](Stage& stage) { EnterBoth(&stage.other, &stage.section); }, "deadlock"},
    {"update", &Increment, &Increment, "an update is lost"},
    // What comes before the wait wakes nobody.
    {"wake", [](Stage& stage) { ::WaitForSingleObject(stage.event, INFINITE); },
     [](Stage& stage) {
       ::SetEvent(stage.event);
       ::ResetEvent(stage.event);
     },
     "deadlock"},
    {"time-out",
     [](Stage& stage) {
       const DWORD result = ::WaitForSingleObject(stage.event, 1000);
       Check(result == WAIT_OBJECT_0, "a second was too short");
     },
     [](Stage& stage) { ::SetEvent(stage.event); }, "a second was too short"},
    {"handle", [](Stage& stage) { ::SetEvent(stage.event); },
     [](Stage& stage) { ::CloseHandle(stage.event); }, "SetEvent with closed handle 0x4"},
    {"handle-waited-for", [](Stage& stage) { ::WaitForSingleObject(stage.event, INFINITE); },
     [](Stage& stage) { ::CloseHandle(stage.event); },
     "event 0x4 closed while thread 2 waits for it"},
    {"handle-unknown", [](Stage& /*stage*/) { ::SetEvent(reinterpret_cast<HANDLE>(8)); }, nullptr,
     "SetEvent with a handle that never was: 0x8"},
    {"handle-left", [](Stage& /*stage*/) { ::CreateEventW(nullptr, TRUE, FALSE, nullptr); },
     nullptr, "handle left open: event 0x8"},
    {"section-held", [](Stage& stage) { ::EnterCriticalSection(&stage.section); }, nullptr,
     "first (thread 2) ended inside a critical section"},
    {"section-foreign", [](Stage& stage) { ::LeaveCriticalSection(&stage.section); }, nullptr,
     "critical section left by a thread that is not inside"},
    {"section-used", [](Stage& stage) { EnterBoth(&stage.section, &stage.other); },
     [](Stage& stage) { ::DeleteCriticalSection(&stage.section); },
     "critical section deleted while in use"},
    {"exception", [](Stage& /*stage*/) { throw std::exception(); }, nullptr, "uncaught exception"},
    {"endless",
     [](Stage& /*stage*/) {
       for (;;) {
         ::Sleep(0);
       }
     },
     nullptr, "no end after 20000 steps"},
    {"write",
     [](Stage& stage) {
       Point("write");
       *stage.alias = 1;
     },
     [](Stage& stage) {
       Point("free");
       stage.value.reset();
     },
     "freed memory written", kReported},
    {"free",
     [](Stage& stage) {
       ::operator delete(stage.alias);
       stage.value.reset();
     },
     nullptr, "memory freed twice", kReported},
    {"leak", [](Stage& /*stage*/) { memory = ::operator new(1); }, nullptr, "memory left over", ""},
    {"crash", [](Stage& /*stage*/) { ::raise(SIGSEGV); }, nullptr, "crash: Segmentation fault",
     kReported},
};

}  // namespace

std::vector<Scenario> PlantedFaults() {
  std::vector<Scenario> all;
  for (const Program& program : programs) {
    const auto run = [&program] {
      Stage stage;
      Spawn("first", [&] { program.first(stage); });
      if (program.second != nullptr) {
        Spawn("second", [&] { program.second(stage); });
      }
      WaitUntilOthersEnd();
      if (Platform::Count().openHandles != 0) {
        ::CloseHandle(stage.event);
      }
    };
    const char* const verdict =
        kIsSanitized && program.sanitized != nullptr ? program.sanitized : program.verdict;
    if (verdict[0] != '\0') {
      all.push_back(InRun(std::string("planted.") + program.name, run, verdict));
    }
  }
  return all;
}

}  // namespace Velta::Simulation
