// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MKLoggerAdapter.h"
#include "velta/logging/internal/ProcessLog.h"

#include <limits>

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

TEST(MKLoggerAdapter, TranslatesEveryKind) {
  Module module;
  const std::int32_t codes[] = {0,  -105, -104, -103, -14,  -13, -25,
                                -7, -8,   0,    -102, -101, -21, -20};
  for (std::uint32_t kind = 0; kind < std::size(codes); ++kind) {
    module.logger.LogEvent(kind, 0xFFFFFFFF, 2, 3, 0x80000000, Address(0x1122334455667788));
    const KLogRecord record = KLoggerProbe::Record(module.log, kind);
    const KLogRecord expected{
        record.time,        codes[kind],    -1, 2, 3, std::numeric_limits<std::int32_t>::min(),
        0x1122334455667788, record.threadId};
    EXPECT_EQ(record, expected) << kind;
    EXPECT_NE(+record.time, 0);
    EXPECT_NE(+record.threadId, 0U);
  }
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
  EXPECT_THAT(DumpEvents(own.log), IsEmpty());

  own.adapter.Attach(&second.adapter);
  own.adapter.Attach(&third.adapter);
  own.logger.LogEvent(4, 0, 0, 0, 0, nullptr);
  own.adapter.Attach(&foreign);
  EXPECT_THAT(DumpEvents(second.log), Logged({"Log_module_added (unknown).(unknown)"}));
  EXPECT_THAT(DumpEvents(third.log),
              Logged({"Log_module_added (unknown).(unknown)", "Construction (unknown).(unknown)",
                      "Log_module_removed (unknown).(unknown)"}));
}

TEST(MKLoggerAdapter, WithoutALogItDropsEverything) {
  Module other;
  MKLoggerAdapter adapter(nullptr);
  adapter.LogEvent(4, 0, 0, 0, 0, nullptr);
  adapter.RegisterClassName(Address(1), L"name");
  adapter.Attach(&other.adapter);
  adapter.LogEvent(5, 0, 0, 0, 0, nullptr);
  std::ostringstream text;
  adapter.Dump(text);
  EXPECT_EQ(text.str(), "");
  EXPECT_FALSE(adapter.DumpToFile());
  EXPECT_THAT(DumpEvents(other.log), SizeIs(2));

  MFlowLogger nowhere(nullptr);
  nowhere.LogEvent(4, 0, 0, 0, 0, nullptr);
  nowhere.Attach(&other.logger);
  nowhere.Dump(text);
  EXPECT_EQ(text.str(), "");
  EXPECT_FALSE(nowhere.DumpToFile());
  MDiagnosticsRegistry(nullptr).RegisterThreadName(L"name");
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
