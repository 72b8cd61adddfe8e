// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MKLoggerAdapter.h"
#include "velta/logging/internal/ProcessLog.h"

#include <cstdint>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace ProcessLog = Velta::Logging::ProcessLog;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

// Two modules: each with a log, the adapter to it and the handles.
struct Module {
  KLogger log;
  MKLoggerAdapter adapter{&log};
  MFlowLogger logger{&adapter};
  MDiagnosticsRegistry registry{&adapter};
};

class ForeignLogger : public MFlowLoggerImplementation {
 public:
  void LogEvent(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                const void*) noexcept override {}
  void Dump(std::ostream&) noexcept override {}
  bool DumpToFile() noexcept override { return true; }
  void Attach(MFlowLoggerImplementation*) noexcept override {}
};

TEST(MKLoggerAdapter, EveryKindIsAnEventWhoseTextShowsWhatItsFirstValueMeans) {
  constexpr std::uint32_t kNoKind = 99;  // written to the log itself
  const struct {
    std::uint32_t kind;
    std::int32_t code;
    std::int32_t value;
    const char* text;
  } table[] = {{0, 0, 3, "Timing_point (3, 5) (unknown).point 7"},
               {1, -105, 9, "Root_error WaitFailed (unknown).(unknown)"},
               {2, -104, 1, "Cascade_error (unknown) (unknown).(unknown)"},
               {3, -103, 0, "Dismissed_error (unknown) (unknown).(unknown)"},
               {4, -14, 0, "Construction (unknown).(unknown)"},
               {5, -13, 0, "Destruction (unknown).(unknown)"},
               {6, -25, -4, "State_change to state_-4 (unknown).(unknown)"},
               {7, -7, 0, "Scope_push (unknown).(unknown)"},
               {8, -8, 0, "Scope_pop (unknown).(unknown)"},
               {9, 0, 3, "Timing_point (3, 5) (unknown).point 7"},
               {10, -102, 9, "Return_error WaitFailed (unknown).(unknown)"},
               {11, -101, 9, "Warning WaitFailed (unknown).(unknown)"},
               {12, -21, 5000, "Message_send Refresh (unknown).(unknown)"},
               {12, -21, 5001, "Message_send 5001 (unknown).(unknown)"},
               {13, -20, 5000, "Message_receive (unknown).(unknown)"},
               {kNoKind, -202, 0, "Log_module_added (unknown).(unknown)"},
               {kNoKind, -201, 0, "Log_module_removed (unknown).(unknown)"},
               {kNoKind, -23, 0, "Notify (unknown).(unknown)"},
               {kNoKind, -22, 0, "Update (unknown).(unknown)"},
               {kNoKind, -1, 3, "Timing_point (unknown).(unknown)"},
               {kNoKind, 42, 3, "unknown event (unknown).(unknown)"}};
  Module module;
  KLogger::RegisterName(&module.log, 9, "WaitFailed");
  KLogger::RegisterMessageName(&module.log, 5000, "Refresh");
  const void* const object = Address(0x1122334455667788);
  std::vector<std::string> texts;
  for (const auto& [kind, code, value, text] : table) {
    if (kind == kNoKind) {
      KLogger::Write(&module.log, code, value, 5, 6, 7, object);
    } else {
      module.logger.LogEvent(kind, static_cast<std::uint32_t>(value), 5, 6, 7, object);
    }
    const auto slot = static_cast<std::uint32_t>(texts.size());
    const KLogRecord record = KLoggerProbe::Record(module.log, slot);
    const KLogRecord expected{record.time,        code,           value, 5, 6, 7,
                              0x1122334455667788, record.threadId};
    EXPECT_EQ(record, expected) << text;
    EXPECT_TRUE(record.time != 0 && record.threadId != 0);
    texts.emplace_back(text);
  }
  EXPECT_THAT(DumpEvents(module.log), Logged(texts));
}

TEST(MKLoggerAdapter, RegistersUnderLowKeyBitsAndCutsCharacters) {
  Module module;
  // Each character keeps its low 8 bits: two of these become 'A' and 0xFF.
  const wchar_t name[] = {L'n', static_cast<wchar_t>(0x141), static_cast<wchar_t>(0x2FF), 0};
  const std::string cut = "nA\xFF";
  module.registry.RegisterClassName(Address(0x700000001), name);
  module.registry.RegisterPointName(Address(1), Address(0x700000002), name);
  module.registry.RegisterErrorName(Address(0x700000003), name);
  module.registry.RegisterObjectName(Address(0x700000004), name);
  module.registry.RegisterStateName(Address(0x700000005), 6, name);
  module.registry.RegisterMessageName(507, name);
  module.registry.RegisterClassName(Address(9), nullptr);

  EXPECT_THAT(KLoggerProbe::Names(module.log),
              ElementsAre(Pair(1, cut), Pair(2, cut), Pair(3, cut)));
  EXPECT_THAT(KLoggerProbe::Objects(module.log), ElementsAre(Pair(0x700000004, cut)));
  EXPECT_THAT(KLoggerProbe::States(module.log), ElementsAre(Pair(506, cut), Pair(507, cut)));
}

// A module event gives the other log and nothing else.
bool IsAbout(const KLogger& log, const LoggedEvent& event) {
  return event.Concerns(&log) && event.value1 == 0 && event.value2 == 0 && event.classKey == 0;
}

