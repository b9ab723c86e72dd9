// A random run of writes, reads, positionings and reopenings on the virtual
// drive against a model of a tape: a list of blocks and a position.
#include <random>

#include "vtape_fixture.h"

namespace {

TEST_F(VtapeTest, RandomRunMatchesATapeModel) {
  MakeLibrary(1024, 4096, 16);
  std::vector<std::uint32_t> model;  // the seed each block was written with
  std::uint64_t position = 0;
  os_tape_handle tape = OpenReady();
  std::mt19937 random(20261123);
  for (int step = 0; step < 400; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    const int what = static_cast<int>(random() % 10);
    if (what < 4) {
      const std::uint32_t count = 1 + random() % 8;
      const std::uint32_t seed = random();
      ASSERT_EQ(Write(tape, position, count, seed), 0u);
      model.resize(position);
      model.insert(model.end(), count, seed);
      position += count;
    } else if (what < 7) {
      const std::uint32_t count = 1 + random() % 8;
      std::uint32_t done = 0;
      std::vector<char> data;
      const std::uint32_t error = Read(tape, count, &done, &data);
      if (position == model.size()) {
        EXPECT_EQ(error, OS_TAPE_NO_DATA_DETECTED);
        continue;
      }
      ASSERT_EQ(error, 0u);
      const std::uint64_t expected = std::min<std::uint64_t>(count, model.size() - position);
      ASSERT_EQ(done, expected * 1024);
      for (std::uint64_t i = 0; i < expected; ++i) {
        const auto block = BlockContent(1024, position + i, model[position + i]);
        ASSERT_TRUE(std::equal(block.begin(), block.end(), data.begin() + static_cast<std::ptrdiff_t>(i * 1024)));
      }
      position += expected;
    } else if (what < 9) {
      const std::uint64_t target = random() % (model.size() + 3);
      EXPECT_EQ(Seek(tape, target), target >= model.size() ? OS_TAPE_NO_DATA_DETECTED : 0u);
      position = std::min<std::uint64_t>(target, model.size());
    } else {
      os_tape_close(tape);
      tape = Open();
    }
    ASSERT_EQ(Position(tape), position);
  }
  os_tape_close(tape);
  EXPECT_EQ(FnxVtapeGetStatus(m_dir.path()).cartridges.at(0).usedBlocks, model.size());
}

}  // namespace
