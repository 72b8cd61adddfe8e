// SPDX-License-Identifier: MIT
#include "History.h"

#include "../Scheduler.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <utility>

namespace Velta::Simulation {

namespace {

using Kind = Call::Kind;

struct Object {
  ObjectKind kind;
  HANDLE handle = nullptr;
  bool isOpen = false;
};

void LetTimePass(DWORD milliseconds) {
  WaitFor("time to pass", [] { return false; }, milliseconds);
}

class History {
 public:
  History(const std::vector<ObjectKind>& kinds, std::vector<std::vector<Call>> threads)
      : threads_(std::move(threads)) {
    for (const ObjectKind kind : kinds) {
      objects_.push_back({kind});
      if (kind == ObjectKind::Thread) {
        calls_.push_back({Kind::ThreadEnd, {static_cast<std::uint32_t>(objects_.size() - 1)}});
        calls_.back().begin = ++moment_;
      }
      if (kind != ObjectKind::Later) {
        Make(objects_.back());
      }
    }
  }

  void Run() {
    for (std::vector<Call>& calls : threads_) {
      Spawn("actor", [this, &calls] {
        for (Call& call : calls) {
          Do(call);
        }
      });
    }
    LetTimePass(kLong / 2);
    WaitUntilOthersRest();
    for (Call& threadEnd : calls_) {
      threadEnd.end = ++moment_;  // all threads have ended by now
    }
    for (const std::vector<Call>& calls : threads_) {
      std::copy_if(calls.begin(), calls.end(), std::back_inserter(calls_),
                   [](const Call& call) { return call.begin != UINT32_MAX; });
    }
    Check(IsExplained(0, 0), "no order explains%s", Describe().c_str());
    LetTimePass(2 * kLong);
    WaitUntilOthersEnd();
    for (const Object& object : objects_) {
      Check(!object.isOpen || ::CloseHandle(object.handle) != FALSE,
            "a handle is not open any more");
    }
  }

 private:
  /// Two bits an object: signalled, closed.
  using State = std::uint64_t;
  static State Signalled(std::uint32_t object) { return State{1} << (2 * object); }
  static State Closed(std::uint32_t object) { return State{2} << (2 * object); }

  void Make(Object& object) {
    if (object.kind == ObjectKind::Thread) {
      object.handle = reinterpret_cast<HANDLE>(
          ::_beginthreadex(nullptr, 0, [](void*) { return 0U; }, nullptr, 0, nullptr));
    } else {
      object.handle =
          ::CreateEventW(nullptr, object.kind == ObjectKind::Manual ? TRUE : FALSE, FALSE, nullptr);
    }
    object.isOpen = true;
  }

  void Do(Call& call) {
    Object& object = objects_[call.objects[0]];
    call.begin = ++moment_;
    call.since = Now();
    if (call.kind == Kind::Make) {
      Make(object);
    } else if (call.kind == Kind::Set) {
      call.result = static_cast<DWORD>(::SetEvent(object.handle));
    } else if (call.kind == Kind::Reset) {
      call.result = static_cast<DWORD>(::ResetEvent(object.handle));
    } else if (call.kind == Kind::Close) {
      object.isOpen = false;
      call.result = static_cast<DWORD>(::CloseHandle(object.handle));
    } else {
      call.result = DoWait(call);
    }
    call.end = ++moment_;
  }

  DWORD DoWait(const Call& call) {
    std::vector<HANDLE> handles;
    for (const std::uint32_t object : call.objects) {
      handles.push_back(objects_[object].handle);
    }
    const auto count = static_cast<DWORD>(handles.size());
    const DWORD result =
        count == 1 ? ::WaitForSingleObject(handles[0], call.milliseconds)
                   : ::WaitForMultipleObjects(count, handles.data(), FALSE, call.milliseconds);
    Check(
        result != WAIT_TIMEOUT || Now() >= call.since + std::int64_t{call.milliseconds} * 1'000'000,
        "a wait ended before its time");
    return result;
  }

