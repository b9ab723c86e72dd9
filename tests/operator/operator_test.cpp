#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bounded_wait.h"
#include "dal_operator.h"

namespace {

using Options = std::list<std::string>;

// In the order the table lists them: type as a signed number, then the name
// byte by byte, a prefix first.
const std::pair<int, const char*> kKeys[] = {{-1, "z"}, {0, ""}, {0, "B"}, {0, "Ba"}, {0, "b"}, {0, "\xE9"}, {2, "a"}};

std::string Content(const CFnx_Dal_OperatorItemInfo& item) {
  std::string text = "'" + item.getText() + "'" + (item.getWaitingResponce() ? " waiting" : "");
  for (const std::string& option : item.getOptions()) text += " [" + option + "]";
  return text;
}

// An item as the table must list it, and its asker.
struct Expected : CFnx_Dal_OperatorItemInfo {
  using CFnx_Dal_OperatorItemInfo::CFnx_Dal_OperatorItemInfo;
  void Set(const std::string& text, bool waiting, const Options& options) {
    m_text = text;
    m_waiting = waiting;
    m_options = options;
  }
  std::shared_ptr<std::atomic<bool>> answered;
  std::shared_ptr<std::uint32_t> answer;  // written before answered
};

}  // namespace

// Askers on threads of their own and a console in a random order, against a
// model: an item made by whichever call first names its key, listed in key
// order; a question shown with its options until answered, then nothing; an
// answer posted to nobody discarded; faces that share one table.
TEST(OperatorTable, FollowsItsModelUnderRandomAskersAndAnswers) {
  const unsigned seed = 20251123;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::vector<CFnx_Dal_Operator> faces(1);
  std::map<std::size_t, Expected> model;  // by place in kKeys
  std::vector<std::thread> askers;
  std::list<CFnx_Dal_OperatorItemInfo> items(3);  // what the list held before goes
  const auto listed = [&](CFnx_Dal_Operator& face) {
    face.ListItems(items);
    const auto line = [](const auto& item) {
      return std::to_string(item.getType()) + ":" + item.getName() + " " + item.getDasName() + " " + Content(item);
    };
    std::vector<std::string> got, wanted;
    for (const auto& item : items) got.push_back(line(item));
    for (const auto& [place, item] : model) wanted.push_back(line(item));
    EXPECT_EQ(got, wanted);
    for (const auto& item : items) EXPECT_EQ(item == items.front(), Content(item) == Content(items.front()));
  };
  for (int step = 0; step < 300; ++step) {
    // First an empty list, then an item made by AddItem; later items come as they come.
    const int action = step < 2 ? 2 * step : static_cast<int>(random() % 8);
    CFnx_Dal_Operator& face = faces[random() % faces.size()];
    const std::size_t k = random() % std::size(kKeys);
    const CFnx_Dal_OperatorItemID id(kKeys[k].first, kKeys[k].second, "DAS_" + std::to_string(random() % 2));
    const std::string text = "text " + std::to_string(step);
    if (action == 0) {
      listed(face);
      continue;
    }
    if (action == 1) {  // one face more, or one less: the table outlives any one face
      CFnx_Dal_Operator fresh;  // its own table goes on assignment
      fresh = face;
      faces.size() > 2 ? (void)faces.erase(faces.begin()) : faces.push_back(fresh);
      continue;
    }
    Expected& item = model.try_emplace(k, id).first->second;  // with the first DAS name
    if (action == 2) {
      face.AddItem(id);
      listed(face);
    } else if (action == 3) {
      face.setOperatorMsg(id, text);
      item.Set(text, item.getWaitingResponce(), item.getOptions());
    } else if (action == 4) {
      EXPECT_EQ(face.getOperatorMsg(id), item.getText());
      EXPECT_EQ(face.IsWaitingOperatorResponce(id), item.getWaitingResponce());
    } else if (action == 5 && !item.getWaitingResponce()) {
      const Options options(random() % 3, text + " option");
      item.answered = std::make_shared<std::atomic<bool>>(false);
      item.answer = std::make_shared<std::uint32_t>(0);
      askers.emplace_back([face, id, text, options, answered = item.answered, answer = item.answer]() mutable {
        face.AskOperator(id, text, options, *answer);
        *answered = true;
      });
      if (!WaitUntil([&] { return face.IsWaitingOperatorResponce(id); })) {
        ADD_FAILURE() << "not asking: " << text;
        break;  // to release and join the askers
      }
      item.Set(text, true, options);
    } else if (action >= 6) {
      face.SetOperatorResponce(id, static_cast<std::uint32_t>(step));
      if (item.getWaitingResponce()) {
        if (!WaitUntil([&] { return item.answered->load(); })) {
          ADD_FAILURE() << "the answer released nobody";
          break;
        }
        EXPECT_EQ(*item.answer, static_cast<std::uint32_t>(step));
        item.Set("", false, {});
      }
    }
  }
  const auto answered = [](const auto& each) { return !each.second.answered || *each.second.answered; };
  JoinWithin(askers, [&] { return std::all_of(model.begin(), model.end(), answered); }, [&] {
    for (const auto& [k, item] : model) faces[0].SetOperatorResponce(item, 0);
  }, "OperatorTable model");
}

