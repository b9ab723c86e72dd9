// The grammar of locations and the exported parsers.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "dal_storage.h"

namespace {

TEST(ParseFileLocation, FollowsTheFieldTable) {
  struct Case {
    const char* location;
    bool accepted;
    const char* fields;  // media, path ("*": the whole location), from, size
  };
  const Case cases[] = {
      {"disk@/a/b", true, "disk /a/b 0 0"},
      {"disk@/a/b,10,20", true, "disk /a/b 10 20"},
      {"tape@v,x,30,40", true, "tape * 30 40"},
      {"disk@/a,  -7,+8xyz", true, "disk /a -7 8"},
      {"disk@/a,abc,", false, "disk  0 0"},  // two fields once the empty one is dropped
      {"disk@/a,1", false, "disk  0 0"},
      {"disk@/a,1,2,3,4", false, "disk  0 0"},
      {"no-at-sign", false, "  0 0"},
      {"a@b@c", false, "  0 0"},
      {"", false, "  0 0"},
      {"disk@/a,4294967297,2147483648", true, "disk /a 1 -2147483648"},  // 32-bit atol
  };
  for (const Case& c : cases) {
    std::string media = "stale", path = "stale";
    std::int64_t from = 99, size = 99;
    EXPECT_EQ(ParseFileLocation(c.location, media, path, from, size), c.accepted) << c.location;
    const std::string fields = media + " " + (path == c.location && path.size() > 0 ? "*" : path) + " " +
                               std::to_string(from) + " " + std::to_string(size);
    EXPECT_EQ(fields, c.fields) << c.location;
  }
}

// Any list of file locations joined with "#" splits into them again, and each
// parses back to its fields.
TEST(ParseStorageLocation, ARandomListRoundTrips) {
  std::mt19937 random(11);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::string> files;
    std::string location, media, path;
    for (std::size_t k = random() % 4; k > 0; --k) {
      files.push_back(std::string(random() % 2 ? "disk" : "tape") + "@/d" + std::to_string(random()) + "/f," +
                      std::to_string(random() % 100000) + "," + std::to_string(random() % INT32_MAX));
      location += files.back() + "#";
      std::int64_t from = -1, size = -1;
      ASSERT_TRUE(ParseFileLocation(files.back(), media, path, from, size));
      EXPECT_EQ(media + "@" + path + "," + std::to_string(from) + "," + std::to_string(size), files.back());
    }
    std::vector<std::string> tokens{"old"};
    ParseStorageLocation(location, tokens);
    EXPECT_EQ(tokens, files) << location;
  }
}

TEST(ParseMediaLocation, TakesATapeLocationApartAndRefusesAllElse) {
  std::string location = "DAS_ONE" + std::string(53, ' ') + "config" + std::string(114, ' ');
  // volume name, volume date, volume time, file number, date, time, record size,
  // partition, start low, start high, end low, end high, length
  location += "VOL1            2026.11.2309.15.00000001" "2026.11.2309.16.00065536" "0000000001"
              "0000000001" "0000000000" "0000000003" "0000000000" "0000000000000700";
  std::string das, config, volume;
  ASSERT_TRUE(ParseMediaLocation("tape", location, das, config, volume));
  EXPECT_EQ(das + "|" + config + "|" + volume, "DAS_ONE|config|VOL1            2026.11.23 09.15.00");
  const std::pair<const char*, std::string> refused[] = {
      {"disk", location}, {"TAPE", location}, {"", location}, {"tape", std::string(179, ' ')}, {"tape", "tape@x,0,1"}};
  for (const auto& [media, text] : refused) {
    das = config = volume = "stale";
    EXPECT_FALSE(ParseMediaLocation(media, text, das, config, volume)) << media << " " << text.size();
    EXPECT_EQ(das + config + volume, "") << media;
  }
}

}  // namespace
