// The grammar of file locations and the exported parsers.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "dal_storage.h"

namespace {

struct LocationCase {
  const char* location;
  bool accepted;
  const char* media;
  const char* path;  // "*" stands for the whole location
  std::int64_t from;
  std::int64_t size;
};

TEST(ParseFileLocation, FollowsTheFieldTable) {
  const LocationCase cases[] = {
      {"disk@/a/b", true, "disk", "/a/b", 0, 0},
      {"disk@/a/b,10,20", true, "disk", "/a/b", 10, 20},
      {"tape@v,x,30,40", true, "tape", "*", 30, 40},
      {"disk@/a,  -7,+8xyz", true, "disk", "/a", -7, 8},
      {"disk@/a,abc,", false, "disk", "", 0, 0},  // two fields once the empty one is dropped
      {"disk@/a,1", false, "disk", "", 0, 0},
      {"disk@/a,1,2,3,4", false, "disk", "", 0, 0},
      {"no-at-sign", false, "", "", 0, 0},
      {"a@b@c", false, "", "", 0, 0},
      {"", false, "", "", 0, 0},
      {"disk@/a,4294967297,2147483648", true, "disk", "/a", 1, -2147483648LL},  // 32-bit atol
  };
  for (const LocationCase& c : cases) {
    std::string media = "stale", path = "stale";
    std::int64_t from = 99, size = 99;
    EXPECT_EQ(ParseFileLocation(c.location, media, path, from, size), c.accepted) << c.location;
    EXPECT_EQ(media, c.media) << c.location;
    EXPECT_EQ(path, std::string(c.path) == "*" ? std::string(c.location) : std::string(c.path)) << c.location;
    EXPECT_EQ(from, c.from) << c.location;
    EXPECT_EQ(size, c.size) << c.location;
  }
}

TEST(ParseStorageLocation, SplitsAtEveryHash) {
  std::vector<std::string> tokens{"old"};
  ParseStorageLocation("disk@/a,0,1#disk@/b,1,2#", tokens);
  EXPECT_EQ(tokens, (std::vector<std::string>{"disk@/a,0,1", "disk@/b,1,2"}));
  ParseStorageLocation("", tokens);
  EXPECT_TRUE(tokens.empty());
}

TEST(ParseMediaLocation, TakesATapeLocationApartAndRefusesAllElse) {
  std::string location = std::string(60, ' ');
  location.replace(0, 7, "DAS_ONE");
  location += std::string(120, ' ');
  location.replace(60, 6, "config");
  // volume name, volume date, volume time, file number, date, time, record size,
  // partition, start low, start high, end low, end high, length
  location += "VOL1            2026.11.2309.15.00000001" "2026.11.2309.16.00065536" "0000000001"
              "0000000001" "0000000000" "0000000003" "0000000000" "0000000000000700";
  ASSERT_EQ(location.size(), 310u);
  std::string das, config, volume;
  ASSERT_TRUE(ParseMediaLocation("tape", location, das, config, volume));
  EXPECT_EQ(das, "DAS_ONE");
  EXPECT_EQ(config, "config");
  EXPECT_EQ(volume, "VOL1            2026.11.23 09.15.00");
  const std::pair<const char*, std::string> refused[] = {
      {"disk", location}, {"TAPE", location}, {"centera", location}, {"", location},
      {"tape", ""},       {"tape", std::string(179, ' ')},             {"tape", "tape@x,0,1"}};
  for (const auto& [media, text] : refused) {
    das = config = volume = "stale";
    EXPECT_FALSE(ParseMediaLocation(media, text, das, config, volume)) << media << " " << text.size();
    EXPECT_TRUE(das.empty() && config.empty() && volume.empty()) << media;
  }
}

}  // namespace