// Eight devices ask at once, round after round, each on its own thread and
// key; one console lists, reads and answers. Each asker must get the answer
// to its own question, and each listed copy must be whole: a question with its
// own options, a status line with none and nobody waiting.
TEST(OperatorTable, EightKeysAskAtOnceAndEachGetsItsOwnAnswer) {
  constexpr int kAskers = 8;
  constexpr int kRounds = 20;
  CFnx_Dal_Operator table;
  std::vector<CFnx_Dal_OperatorItemID> ids;
  for (int k = 0; k < kAskers; ++k) ids.emplace_back(k % 3 - 1, "drive" + std::to_string(k), "DAS");
  const auto optionsOf = [](const std::string& question) { return Options{question + ":Retry", question + ":Cancel"}; };
  const auto answerOf = [](const std::string& question) {
    int key = -1, round = -1;
    std::sscanf(question.c_str(), "key %d round %d", &key, &round);
    return static_cast<std::uint32_t>(key * 1000 + round);
  };
  std::atomic<int> wrongAnswers{0}, askersDone{0};
  std::vector<std::thread> askers;
  for (int k = 0; k < kAskers; ++k) {
    askers.emplace_back([&, k] {
      for (int round = 0; round < kRounds; ++round) {
        const std::string question = "key " + std::to_string(k) + " round " + std::to_string(round);
        table.setOperatorMsg(ids[k], "status " + std::to_string(round));
        std::uint32_t answer = 0;
        table.AskOperator(ids[k], question, optionsOf(question), answer);
        if (answer != answerOf(question)) ++wrongAnswers;
      }
      ++askersDone;
    });
  }
  // Nobody answers before all eight ask, so that they block on the table at once.
  EXPECT_TRUE(WaitUntil([&] {
    for (const auto& id : ids) {
      if (!table.IsWaitingOperatorResponce(id)) return false;
    }
    return true;
  })) << "the eight never blocked at the same time";
  int brokenCopies = 0;
  std::vector<std::string> answered(kAskers);
  std::list<CFnx_Dal_OperatorItemInfo> items;
  EXPECT_TRUE(WaitUntil([&] {
    table.ListItems(items);
    for (const auto& item : items) {
      const std::string text = item.getText();
      const bool question = text.rfind("key ", 0) == 0;
      if (question ? item.getOptions() != optionsOf(text) : !item.getOptions().empty() || item.getWaitingResponce()) {
        ++brokenCopies;
      }
      // The text before the flag: a flag seen after a question belongs to it.
      const std::string current = table.getOperatorMsg(item);
      if (current.rfind("key ", 0) != 0) continue;
      std::string& last = answered[answerOf(current) / 1000];
      if (current != last && table.IsWaitingOperatorResponce(item)) {
        table.SetOperatorResponce(item, answerOf(current));
        last = current;
      }
    }
    return askersDone == kAskers;
  })) << "the console gave up with askers still blocked";
  // A console that gave up must not leave them blocked: answered on the way out.
  JoinWithin(askers, [&] { return askersDone == kAskers; }, [&] {
    for (const auto& id : ids) table.SetOperatorResponce(id, 0);
  }, "EightKeysAskAtOnce");
  EXPECT_EQ(wrongAnswers, 0);
  EXPECT_EQ(brokenCopies, 0);
}

// The process-wide table's first Get must happen in a fresh process, so the
// race runs in a child of its own. The start line spins: std::latch can miss
// its wake-up in the Windows build's C++ library.
TEST(OperatorTableDeathTest, ConcurrentFirstGetsMakeOneProcessWideTable) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto race = [] {
    constexpr int kThreads = 8;
    std::atomic<int> arrived{0}, done{0};
    std::vector<CFnx_Dal_Operator*> seen(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        ++arrived;
        while (arrived.load() < kThreads) std::this_thread::yield();
        seen[i] = &CFnx_Dal_OperatorSingelton::Get();
        ++done;
      });
    }
    JoinWithin(threads, [&] { return done == kThreads; }, nullptr, "first Get");
    std::exit(std::count(seen.begin(), seen.end(), seen.front()) == kThreads ? 0 : 1);
  };
  EXPECT_EXIT(race(), testing::ExitedWithCode(0), "");
  EXPECT_EQ(&CFnx_Dal_OperatorSingelton::Get(), &CFnx_Dal_OperatorSingelton::Get());
}
