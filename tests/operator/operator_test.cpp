#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "bounded_wait.h"
#include "dal_operator.h"

namespace {

using namespace std::chrono_literals;
using Options = std::list<std::string>;

std::vector<std::string> Keys(const std::list<CFnx_Dal_OperatorItemInfo>& items) {
  std::vector<std::string> keys;
  for (const auto& item : items) keys.push_back(std::to_string(item.getType()) + ":" + item.getName());
  return keys;
}

// One question asked on a thread of its own, as the tape device asks it.
class Asker {
 public:
  Asker(CFnx_Dal_Operator& table, const CFnx_Dal_OperatorItemID& id, const std::string& question,
        const Options& options)
      : m_table(table), m_id(id) {
    m_thread.emplace_back([this, question, options] {
      m_table.AskOperator(m_id, question, options, m_answer);
      m_done = true;
    });
  }

  // A failed test must not leave the thread blocked: answer until it ends.
  ~Asker() {
    JoinWithin(m_thread, [this] { return m_done.load(); }, [this] { m_table.SetOperatorResponce(m_id, 0); },
               "Asker");
  }

  bool WaitUntilAsking() {
    return WaitUntil([this] { return m_table.IsWaitingOperatorResponce(m_id); });
  }
  // The answer once the thread has it; 999 when it never came.
  std::uint32_t Answer() {
    if (!WaitUntil([this] { return m_done.load(); })) return 999;
    return m_answer;
  }

 private:
  CFnx_Dal_Operator& m_table;
  const CFnx_Dal_OperatorItemID m_id;
  std::uint32_t m_answer = 0;  // written by the thread before m_done
  std::atomic<bool> m_done{false};
  std::vector<std::thread> m_thread;
};

const CFnx_Dal_OperatorItemID kDrive(1, "drive0", "DAS_A");

}  // namespace

// ---------------------------------------------------------------------------
// The table and its items.

TEST(OperatorTable, ListsByTypeThenNameBytewise) {
  CFnx_Dal_Operator table;
  std::list<CFnx_Dal_OperatorItemInfo> items(3);  // old entries must go
  table.ListItems(items);
  EXPECT_TRUE(items.empty());

  for (const auto& [type, name] : {std::pair{2, "a"}, {0, "b"}, {-1, "z"}, {0, "Ba"}, {0, "\xE9"}, {0, "B"}, {0, ""}}) {
    table.AddItem(CFnx_Dal_OperatorItemID(type, name, "DAS"));
  }
  table.ListItems(items);
  EXPECT_EQ(Keys(items), (std::vector<std::string>{"-1:z", "0:", "0:B", "0:Ba", "0:b", "0:\xE9", "2:a"}));
}

TEST(OperatorTable, AddItemKeepsTheFirstItemOfAKey) {
  CFnx_Dal_Operator table;
  table.AddItem(kDrive);
  table.setOperatorMsg(kDrive, "Backup started");
  table.AddItem(CFnx_Dal_OperatorItemID(1, "drive0", "DAS_B"));  // the DAS name is no part of the key
  std::list<CFnx_Dal_OperatorItemInfo> items;
  table.ListItems(items);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items.front().getDasName(), "DAS_A");
  EXPECT_EQ(items.front().getText(), "Backup started");
}

TEST(OperatorTable, EveryReaderMakesTheItemItAsksAbout) {
  CFnx_Dal_Operator table;
  EXPECT_EQ(table.getOperatorMsg(CFnx_Dal_OperatorItemID(1, "a", "")), "");
  EXPECT_FALSE(table.IsWaitingOperatorResponce(CFnx_Dal_OperatorItemID(1, "b", "")));
  table.SetOperatorResponce(CFnx_Dal_OperatorItemID(1, "c", ""), 3);
  std::list<CFnx_Dal_OperatorItemInfo> items;
  table.ListItems(items);
  EXPECT_EQ(Keys(items), (std::vector<std::string>{"1:a", "1:b", "1:c"}));
}

