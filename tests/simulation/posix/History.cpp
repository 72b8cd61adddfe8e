// SPDX-License-Identifier: MIT
#include "History.h"

#include "../Scheduler.h"
#include "Seams.h"

#include <algorithm>

namespace Velta::Simulation {

namespace {

void LetTimePass(DWORD milliseconds) {
  Scheduler& scheduler = *Scheduler::Current();
  scheduler.Wait("time passes", 0, {[] { return false; }, [] { return "time to pass"; }},
                 scheduler.now() + std::int64_t{milliseconds} * 1'000'000);
}

constexpr History::Reset kManual = History::Reset::Manual;
constexpr std::uint64_t kClosed = 2;

std::uint64_t Bit(int object, std::uint64_t bit) { return bit << (2 * object); }

}  // namespace

History::~History() {
  for (const Object& object : objects_) {
    ::CloseHandle(object.handle);
  }
  Objects::CheckAtRest();
  Objects::Reset();
}

int History::MakeEvent(Reset reset, bool signalled) {
  objects_.push_back({::CreateEventW(nullptr, reset == kManual, signalled, nullptr), false,
                      reset == kManual, signalled});
  return static_cast<int>(objects_.size()) - 1;
}

int History::MakeThread() {
  const auto number = static_cast<int>(objects_.size());
  Begin(Kind::ThreadEnd, {number});
  const std::uintptr_t handle =
      ::_beginthreadex(nullptr, 0, [](void*) { return 0U; }, nullptr, 0, nullptr);
  objects_.push_back({reinterpret_cast<HANDLE>(handle), true, true, false});
  return number;
}

void History::Set(int object) {
  const std::size_t call = Begin(Kind::Set, {object});
  End(call, static_cast<DWORD>(::SetEvent(objects_[static_cast<std::size_t>(object)].handle)));
}

void History::ResetEvent(int object) {
  const std::size_t call = Begin(Kind::Reset, {object});
  End(call, static_cast<DWORD>(::ResetEvent(objects_[static_cast<std::size_t>(object)].handle)));
}

void History::Close(int object) {
  const std::size_t call = Begin(Kind::Close, {object});
  End(call, static_cast<DWORD>(::CloseHandle(objects_[static_cast<std::size_t>(object)].handle)));
}

DWORD History::Wait(std::initializer_list<int> objects, DWORD milliseconds) {
  std::vector<HANDLE> handles;
  for (const int object : objects) {
    handles.push_back(objects_[static_cast<std::size_t>(object)].handle);
  }
  const auto count = static_cast<DWORD>(handles.size());
  const std::size_t call = Begin(Kind::Wait, objects, milliseconds);
  const DWORD result = count == 1
                           ? ::WaitForSingleObject(handles[0], milliseconds)
                           : ::WaitForMultipleObjects(count, handles.data(), FALSE, milliseconds);
  End(call, result);
  Scheduler& scheduler = *Scheduler::Current();
  if (result == WAIT_TIMEOUT &&
      scheduler.now() < calls_[call].since + std::int64_t{milliseconds} * 1'000'000) {
    scheduler.Fail("a wait ended before its time");
  }
  return result;
}

void History::Settle() {
  Scheduler& scheduler = *Scheduler::Current();
  LetTimePass(kLong / 2);
  scheduler.WaitForOthers("all rest", false);
  for (Call& call : calls_) {
    if (call.kind == Kind::ThreadEnd) {
      call.end = ++moment_;  // all threads have ended by now
    }
  }
  State state = 0;
  for (std::size_t i = 0; i < objects_.size(); ++i) {
    state |= objects_[i].isSignalled ? Bit(static_cast<int>(i), 1) : 0;
  }
  std::map<std::uint64_t, std::vector<State>> seen;
  if (!IsExplained(0, state, &seen)) {
    scheduler.Fail("no order explains%s", Describe().c_str());
  }
  LetTimePass(2 * kLong);
  scheduler.WaitForOthers("all end", true);
}

std::size_t History::Begin(Kind kind, std::initializer_list<int> objects, DWORD milliseconds) {
  calls_.push_back({kind, objects, milliseconds});
  calls_.back().begin = ++moment_;
  calls_.back().since = Scheduler::Current()->now();
  return calls_.size() - 1;
}

void History::End(std::size_t call, DWORD result) {
  calls_[call].result = result;
  calls_[call].end = ++moment_;
}

bool History::IsSignalled(State state, int object) const {
  // Who waits for a thread whose handle is closed waits on for its end.
  const bool counts =
      objects_[static_cast<std::size_t>(object)].isThread || (state & Bit(object, kClosed)) == 0;
  return counts && (state & Bit(object, 1)) != 0;
}

/// Has the call take effect. @return whether its result is right in this state
bool History::Apply(const Call& call, State* state) const {
  const int object = call.objects[0];
  const bool isClosed = (*state & Bit(object, kClosed)) != 0;
  switch (call.kind) {
    case Kind::Set:
      *state |= isClosed ? 0 : Bit(object, 1);
      return (call.result != 0) == !isClosed;
    case Kind::Reset:
      *state &= isClosed ? ~State{0} : ~Bit(object, 1);
      return (call.result != 0) == !isClosed;
    case Kind::Close:
      *state |= Bit(object, kClosed);
      return (call.result != 0) == !isClosed;
    case Kind::ThreadEnd:
      *state |= Bit(object, 1);
      return true;
    case Kind::Wait:
      break;
  }
  if (call.result == WAIT_FAILED) {
    return std::any_of(call.objects.begin(), call.objects.end(),
                       [&](int each) { return (*state & Bit(each, kClosed)) != 0; });
  }
  const auto first = std::find_if(call.objects.begin(), call.objects.end(),
                                  [&](int each) { return IsSignalled(*state, each); });
  if (first == call.objects.end()) {
    return call.result == WAIT_TIMEOUT;
  }
  if (!objects_[static_cast<std::size_t>(*first)].isManual) {
    *state &= ~Bit(*first, 1);
  }
  return call.result == static_cast<DWORD>(first - call.objects.begin());
}

/// Whether the calls that are not yet `done` can follow in some order.
bool History::IsExplained(std::uint64_t done, State state,
                          std::map<std::uint64_t, std::vector<State>>* seen) const {
  std::vector<State>& known = (*seen)[done];
  if (std::find(known.begin(), known.end(), state) != known.end()) {
    return false;
  }
  known.push_back(state);
  std::uint32_t firstEnd = UINT32_MAX;
  bool isComplete = true;
  for (std::size_t i = 0; i < calls_.size(); ++i) {
    if ((done >> i & 1) == 0) {
      firstEnd = (std::min)(firstEnd, calls_[i].end);
      isComplete = isComplete && calls_[i].end == UINT32_MAX;
    }
  }
  if (isComplete) {  // whoever waits on has nothing to end the wait
    return std::none_of(calls_.begin(), calls_.end(), [&](const Call& call) {
      return call.end == UINT32_MAX &&
             std::any_of(call.objects.begin(), call.objects.end(),
                         [&](int object) { return IsSignalled(state, object); });
    });
  }
  for (std::size_t i = 0; i < calls_.size(); ++i) {
    State next = state;
    if ((done >> i & 1) == 0 && calls_[i].begin < firstEnd && calls_[i].end != UINT32_MAX &&
        Apply(calls_[i], &next) && IsExplained(done | std::uint64_t{1} << i, next, seen)) {
      return true;
    }
  }
  return false;
}

std::string History::Describe() const {
  constexpr const char* kNames[] = {"set", "reset", "close", "wait", "end of"};
  std::string text;
  for (const Call& call : calls_) {
    text += std::string(text.empty() ? ": " : ", ") + kNames[static_cast<int>(call.kind)];
    for (const int object : call.objects) {
      text += " " + std::to_string(object);
    }
    text += call.end == UINT32_MAX ? " -" : " = " + std::to_string(call.result);
    text += " [" + std::to_string(call.begin) + "," + std::to_string(call.end) + "]";
  }
  return text;
}

}  // namespace Velta::Simulation
