// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/Describe.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <utility>

class Divide : public MCommandSynchronous {
 public:
  Divide(const MExceptionHolder& outcome, std::uint32_t a, std::uint32_t b,
         std::shared_ptr<std::uint32_t> quotient)
      : MCommandSynchronous(outcome), a_(a), b_(b), quotient_(std::move(quotient)) {}

 private:
  void Execute() override {  // on the processor's thread
    static MFlowPoint point(L"Divide", L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    if (b_ == 0) {
      point.At(this).Raise(L"DivisorIsZero", L"number", a_);
    }
    *quotient_ = a_ / b_;
  }

  std::uint32_t a_, b_;
  std::shared_ptr<std::uint32_t> quotient_;  // shared: the command may outlive a failed wait
};

int main() {
  try {
    MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
    processor.Start();
    const auto quotient = std::make_shared<std::uint32_t>();
    const MExceptionHolder outcome = MExceptionHolder::Create();
    std::unique_ptr<MCommandSynchronous> command =
        std::make_unique<Divide>(outcome, 7U, 0U, quotient);
    processor.ExecuteSynchronously(command);  // waits; a failure comes back in the outcome
    processor.Stop();
    outcome.ThrowIfError();
    std::wcout << *quotient << L'\n';
  } catch (const MException& exception) {
    std::wcout << Describe(exception) << L'\n';
  }
}