TEST(MKLoggerAdapter, MirrorsEventsAndNamesWhileAttached) {
  Module own;
  Module other;
  other.registry.RegisterClassName(Address(1), L"theirs");
  own.registry.RegisterClassName(Address(1), L"ours");
  own.registry.RegisterPointName(nullptr, Address(2), L"before");

  own.logger.Attach(&other.logger);
  own.registry.RegisterStateName(Address(1), 2, L"Running");
  own.registry.RegisterThreadName(L"Mirrored");
  own.logger.LogEvent(6, 2, 0, 1, 2, nullptr);
  own.logger.Attach(nullptr);
  own.logger.LogEvent(4, 0, 0, 1, 2, nullptr);
  own.registry.RegisterErrorName(Address(3), L"late");

  const std::vector<LoggedEvent> mirrored = DumpEvents(other.log);
  ASSERT_THAT(mirrored, Logged({"Log_module_added (unknown).(unknown)",
                                "State_change to Running theirs.before",
                                "Log_module_removed (unknown).(unknown)"}));
  EXPECT_TRUE(IsAbout(own.log, mirrored[0]) && IsAbout(own.log, mirrored[2]));
  EXPECT_THAT(KLoggerProbe::Names(other.log), ElementsAre(Pair(1, "theirs"), Pair(2, "before")));
  EXPECT_THAT(KLoggerProbe::Threads(other.log), ElementsAre(Pair(testing::_, "Mirrored")));
  const std::vector<LoggedEvent> kept = DumpEvents(own.log);
  ASSERT_THAT(kept,
              Logged({"Log_module_added (unknown).(unknown)", "State_change to Running ours.before",
                      "Log_module_removed (unknown).(unknown)", "Construction ours.before"}));
  EXPECT_TRUE(IsAbout(other.log, kept[0]) && IsAbout(other.log, kept[2]));
}

TEST(MKLoggerAdapter, ForeignLoggerDetachesAndASecondModuleReplacesSilently) {
  Module own;
  Module second;
  Module third;
  ForeignLogger foreign;
  own.adapter.Attach(&foreign);  // nothing attached: nothing happens
  own.adapter.Attach(nullptr);
  own.adapter.Attach(&second.adapter);
  own.adapter.Attach(&third.adapter);
  own.logger.LogEvent(4, 0, 0, 0, 0, nullptr);
  own.adapter.Attach(&foreign);
  const std::string added = "Log_module_added (unknown).(unknown)";
  const std::string logged = "Construction (unknown).(unknown)";
  const std::string removed = "Log_module_removed (unknown).(unknown)";
  EXPECT_THAT(DumpEvents(own.log), Logged({added, added, logged, removed}));
  EXPECT_THAT(DumpEvents(second.log), Logged({added}));
  EXPECT_THAT(DumpEvents(third.log), Logged({added, logged, removed}));
}

TEST(MKLoggerAdapter, WithoutALogItDropsEverything) {
  Module other;
  MKLoggerAdapter adapter(nullptr);
  MFlowLogger withoutLog(&adapter);
  MFlowLogger nowhere(nullptr);
  std::ostringstream text;
  adapter.Attach(&other.adapter);
  for (MFlowLogger* const logger : {&withoutLog, &nowhere}) {
    logger->LogEvent(4, 0, 0, 0, 0, nullptr);
    logger->Dump(text);
    EXPECT_FALSE(logger->DumpToFile());
  }
  nowhere.Attach(&other.logger);
  MDiagnosticsRegistry(nullptr).RegisterThreadName(L"name");
  EXPECT_EQ(text.str(), "");
  EXPECT_THAT(DumpEvents(other.log), SizeIs(2));
  EXPECT_THAT(KLoggerProbe::Threads(other.log), IsEmpty());
}

TEST(ProcessLog, IsOneAndNamesTheFrameworkFromStartUp) {
  KLogger* const log = KLogger::Instance();
  ASSERT_NE(log, nullptr);
  EXPECT_EQ(KLogger::Instance(), log);
  EXPECT_EQ(MFlowLogger::Instance(), MFlowLogger::Instance());
  EXPECT_EQ(MDiagnosticsRegistry::Instance(), MDiagnosticsRegistry::Instance());
  for (const char* const name :
       {"KLogger", "KGuardedLock", "MKLoggerAdapter", "MFlowLogger", "MFlowLoggerImplementation",
        "MDiagnosticsRegistry", "MDiagnosticsRegistryImplementation", "MFlowPoint", "MFlowScope",
        "InputStream", "OutputStream", "Streamable", "TInputStream", "TOutputStream",
        "TStreamable"}) {
    EXPECT_THAT(KLoggerProbe::Names(*log), Contains(Pair(testing::_, name)));
  }
  for (const char* const name : {"MKLoggerAdapter initialiser", "KLogger initialiser"}) {
    EXPECT_THAT(KLoggerProbe::Objects(*log), Contains(Pair(testing::_, name)));
  }
}

TEST(ProcessLog, ForgetsOnlyItsOwnAdapter) {
  MKLoggerAdapter* const original = MKLoggerAdapter::Instance();
  {
    const MKLoggerAdapter other(KLogger::Instance());
  }
  EXPECT_EQ(MKLoggerAdapter::Instance(), original);

  {
    MKLoggerAdapter other(KLogger::Instance());
    ProcessLog::adapter.store(&other);
    EXPECT_EQ(MKLoggerAdapter::Instance(), &other);
  }
  EXPECT_EQ(ProcessLog::adapter.exchange(original), nullptr);
}

}  // namespace
