// SPDX-License-Identifier: MIT
// Notifications, the queue beneath them, and what is constructed while events are refused.
#include "Kit.h"
#include "Platform.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/errors/MError.h"
#include "velta/threads/MSchedulerThread.h"
#include "velta/threads/MThreadSafeFifo.h"

#include <array>
#include <cstdint>
#include <memory>

namespace Velta::Simulation {

namespace {

constexpr std::uint32_t kEach = 2;  // what a producer makes

/// What several producers number from 1 comes in the order of each, each once.
class Order {
 public:
  void Arrive(std::uint32_t producer, std::uint32_t number) {
    Check(number == ++arrived_[producer], "number %u of producer %u arrived as its %u", number,
          producer, arrived_[producer]);
    ++total_;
  }
  [[nodiscard]] std::uint32_t total() const { return total_; }

 private:
  std::array<std::uint32_t, 4> arrived_{};
  std::uint32_t total_ = 0;
};

struct OwnScheduler final : MDesyncEventScheduler {
  using MDesyncEventScheduler::MDesyncEventScheduler;
};

class Notifications {
 public:
  explicit Notifications(std::uint32_t producers) : expected_(producers * kEach) {
    for (std::uint32_t producer = 0; producer < producers; ++producer) {
      producers_.push_back(std::make_unique<Actor>("producer", [this, producer] {
        for (std::uint32_t number = 1; number <= kEach; ++number) {
          scheduler_->ScheduleDesyncEvent(new Notice(*this, producer, number));
        }
      }));
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
    Check(Platform::LiveThreads() == 0 && Platform::OpenThreads() == 0, "disabled, but not closed");
  }
  /// Every notice that comes is the last one's producer's last act: it may be on its way out.
  void WaitForAll() const { all_.Wait(); }
  void Destroy() {
    scheduler_.reset();
    isEnabled_ = false;
    Check(Platform::LiveThreads() == 0, "the thread outlives its object");
  }

 private:
  class Notice final : public MDesyncEvent {
   public:
    Notice(Notifications& owner, std::uint32_t producer, std::uint32_t number)
        : owner_(owner), producer_(producer), number_(number) {}
    void Fire() override {
      Check(owner_.isEnabled_, "a notification while the scheduler is disabled");
      owner_.order_.Arrive(producer_, number_);
      if (owner_.order_.total() == owner_.expected_) {
        owner_.all_.Set();
      }
      if (number_ == 1) {
        throw MException(MError(L"Scenario:Failure"));  // logged and dropped
      }
    }

   private:
    Notifications& owner_;
    std::uint32_t producer_;
    std::uint32_t number_;
  };

  std::uint32_t expected_;
  Order order_;
  bool isEnabled_ = false;
  Event all_;
  std::unique_ptr<OwnScheduler> scheduler_ = std::make_unique<OwnScheduler>(nullptr);
  std::vector<std::unique_ptr<Actor>> producers_;  // joined first
};

void EnabledAndDisabled() {
  Notifications notifications(4);
  notifications.Enable();
  notifications.Disable();
  notifications.Enable();
  notifications.WaitForAll();
  notifications.Disable();
  notifications.Destroy();
}

void DestroyedWhileEnabled() {
  Notifications notifications(2);
  notifications.Enable();
  notifications.WaitForAll();
  notifications.Destroy();
}

void SeveralConsumers() {
  constexpr std::uint32_t kAll = 2 * kEach;
  MThreadSafeFifo<std::uint32_t*, std::uint32_t*> queue;
  std::array<std::uint32_t, kAll> items{};
  std::array<std::uint32_t, kAll> popped{};
  std::uint32_t total = 0;
  std::vector<std::unique_ptr<Actor>> actors;
  for (std::uint32_t producer = 0; producer < 2; ++producer) {
    actors.push_back(std::make_unique<Actor>("producer", [&queue, &items, producer] {
      for (std::uint32_t i = 0; i < kEach; ++i) {
        queue.Push(&items[producer * kEach + i]);
      }
    }));
    actors.push_back(std::make_unique<Actor>("consumer", [&queue, &items, &popped, &total] {
      std::array<std::uint32_t, 2> last{};
      for (std::uint32_t* item = nullptr; total < kAll && queue.WaitForData(INFINITE);) {
        if (!queue.Pop(item) || item == nullptr) {
          continue;  // the other was faster
        }
        const auto index = static_cast<std::uint32_t>(item - items.data());
        Check(++popped[index] == 1, "popped twice");
        Check(index % kEach + 1 > last[index / kEach], "popped out of order");
        last[index / kEach] = index % kEach + 1;
        if (++total == kAll) {
          queue.Push(nullptr);  // the other ends, too
        }
      }
    }));
  }
}

/// Constructs with 0 events granted, then 1, and so on, until there are enough.
template <class T, class... Arguments>
void ConstructWithFew(const char* name, std::int32_t needed, Arguments... arguments) {
  for (std::int32_t granted = 0;; ++granted) {
    const std::uint32_t handles = Platform::OpenHandles();
    std::unique_ptr<T> made;
    Platform::Grant(granted);
    const Error error = Call(name, "*", [&] { made = std::make_unique<T>(arguments()...); });
    Platform::Grant(Platform::kUnlimited);
    if (error.name.empty()) {
      Check(granted >= needed, "%s with %d events of %d", name, granted, needed);
      return;
    }
    Check(error.winErrorCode == std::to_string(Platform::kRefusal),
          "%s with %d events: \"%s\", \"%s\"", name, granted, error.name.c_str(),
          error.winErrorCode.c_str());
    Check(Platform::OpenHandles() == handles, "%s with %d events leaves handles", name, granted);
  }
}

void RefusedConstruction() {
  const auto hook = [] { return new Callback([] {}); };
  const auto none = [] { return nullptr; };
  ConstructWithFew<MThreadSafeFifo<int*, int*>>("MThreadSafeFifo", 1);
  ConstructWithFew<MSchedulerThread>("MSchedulerThread", 5, none);
  ConstructWithFew<OwnScheduler>("MDesyncEventScheduler", 6, none);
  ConstructWithFew<MCommandProcessor>(
      "MCommandProcessor", 7, none, hook, hook, hook, [] { return 0U; }, [] { return false; });
}

}  // namespace

void AddSchedulerScenarios(std::vector<Scenario>& scenarios) {
  scenarios.push_back(InRun("scheduler.disabled", &EnabledAndDisabled));
  scenarios.push_back(InRun("scheduler.destroyed", &DestroyedWhileEnabled));
  scenarios.push_back(InRun("queue.consumers", &SeveralConsumers));
  scenarios.push_back(InRun("refused.construction", &RefusedConstruction));
}

}  // namespace Velta::Simulation