  bool IsSignalled(State state, std::uint32_t object) const {
    // Who waits for a thread whose handle is closed waits on for its end.
    const bool counts =
        objects_[object].kind == ObjectKind::Thread || (state & Closed(object)) == 0;
    return counts && (state & Signalled(object)) != 0;
  }

  /// Has the call take effect. @return whether its result is right in this state
  bool Apply(const Call& call, State* state) const {
    const std::uint32_t object = call.objects[0];
    const bool isClosed = (*state & Closed(object)) != 0;
    switch (call.kind) {
      case Kind::Make:
        *state &= ~(Signalled(object) | Closed(object));
        return true;
      case Kind::Set:
        *state |= isClosed ? 0 : Signalled(object);
        return (call.result != 0) == !isClosed;
      case Kind::Reset:
        *state &= isClosed ? ~State{0} : ~Signalled(object);
        return (call.result != 0) == !isClosed;
      case Kind::Close:
        *state |= Closed(object);
        return (call.result != 0) == !isClosed;
      case Kind::ThreadEnd:
        *state |= Signalled(object);
        return true;
      case Kind::Wait:
        break;
    }
    if (call.result == WAIT_FAILED) {
      return std::any_of(call.objects.begin(), call.objects.end(),
                         [&](std::uint32_t each) { return (*state & Closed(each)) != 0; });
    }
    const auto first = std::find_if(call.objects.begin(), call.objects.end(),
                                    [&](std::uint32_t each) { return IsSignalled(*state, each); });
    if (first == call.objects.end()) {
      return call.result == WAIT_TIMEOUT;
    }
    if (objects_[*first].kind == ObjectKind::Automatic ||
        objects_[*first].kind == ObjectKind::Later) {
      *state &= ~Signalled(*first);
    }
    return call.result < call.objects.size() && call.objects[call.result] == *first;
  }

  /// Whether the calls that are not yet `done` can follow in some order.
  bool IsExplained(std::uint64_t done, State state) {
    std::vector<State>& known = seen_[done];
    if (std::find(known.begin(), known.end(), state) != known.end()) {
      return false;
    }
    known.push_back(state);
    std::uint32_t firstEnd = UINT32_MAX;
    for (std::size_t i = 0; i < calls_.size(); ++i) {
      if ((done >> i & 1) == 0) {
        firstEnd = (std::min)(firstEnd, calls_[i].end);
      }
    }
    if (firstEnd == UINT32_MAX) {  // whoever waits on has nothing to end the wait
      return std::none_of(calls_.begin(), calls_.end(), [&](const Call& call) {
        return call.end == UINT32_MAX &&
               std::any_of(call.objects.begin(), call.objects.end(),
                           [&](std::uint32_t object) { return IsSignalled(state, object); });
      });
    }
    for (std::size_t i = 0; i < calls_.size(); ++i) {
      State next = state;
      if ((done >> i & 1) == 0 && calls_[i].begin < firstEnd && calls_[i].end != UINT32_MAX &&
          Apply(calls_[i], &next) && IsExplained(done | std::uint64_t{1} << i, next)) {
        return true;
      }
    }
    return false;
  }

  std::string Describe() const {
    constexpr const char* kNames[] = {"make", "set", "reset", "close", "wait", "end of"};
    std::string text;
    for (const Call& call : calls_) {
      text += std::string(text.empty() ? ": " : ", ") + kNames[static_cast<int>(call.kind)];
      for (const std::uint32_t object : call.objects) {
        text += " " + std::to_string(object);
      }
      text += call.end == UINT32_MAX ? " -" : " = " + std::to_string(call.result);
      text += " [" + std::to_string(call.begin) + "," + std::to_string(call.end) + "]";
    }
    return text;
  }

  std::vector<Object> objects_;
  std::vector<std::vector<Call>> threads_;
  std::vector<Call> calls_;  // that have begun
  std::map<std::uint64_t, std::vector<State>> seen_;
  std::uint32_t moment_ = 0;
};

}  // namespace

void RunCalls(const std::vector<ObjectKind>& objects, std::vector<std::vector<Call>> threads) {
  History(objects, std::move(threads)).Run();
}

}  // namespace Velta::Simulation