TEST(OperatorItemInfo, EqualityLooksAtContentNotAtTheKey) {
  CFnx_Dal_Operator table;
  const CFnx_Dal_OperatorItemID a(1, "a", ""), b(2, "b", ""), c(3, "c", "");
  table.setOperatorMsg(a, "same");
  table.setOperatorMsg(b, "same");
  table.setOperatorMsg(c, "other");
  std::list<CFnx_Dal_OperatorItemInfo> items;
  table.ListItems(items);
  ASSERT_EQ(items.size(), 3u);
  EXPECT_TRUE(items.front() == *std::next(items.begin()));
  EXPECT_FALSE(items.front() == items.back());
  EXPECT_TRUE(CFnx_Dal_OperatorItemInfo() == CFnx_Dal_OperatorItemInfo(kDrive));
}

TEST(OperatorFace, CopiesShareOneTableThatOutlivesTheOriginal) {
  CFnx_Dal_Operator survivor;
  {
    CFnx_Dal_Operator original;
    original.setOperatorMsg(kDrive, "from the original");
    CFnx_Dal_Operator copy(original);
    survivor = copy;  // the survivor's own table goes
    const CFnx_Dal_Operator& same = survivor;
    survivor = same;
  }
  EXPECT_EQ(survivor.getOperatorMsg(kDrive), "from the original");
}

// ---------------------------------------------------------------------------
// Questions and answers.

TEST(OperatorQuestion, BlocksUntilAnsweredAndLeavesTheItemIdle) {
  CFnx_Dal_Operator table;
  table.setOperatorMsg(kDrive, "Backup started: volume=\"MM_VOL1\"");
  Asker asker(table, kDrive, "Please insert tape", {"Retry", "Cancel"});
  ASSERT_TRUE(asker.WaitUntilAsking());

  std::list<CFnx_Dal_OperatorItemInfo> items;
  table.ListItems(items);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items.front().getText(), "Please insert tape");
  EXPECT_TRUE(items.front().getWaitingResponce());
  EXPECT_EQ(items.front().getOptions(), (Options{"Retry", "Cancel"}));

  table.SetOperatorResponce(kDrive, 1);
  EXPECT_EQ(asker.Answer(), 1u);
  table.ListItems(items);
  EXPECT_EQ(items.front().getText(), "");  // the old status line is gone too
  EXPECT_FALSE(items.front().getWaitingResponce());
  EXPECT_TRUE(items.front().getOptions().empty());
}

// Without options any number comes back.
TEST(OperatorQuestion, AnAnswerPostedBeforeTheQuestionIsDiscarded) {
  CFnx_Dal_Operator table;
  table.SetOperatorResponce(kDrive, 7);
  Asker asker(table, kDrive, "No choice", {});
  ASSERT_TRUE(asker.WaitUntilAsking());  // the early post did not release it
  table.SetOperatorResponce(kDrive, 42);
  EXPECT_EQ(asker.Answer(), 42u);
}

