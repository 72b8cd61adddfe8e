// SPDX-License-Identifier: MIT
// Notifications, the queue beneath them, and what is constructed while events are refused.
#include "Kit.h"
#include "tests/support/ThreadKit.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/errors/MError.h"
#include "velta/threads/MSchedulerThread.h"
#include "velta/threads/MThreadSafeFifo.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Velta::Simulation {

namespace {

constexpr std::uint32_t kEach = 2;  // what a producer makes
constexpr std::uint32_t kMaxProducers = 4;

class OwnScheduler final : public MDesyncEventScheduler {
 public:
  using MDesyncEventScheduler::MDesyncEventScheduler;
};

/// Several producers number their notices, which must come in the order of each, each once.
class Notifications {
 public:
  explicit Notifications(std::uint32_t producers) : missing_(producers * kEach) {
    for (std::uint32_t producer = 0; producer < producers; ++producer) {
      Spawn("producer", [this, producer] {
        for (std::uint32_t number = 1; number <= kEach; ++number) {
          scheduler_->ScheduleDesyncEvent(new Notice(*this, producer, number));
        }
      });
    }
  }

  void Enable() {
    isEnabled_ = true;
    Call("Enable", "", [this] { scheduler_->Enable(); });
    Call("Enable again", "AlreadyRunning", [this] { scheduler_->Enable(); });
  }
  void Disable() {
    Call("Disable", "", [this] { scheduler_->Disable(); });
    isEnabled_ = false;
    const Platform::Counts counts = Platform::Count();
    Check(counts.liveThreads + counts.openThreads == 0, "disabled, but not closed");
  }
  /// The last notice may come while its producer is on its way out.
  void DestroyAfterAll(bool disables) {
    Wait("all notices", [this] { return missing_ == 0; });
    if (disables) {
      Disable();
    }
    scheduler_.reset();
    isEnabled_ = false;
    Check(Platform::Count().liveThreads == 0, "the thread outlives its object");
    WaitUntilOthersEnd();
  }

 private:
  class Notice final : public MDesyncEvent {
   public:
    Notice(Notifications& owner, std::uint32_t producer, std::uint32_t number)
        : owner_(owner), producer_(producer), number_(number) {}
    void Fire() override {
      Check(owner_.isEnabled_, "a notification while the scheduler is disabled");
      const std::uint32_t arrived = ++owner_.arrived_[producer_];
      Check(number_ == arrived, "number %u of producer %u arrived as its %u", number_, producer_,
            arrived);
      --owner_.missing_;
      if (number_ == 1) {
        throw MException(MError(L"Scenario:Failure"));  // logged and dropped
      }
    }

   private:
    Notifications& owner_;
    std::uint32_t producer_;
    std::uint32_t number_;
  };

  std::uint32_t missing_;
  std::uint32_t arrived_[kMaxProducers]{};
  bool isEnabled_ = false;
  std::unique_ptr<OwnScheduler> scheduler_ = std::make_unique<OwnScheduler>(nullptr);
};

void EnabledAndDisabled() {
  Notifications notifications(kMaxProducers);
  notifications.Enable();
  notifications.Disable();
  notifications.Enable();
  notifications.DestroyAfterAll(true);
}

void DestroyedWhileEnabled() {
  Notifications notifications(2);
  notifications.Enable();
  notifications.DestroyAfterAll(false);
}

void SeveralConsumers() {
  constexpr std::uint32_t kAll = 2 * kEach;
  MThreadSafeFifo<std::uint32_t*, std::uint32_t*> queue;
  std::uint32_t popped[kAll]{};  // how often; an item is a pointer to its count
  std::uint32_t total = 0;
  const auto consume = [&] {
    std::uint32_t last[2]{};
    for (std::uint32_t* item = nullptr; total < kAll && queue.WaitForData(INFINITE);) {
      if (!queue.Pop(item) || item == nullptr) {
        continue;  // the other was faster
      }
      const auto index = static_cast<std::uint32_t>(item - popped);
      Check(++*item == 1, "popped twice");
      Check(index % kEach + 1 > last[index / kEach], "popped out of order");
      last[index / kEach] = index % kEach + 1;
      if (++total == kAll) {
        queue.Push(nullptr);  // the other ends, too
      }
    }
  };
  for (std::uint32_t producer = 0; producer < 2; ++producer) {
    Spawn("producer", [&queue, &popped, producer] {
      for (std::uint32_t i = 0; i < kEach; ++i) {
        queue.Push(&popped[producer * kEach + i]);
      }
    });
    Spawn("consumer", consume);
  }
  WaitUntilOthersEnd();
}

/// Constructs with 0 events granted, then 1, and so on, until there are enough.
void ConstructWithFew(const char* name, std::int32_t needed,
                      const std::function<void()>& construct) {
  for (std::int32_t granted = 0;; ++granted) {
    Platform::Grant(granted);
    const Error error = Call(name, "*", construct);
    Platform::Grant(Platform::kUnlimited);
    if (error.name.empty()) {
      Check(granted >= needed, "%s with %d events of %d", name, granted, needed);
      return;
    }
    Check(error.winErrorCode == std::to_string(Platform::kRefusal),
          "%s with %d events: \"%s\", \"%s\"", name, granted, error.name.c_str(),
          error.winErrorCode.c_str());
    Check(Platform::Count().openHandles == 0, "%s with %d events leaves handles", name, granted);
  }
}

void RefusedConstruction() {
  const auto hook = [] { return new Callback([] {}); };
  ConstructWithFew("MThreadSafeFifo", 1, [] { const MThreadSafeFifo<int*, int*> made; });
  ConstructWithFew("MSchedulerThread", 5, [] { const MSchedulerThread made(nullptr); });
  ConstructWithFew("MDesyncEventScheduler", 6, [] { const OwnScheduler made(nullptr); });
  ConstructWithFew("MCommandProcessor", 7, [&] {
    const MCommandProcessor made(nullptr, hook(), hook(), hook(), 0, false);
  });
}

}  // namespace

std::vector<Scenario> SchedulerScenarios() {
  return {InRun("scheduler.disabled", &EnabledAndDisabled),
          InRun("scheduler.destroyed", &DestroyedWhileEnabled),
          InRun("queue.consumers", &SeveralConsumers),
          InRun("refused.construction", &RefusedConstruction)};
}

}  // namespace Velta::Simulation
