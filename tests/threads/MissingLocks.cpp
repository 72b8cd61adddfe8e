// SPDX-License-Identifier: MIT
// What clang has to find where a lock is missing; scripts/thread_safety.sh compares. Never built.
#include "velta/platform/ThreadSafety.h"
#include "velta/platform/posix/Dispatcher.h"
#include "velta/threads/MMutex.h"

using namespace Velta::Posix;

class Account {
 public:
  void Pay(int amount) {
    MMutexGuard lock(mutex);
    Change(amount);
    lock.Unlock();
    Change(amount);  // expected-warning {{requires holding mutex 'mutex'}}
  }
  void Lose(int amount) {
    if (mutex.Lock()) {
      balance -= amount;
    }
  }  // expected-warning {{mutex 'mutex' is not held on every path}}
  int Look() const {
    return balance;  // expected-warning {{requires holding mutex 'mutex'}}
  }
  void PayTwice(int amount) {
    const MMutexGuard lock(mutex);
    Audit();  // expected-warning {{cannot call function 'Audit' while mutex 'mutex' is held}}
    Change(amount);
  }

 private:
  void Change(int amount) VELTA_REQUIRES(mutex) { balance += amount; }
  void Audit() VELTA_EXCLUDES(mutex);

  MMutex mutex;
  int balance VELTA_GUARDED_BY(mutex) = 0;
};

void Enlist(WaitableObject* object, Waiter* waiter) {
  {
    const FutexGuard lock(dispatcherLock);
    AppendNode(object, waiter, 0);
  }
  RemoveNodes(waiter);                    // expected-warning {{requires holding mutex}}
  object->firstNode = &waiter->nodes[0];  // expected-warning {{requires holding mutex}}
}
