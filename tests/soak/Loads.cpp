// SPDX-License-Identifier: MIT
#include "Loads.h"

#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <thread>

namespace {

constexpr std::uint32_t kFailsOneIn = 100;
constexpr std::int32_t kRegistryOneIn = 64;             // its values are files or a server's
constexpr std::chrono::milliseconds kBetweenDumps{50};  // nothing is logged during one
constexpr std::uint64_t kMostWaiting = 10000;           // notifications: producers wait beyond that

template <class Work>
void OnTwoThreads(Work work) {
  std::thread other(work);
  work();
  other.join();
}

class Count final : public MCommandSynchronous {
 public:
  Count(const MExceptionHolder& outcome, Tally& counts, std::uint32_t commandNumber)
      : MCommandSynchronous(outcome), tally(counts), number(commandNumber) {}

 private:
  void Execute() override {
    static MFlowPoint point(L"Count", L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    ++tally.executed;
    if (number % kFailsOneIn == 0) {
      ++tally.failed;
      point.At(this).Raise(L"Asked", L"number", number);
    }
  }

  Tally& tally;
  std::uint32_t number;
};

void SubmitOne(Tally& tally, MCommandProcessor& processor, std::uint32_t number) {
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<Count>(outcome, tally, number);
  processor.ExecuteSynchronously(command);
  ++tally.submitted;
  if (outcome.HasError() != (number % kFailsOneIn == 0)) {
    tally.Fail("an outcome is not its command's");
  }
  if (!outcome.HasError()) {
    return;
  }
  const MError* const error = outcome.GetException()->GetError(0);
  if (error == nullptr || error->GetCode() != L"Count.Execute:Asked" ||
      error->GetParameters().at(L"number") != std::to_wstring(number)) {
    tally.Fail("an error has changed on its way");
  }
  ++tally.reported;
}

class Delivery final : public MDesyncEvent {
 public:
  explicit Delivery(Tally& counts) : tally(counts) {}
  void Fire() override {
    ++tally.delivered;
    tally.delivered.notify_all();
  }

 private:
  Tally& tally;
};

bool WriteSettings(IOutFilerTagged& filer, std::int32_t number, const MString& text) {
  return filer.BeginGroup(L"Panel") && filer.WriteInt(L"Number", number) &&
         filer.WriteString(L"Text", text) && filer.WriteDouble(L"Half", number / 2.0) &&
         filer.WriteBool(L"Odd", number % 2 != 0) && filer.EndGroup();
}

bool ReadsBack(IInFilerTagged& filer, std::int32_t number, const MString& text) {
  std::int32_t readNumber = 0;
  MString readText;
  double half = 0;
  bool odd = false;
  return filer.BeginGroup(L"Panel") && filer.ReadInt(L"Number", &readNumber, 0) &&
         filer.ReadString(L"Text", &readText, MString()) && filer.ReadDouble(L"Half", &half, 0) &&
         filer.ReadBool(L"Odd", &odd, false) && filer.EndGroup() && readNumber == number &&
         readText == text && half == number / 2.0 && odd == (number % 2 != 0);
}

bool StoreInXml(std::int32_t number, const MString& text) {
  MOutFilerTaggedXml writer(L"Soak", L"urn:soak");
  MString document;
  if (!WriteSettings(writer, number, text) || !writer.GetText(&document)) {
    return false;
  }
  MInFilerTaggedXml reader(document, L"Soak", L"urn:soak");
  return ReadsBack(reader, number, text);
}

bool StoreInRegistry(std::int32_t number, const MString& text) {
  IOutFilerTaggedRegistry writer(L"Soak");
  if (!WriteSettings(writer, number, text)) {
    return false;
  }
  IInFilerTaggedRegistry reader(L"Soak", true);
  return ReadsBack(reader, number, text);
}

/// Looks at a dump's text as it comes: two lines of header, then two for each record.
class DumpReader final : public std::streambuf {
 public:
  [[nodiscard]] bool IsSound() const { return sound && atLineStart && line >= 2 && line % 2 == 0; }
  [[nodiscard]] std::uint64_t CountRecords() const { return (line - 2) / 2; }

 protected:
  int_type overflow(int_type next) override {
    const char character = traits_type::to_char_type(next);
    xsputn(&character, 1);
    return traits_type::not_eof(next);
  }

  std::streamsize xsputn(const char* text, std::streamsize length) override {
    for (std::string_view rest(text, static_cast<std::size_t>(length)); !rest.empty();) {
      if (atLineStart) {
        sound = sound && rest.front() == (line < 2 || line % 2 == 0 ? '%' : ' ');
      }
      const std::size_t end = rest.find('\n');
      atLineStart = end != std::string_view::npos;
      if (atLineStart) {
        ++line;
      }
      rest.remove_prefix(atLineStart ? end + 1 : rest.size());
    }
    return length;
  }

 private:
  std::uint64_t line = 0;
  bool atLineStart = true;
  bool sound = true;
};

}  // namespace

void Tally::Fail(const std::string& text) {
  if (!faulty.exchange(true)) {
    fault = text;
  }
  ending = true;
}

void SubmitCommands(Tally& tally) {
  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();
  OnTwoThreads([&] {
    for (std::uint32_t number = 1; !tally.ending; ++number) {
      SubmitOne(tally, processor, number);
    }
  });
  processor.Stop();
}

void ScheduleNotifications(Tally& tally) {
  MDesyncEventScheduler scheduler(nullptr);
  scheduler.Enable();
  OnTwoThreads([&] {
    while (!tally.ending) {
      scheduler.ScheduleDesyncEvent(std::make_unique<Delivery>(tally).release());
      ++tally.scheduled;
      for (std::uint64_t delivered = tally.delivered; tally.scheduled > delivered + kMostWaiting;
           delivered = tally.delivered) {
        tally.delivered.wait(delivered);
      }
    }
  });
  for (std::uint64_t delivered = tally.delivered; delivered != tally.scheduled;
       delivered = tally.delivered) {
    tally.delivered.wait(delivered);
  }
  scheduler.Disable();
}

void StoreSettings(Tally& tally) {
  MString text(L"<&\"> ");
  for (std::int32_t number = 0; !tally.ending; ++number) {
    text.back() = static_cast<wchar_t>(L'!' + number % 64);
    const bool inXml = number % kRegistryOneIn != 0;
    if (!(inXml ? StoreInXml(number, text) : StoreInRegistry(number, text))) {
      tally.Fail(inXml ? "settings in XML came back changed" : "settings in the registry did");
    }
    ++tally.stored;
  }
}

void DumpLog(Tally& tally) {
  while (!tally.ending) {
    DumpReader reader;
    std::ostream stream(&reader);
    MFlowLogger::Instance()->Dump(stream);
    if (!reader.IsSound()) {
      tally.Fail("a dump is not what it should be");
    }
    tally.records += reader.CountRecords();
    ++tally.dumps;
    std::this_thread::sleep_for(kBetweenDumps);
  }
}