// Eight devices ask at once, each on its own thread and key, round after
// round; one console lists, reads and answers them. Every asker must get the
// answer meant for its own question, and every copy the console lists must be
// consistent: a question with its own options, a status line with none.
TEST(OperatorQuestion, EightKeysAskAtOnceAndEachGetsItsOwnAnswer) {
  constexpr int kKeys = 8;
  constexpr int kRounds = 20;
  CFnx_Dal_Operator table;
  std::vector<CFnx_Dal_OperatorItemID> ids;
  for (int k = 0; k < kKeys; ++k) ids.emplace_back(k % 3 - 1, "drive" + std::to_string(k), "DAS");
  auto options_of = [](const std::string& question) { return Options{question + ":Retry", question + ":Cancel"}; };
  auto answer_of = [](const std::string& question) {
    int key = -1, round = -1;
    std::sscanf(question.c_str(), "key %d round %d", &key, &round);
    return static_cast<std::uint32_t>(key * 1000 + round);
  };

  std::atomic<int> wrong_answers{0}, askers_done{0};
  std::vector<std::thread> askers;
  for (int k = 0; k < kKeys; ++k) {
    askers.emplace_back([&, k] {
      for (int round = 0; round < kRounds; ++round) {
        const std::string question = "key " + std::to_string(k) + " round " + std::to_string(round);
        table.setOperatorMsg(ids[k], "status " + std::to_string(round));
        std::uint32_t answer = 0;
        table.AskOperator(ids[k], question, options_of(question), answer);
        if (answer != answer_of(question)) ++wrong_answers;
      }
      ++askers_done;
    });
  }

  // The console, on this thread. Whatever happens to it, the askers are
  // answered on the way out: a console that gives up must not leave them
  // blocked on the table.
  const auto release_all = [&] {
    for (const auto& id : ids) {
      if (table.IsWaitingOperatorResponce(id)) table.SetOperatorResponce(id, 0);
    }
  };
  // Nobody answers before all eight ask, so they block on the table at once.
  const auto all_asking = [&] {
    for (const auto& id : ids) {
      if (!table.IsWaitingOperatorResponce(id)) return false;
    }
    return true;
  };
  EXPECT_TRUE(WaitUntil(all_asking)) << "the eight never blocked at the same time";

  int inconsistent_copies = 0;
  std::vector<std::string> answered(kKeys);
  std::list<CFnx_Dal_OperatorItemInfo> items;
  const auto console_round = [&] {
    table.ListItems(items);
    for (const auto& item : items) {
      const std::string text = item.getText();
      const bool question = text.rfind("key ", 0) == 0;
      if (question ? item.getOptions() != options_of(text) : !item.getOptions().empty()) ++inconsistent_copies;
      if (item.getWaitingResponce() && !question) ++inconsistent_copies;

      // Read the text before the flag: a flag seen after the question
      // belongs to that question, not to the one before it.
      const std::string current = table.getOperatorMsg(item);
      if (current.rfind("key ", 0) != 0) continue;
      const std::size_t key = answer_of(current) / 1000;
      if (current != answered[key] && table.IsWaitingOperatorResponce(item)) {
        table.SetOperatorResponce(item, answer_of(current));
        answered[key] = current;
      }
    }
    return askers_done == kKeys;
  };
  EXPECT_TRUE(WaitUntil(console_round)) << "the console gave up with askers still blocked";

  JoinWithin(askers, [&] { return askers_done == kKeys; }, release_all, "EightKeysAskAtOnce");
  EXPECT_EQ(wrong_answers, 0);
  EXPECT_EQ(inconsistent_copies, 0);
}

// ---------------------------------------------------------------------------
// The process-wide table. Its first Get must happen in a fresh process, so the
// race runs in a child of its own.

namespace {

[[noreturn]] void RaceToTheFirstGet() {
  constexpr int kThreads = 8;
  // A spinning start line: std::latch can miss its wake-up in the Windows
  // build's C++ library (it has no native wait), and none of these blocks.
  std::atomic<int> arrived{0};
  std::vector<CFnx_Dal_Operator*> seen(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      ++arrived;
      while (arrived.load() < kThreads) std::this_thread::yield();
      seen[i] = &CFnx_Dal_OperatorSingelton::Get();
    });
  }
  for (auto& thread : threads) thread.join();
  for (CFnx_Dal_Operator* instance : seen) {
    if (instance != seen.front()) std::exit(1);
  }
  std::exit(0);
}

}  // namespace

TEST(OperatorSingeltonDeathTest, ConcurrentFirstGetsMakeOneTable) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(RaceToTheFirstGet(), testing::ExitedWithCode(0), "");
  EXPECT_EQ(&CFnx_Dal_OperatorSingelton::Get(), &CFnx_Dal_OperatorSingelton::Get());
}
