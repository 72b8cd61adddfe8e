// SPDX-License-Identifier: MIT
#include "../Scopes.h"

#include "../Events.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace Velta::Logging {
namespace {

/// Adds one record of each token "T:O(@M" to a log: thread T (or 1), operation O, entry "(", exit
/// ")" or something else "!", at M microseconds (or the number of records before it). A digit after
/// the operation is the record's value.
Log Parse(const std::string& text) {
  Log log;
  LogBuilder builder(log);
  std::istringstream tokens(text);
  for (std::string token; tokens >> token;) {
    Record record{};
    const bool hasThread = token.size() > 1 && token[1] == ':';
    record.thread = builder.FindThread(hasThread ? token[0] - '0' : 1, kUnknown);
    std::size_t at = hasThread ? 2 : 0;
    record.operation = builder.FindOperation("C", token.substr(at++, 1), false);
    if (token[at] >= '0' && token[at] <= '9') {
      record.value1 = token[at++] - '0';
    }
    const char kind = token[at++];
    record.code = kind == '(' ? kScopePush : kind == ')' ? kScopePop : kTimingPoint;
    record.time = at < token.size() ? std::stoll(token.substr(at + 1))
                                    : static_cast<Micros>(log.records.size());
    log.records.push_back(record);
  }
  return log;
}

char OperationOf(const Log& log, const Scope& scope) {
  return log.OperationName(log.records[scope.IdentifyingRecord()].operation)[0];
}

/// Each scope as "A 0-4 self 2", after one dot per scope around it; "<" marks a missing entry, ">"
/// a missing exit, "|" the next thread.
std::string ScopesText(const Log& log, const Scopes& scopes) {
  std::string text;
  for (std::uint32_t i = 0; i < scopes.all.size(); ++i) {
    if (std::ranges::count(scopes.firstOfThread, i) > 0 && i > 0) {
      text += "| ";
    }
    const Scope& scope = scopes.all[i];
    text += std::string(scope.depth, '.') + (scope.entry == kNone ? "<" : "");
    text += OperationOf(log, scope);
    text += (scope.exit == kNone ? "> " : " ") + std::to_string(scope.begin) + '-' +
            std::to_string(scope.end) + " self " + std::to_string(scope.self) + ' ';
  }
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// The operation of the scope around each record, or "-".
std::string AroundText(const Log& log, const Scopes& scopes) {
  std::string text;
  for (const std::uint32_t scope : scopes.around) {
    text += scope == kNone ? '-' : OperationOf(log, scopes.all[scope]);
  }
  return text;
}

TEST(FindScopes, NestsWhatIsBalancedCutOrDamaged) {
  const struct {
    const char* log;
    const char* scopes;
    const char* around;
    std::uint64_t strayExits;
  } table[] = {
      {"", "", "", 0},
      {"A!", "", "-", 0},
      {"A( B( X! B) X! A)", "A 0-5 self 3 .B 1-3 self 2", "ABBBAA", 0},
      {"A( B( B) B( B) A)", "A 0-5 self 3 .B 1-2 self 1 .B 3-4 self 1", "ABBBBA", 0},
      {"A( A( A) A)", "A 0-3 self 2 .A 1-2 self 1", "AAAA", 0},
      // Threads do not see each other's scopes.
      {"1:A( 2:A( 2:B( 1:A) 2:B) 2:A)", "A 0-3 self 3 | A 1-5 self 2 .B 2-4 self 2", "AABABA", 0},
      {"1:A( 2:A)", "A> 0-1 self 1 | <A 0-1 self 1", "AA", 0},
      // Exits of scopes that were entered before the log.
      {"X! B) X! A) C( C)", "<A 0-3 self 2 .<B 0-1 self 1 C 4-5 self 1", "BBAACC", 0},
      // Scopes that never closed end with the scope around them, or with the log.
      {"A( B( X!", "A> 0-2 self 1 .B> 1-2 self 1", "ABB", 0},
      {"A( B( C( X! A) X!", "A 0-4 self 1 .B> 1-4 self 1 ..C> 2-4 self 2", "ABCCA-", 0},
      // Which of two alike is the one whose exit is missing does not show; values tell them apart.
      {"A1( A2( A1) A2)", "<A 0-3 self 1 .A 0-2 self 1 ..A> 1-2 self 1", "AAAA", 0},
      // Exits that match no open scope.
      {"A( B) A1) A)", "A 0-3 self 3", "AAAA", 2},
      {"A( B( B) B) A)", "A 0-4 self 3 .B 1-2 self 1", "ABBAA", 1},
      // Times that run backwards, and an inner scope that outlasts the outer one.
      {"A(@9 A)@3", "A 9-9 self 0", "AA", 0},
      {"A(@0 B(@1 B)@100 A)@50", "A 0-50 self 0 .B 1-100 self 99", "ABBA", 0},
  };
  for (const auto& row : table) {
    const Log log = Parse(row.log);
    const Scopes scopes = FindScopes(log);
    EXPECT_EQ(ScopesText(log, scopes), row.scopes) << row.log;
    EXPECT_EQ(AroundText(log, scopes), row.around) << row.log;
    EXPECT_EQ(scopes.strayExits, row.strayExits) << row.log;
    EXPECT_EQ(scopes.firstOfThread.size(), log.threads.size() + 1) << row.log;
  }
}

TEST(FindScopes, DeepNestingTakesNeitherTheStackNorQuadraticTime) {
  constexpr std::int32_t kDepth = 200000;
  Log log;
  LogBuilder builder(log);
  Record record{};
  record.operation = builder.FindOperation("C", "A", false);
  record.thread = builder.FindThread(1, kUnknown);
  const auto add = [&](std::int32_t code, std::int32_t value) {
    record.code = code;
    record.value1 = value;
    log.records.push_back(record);
  };
  for (std::int32_t i = 0; i < kDepth; ++i) {
    add(kScopePush, i);
  }
  add(kScopePop, kDepth / 2);  // closes the inner half at once
  for (std::int32_t i = 0; i < kDepth; ++i) {
    add(kScopePop, i == 0 ? 0 : kDepth);  // the rest at once, then exits without entries
  }

  const Scopes scopes = FindScopes(log);

  ASSERT_EQ(scopes.all.size(), 2U * kDepth - 1);
  const auto isWhole = [](const Scope& scope) { return scope.IsWhole(); };
  EXPECT_EQ(std::ranges::count_if(scopes.all, isWhole), 2);
  const auto deepest = std::ranges::max(scopes.all, {}, &Scope::depth);
  EXPECT_EQ(deepest.depth, 2U * kDepth - 2);
}

// Wherever the ring cuts, the scopes found whole are those with both ends in what is left.
TEST(FindScopes, FindsTheSamePairsWhereverALogIsCut) {
  std::mt19937 random(7);
  struct Piece {
    char thread;
    char operation;
    bool isEntry;
    std::size_t partner;
  };
  std::vector<Piece> pieces;
  std::map<char, std::vector<std::size_t>> open;
  while (pieces.size() < 120) {
    const char thread = static_cast<char>('1' + random() % 2);
    std::vector<std::size_t>& stack = open[thread];
    if (stack.empty() || random() % 2 == 0) {
      stack.push_back(pieces.size());
      pieces.push_back({thread, static_cast<char>('A' + random() % 3), true, 0});
    } else {
      pieces[stack.back()].partner = pieces.size();
      pieces.push_back({thread, pieces[stack.back()].operation, false, stack.back()});
      stack.pop_back();
    }
  }
  for (const auto& [thread, stack] : open) {
    for (const std::size_t entry : stack) {
      pieces[entry].partner = pieces.size();  // never closed
    }
  }
  for (std::size_t first = 0; first < pieces.size(); first += 3) {
    for (std::size_t last = first; last <= pieces.size(); last += 7) {
      std::string text;
      std::set<std::pair<std::size_t, std::size_t>> expected;
      for (std::size_t i = first; i < last; ++i) {
        const Piece& piece = pieces[i];
        text += {piece.thread, ':', piece.operation, piece.isEntry ? '(' : ')', ' '};
        if (piece.isEntry && piece.partner < last) {
          expected.emplace(i, piece.partner);
        }
      }
      std::set<std::pair<std::size_t, std::size_t>> found;
      for (const Scope& scope : FindScopes(Parse(text)).all) {
        if (scope.IsWhole()) {
          found.emplace(first + scope.entry, first + scope.exit);
        }
      }
      ASSERT_EQ(found, expected) << text;
    }
  }
}

}  // namespace
}  // namespace Velta::Logging
