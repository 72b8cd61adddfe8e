// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/Describe.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/threads/MCallbackFunctor.h"

#include <iostream>
#include <memory>
#include <utility>

#include <windows.h>

namespace {

const wchar_t kWindowClass[] = L"CounterWindow";
constexpr UINT kCount = WM_APP;

// Counts the messages that its window gets. All of it belongs to the processor's thread.
class Counter {
 public:
  void Open() {
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = &OnMessage;
    windowClass.lpszClassName = kWindowClass;
    ::RegisterClassW(&windowClass);
    window_ = ::CreateWindowExW(0, kWindowClass, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                nullptr, nullptr);
    const DWORD lastError = ::GetLastError();  // first: nothing may run in between
    static MFlowPoint point(L"Counter", L"Open");
    if (window_ == nullptr) {
      point.At(this).Raise(L"NoWindow", L"winErrorCode", lastError);
    }
    ::SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }

  void Pump() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
      ::TranslateMessage(&message);
      ::DispatchMessageW(&message);
    }
  }

  void Close() { ::DestroyWindow(window_); }

  HWND GetWindow() const { return window_; }
  int GetCount() const { return count_; }

 private:
  static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message != kCount) {
      return ::DefWindowProcW(window, message, first, second);
    }
    auto* const counter = reinterpret_cast<Counter*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    return ++counter->count_;
  }

  HWND window_ = nullptr;
  int count_ = 0;
};

class ReadCount final : public MCommandSynchronous {
 public:
  ReadCount(const MExceptionHolder& outcome, const Counter& counter, std::shared_ptr<int> count)
      : MCommandSynchronous(outcome), counter_(counter), count_(std::move(count)) {}

 private:
  void Execute() override { *count_ = counter_.GetCount(); }

  const Counter& counter_;
  std::shared_ptr<int> count_;
};

}  // namespace

int main() {
  Counter counter;
  MCommandProcessor processor(nullptr, new MCallbackFunctorImp<Counter>(&counter, &Counter::Open),
                              new MCallbackFunctorImp<Counter>(&counter, &Counter::Close),
                              new MCallbackFunctorImp<Counter>(&counter, &Counter::Pump), 0, true);
  try {
    processor.Start();
    // Returns when the window's thread has pumped the message.
    ::SendMessageW(counter.GetWindow(), kCount, 0, 0);
    ::SendMessageW(counter.GetWindow(), kCount, 0, 0);

    const auto count = std::make_shared<int>();
    const MExceptionHolder outcome = MExceptionHolder::Create();
    std::unique_ptr<MCommandSynchronous> command =
        std::make_unique<ReadCount>(outcome, counter, count);
    processor.ExecuteSynchronously(command);
    outcome.ThrowIfError();
    std::wcout << *count << L" messages\n";
  } catch (const MException& exception) {
    std::wcout << Describe(exception) << L'\n';
    return 1;
  }
}
