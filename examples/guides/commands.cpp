// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/threads/MCallbackFunctor.h"

#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

// Belongs to the processor's thread alone, and so needs no lock.
class Catalogue {
 public:
  void Open() {
    titles_ = {{1, L"Lamp"}, {2, L"Chair"}};
    std::wcout << L"opened\n";
  }
  void Close() { std::wcout << L"closed\n"; }

  const std::wstring& Find(std::uint32_t number) {
    static MFlowPoint point(L"Catalogue", L"Find");
    if (titles_.count(number) == 0) {
      point.At(this).Raise(L"NoSuchItem", L"number", number);
    }
    return titles_.at(number);
  }

 private:
  std::map<std::uint32_t, std::wstring> titles_;
};

class FindTitle final : public MCommandSynchronous {
 public:
  FindTitle(const MExceptionHolder& outcome, Catalogue& catalogue, std::uint32_t number,
            std::shared_ptr<std::wstring> title)
      : MCommandSynchronous(outcome),
        catalogue_(catalogue),
        number_(number),
        title_(std::move(title)) {}

 private:
  void Execute() override { *title_ = catalogue_.Find(number_); }

  Catalogue& catalogue_;
  std::uint32_t number_;
  std::shared_ptr<std::wstring> title_;
};

// What the rest of the program sees: an ordinary function that may throw.
std::wstring TitleOf(MCommandProcessor& processor, Catalogue& catalogue, std::uint32_t number) {
  const auto title = std::make_shared<std::wstring>();
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command =
      std::make_unique<FindTitle>(outcome, catalogue, number, title);
  processor.ExecuteSynchronously(command);
  outcome.ThrowIfError();
  return *title;
}

void PrintTitle(MCommandProcessor& processor, Catalogue& catalogue, std::uint32_t number) {
  try {
    std::wcout << TitleOf(processor, catalogue, number) << L'\n';
  } catch (const MException& exception) {
    if (const MError* error = exception.GetError(0)) {
      std::wcout << error->GetCode() << L'\n';
    }
  }
}

}  // namespace

int main() {
  Catalogue catalogue;
  MCommandProcessor processor(
      nullptr, new MCallbackFunctorImp<Catalogue>(&catalogue, &Catalogue::Open),
      new MCallbackFunctorImp<Catalogue>(&catalogue, &Catalogue::Close), nullptr, 0, false);
  processor.Start();
  PrintTitle(processor, catalogue, 2);
  PrintTitle(processor, catalogue, 3);

  std::vector<std::thread> callers;
  std::vector<std::wstring> titles(4);
  for (std::wstring& title : titles) {
    callers.emplace_back([&] { title = TitleOf(processor, catalogue, 1); });
  }
  for (std::thread& caller : callers) {
    caller.join();
  }
  for (const std::wstring& title : titles) {
    std::wcout << title << L'\n';
  }

  processor.Stop();
  PrintTitle(processor, catalogue, 1);
}
