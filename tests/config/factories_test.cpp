// The media and configuration factories, the configuration classes and the
// version registration.
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <list>
#include <memory>
#include <regex>
#include <string>
#include <utility>

#include "dal_configuration.h"
#include "dal_configuration_filesystem.h"
#include "dal_configuration_tape.h"
#include "dal_media.h"
#include "dal_media_filesystem.h"
#include "dal_versions.h"
#include "temp_dir.h"

namespace {

CFnx_Dal_ConfigValues FilledValues() {
  CFnx_Dal_ConfigValues values;
  values.m_maxPageSize = 1;
  values.m_maxFilesPerDir = 2;
  values.m_location = "root";
  values.m_backupFlag = true;
  values.m_volumeInfo = "info";
  values.m_type = 8;
  values.m_carriedString2 = "c2";
  values.m_dasName = "das";
  values.m_newVolume1 = true;
  values.m_newVolume2 = true;
  values.m_forceLabel = true;
  values.m_carriedNumber1 = 17;
  values.m_carriedNumber2 = 18;
  values.m_endBlock = 19;
  return values;
}

TEST(MediaFactory, MakesADistinctDiskMediaForAnyCase) {
  CFnx_Dal_MediaFactory* factory = CFnx_Dal_MediaFactory::Instance();
  std::unique_ptr<DAMedia> lower(factory->Create("disk"));
  std::unique_ptr<DAMedia> mixed(factory->Create("dIsK"));
  ASSERT_TRUE(lower && mixed);
  EXPECT_NE(lower.get(), mixed.get());
  EXPECT_EQ(mixed->GetMediaName(), "disk");
  for (const char* unknown : {"centera", "", "floppy"}) EXPECT_EQ(factory->Create(unknown), nullptr) << unknown;
  std::list<std::string> names{"stale"};
  factory->GetRegistered(names);
  EXPECT_EQ(names.front(), "DISK");
}

TEST(MediaFactory, CloneOfAnOpenMediaIsClosedAndUnlocated) {
  TempDir dir;
  const std::string path = dir.Join("file");
  WriteFile(path, "12345");
  DAFileSystem media;
  EXPECT_EQ(media.GetFileSize(), 0) << "never measured";
  media.OpenForReading(path);
  std::unique_ptr<DAMedia> clone(media.Clone());
  std::string location = "stale";
  clone->GetLocation(location);
  EXPECT_EQ(location, "");
  EXPECT_EQ(clone->GetFileSize(), 0);
  media.Close();
  WriteFile(path, "1234567");
  EXPECT_EQ(media.GetFileSize(), 5) << "what was measured at the open is kept after Close";
}

// Any spelling of "disk" gives a disk configuration that keeps three values,
// the root with the platform's separators; nothing else is registered.
TEST(ConfigurationFactory, OnlyDiskIsRegisteredAndKeepsThreeValues) {
  CFnx_Dal_ConfigValues values = FilledValues();
  values.m_location = "a/b\\c";
  std::string expected = "a/b/c";
  DalParsePathSeparators(expected);
  for (const char* type : {"disk", "DISK", "Disk"}) {
    std::unique_ptr<CFnx_Dal_Configuration> config(Create_Dal_Configuration(type, values));
    EXPECT_EQ(config->GetName(), "disk");
    EXPECT_EQ(config->GetMaxPageSize(), 1);
    EXPECT_EQ(config->Get_Location(), expected);
    CFnx_Dal_ConfigValues out;
    out.m_statusLine = "untouched";
    config->GetValues(out);
    EXPECT_EQ(out.m_maxFilesPerDir, 2);
    EXPECT_EQ(out.m_location, expected);
    EXPECT_EQ(out.m_statusLine, "untouched");
    EXPECT_EQ(std::unique_ptr<CFnx_Dal_Configuration>(config->Clone())->Get_Location(), "") << "a clone has no values";
  }
  std::list<std::string> names{"a", "b"};
  CFnx_Dal_ConfigurationFactory::Instance()->GetRegistered(names);
  EXPECT_EQ(names, std::list<std::string>{"DISK"});
}

TEST(TapeConfiguration, KeepsTheWholeRecord) {
  CFnx_Dal_ConfigurationTape config;
  config.SetValues(FilledValues());
  CFnx_Dal_ConfigValues out;
  config.GetValues(out);
  EXPECT_EQ(out.m_volumeInfo + out.m_dasName + out.m_carriedString2, "infodasc2");
  EXPECT_EQ(std::to_string(out.m_type) + " " + std::to_string(out.m_carriedNumber1) + " " +
                std::to_string(out.m_carriedNumber2) + " " + std::to_string(out.m_endBlock),
            "8 17 18 19");
  EXPECT_TRUE(out.m_backupFlag && out.m_newVolume1 && out.m_newVolume2 && out.m_forceLabel);
  EXPECT_EQ(config.GetName(), "tape");
  EXPECT_EQ(CFnx_Dal_ConfigurationTape(config).Get_Location(), "root") << "a copy keeps the values";
  EXPECT_EQ(std::unique_ptr<CFnx_Dal_Configuration>(config.Clone())->Get_Location(), "") << "a clone has none";
}

// Now in local time, spelled as tape label stamps are: "YYYY.MM.DD", "hh.mm.ss".
std::pair<std::string, std::string> LocalStamps() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
#ifdef _WIN32
  localtime_s(&local, &now);
#else
  localtime_r(&now, &local);
#endif
  char date[32];
  char time[32];
  std::snprintf(date, sizeof date, "%04d.%02d.%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
  std::snprintf(time, sizeof time, "%02d.%02d.%02d", local.tm_hour, local.tm_min, local.tm_sec);
  return {date, time};
}

TEST(TapeConfiguration, StampsTheLocalDateAndTime) {
  const CFnx_Dal_ConfigurationTape config;
  const auto before = LocalStamps();
  const std::string date = config.GetCurDateFormat();
  const std::string time = config.GetCurTimeFormat();
  const auto after = LocalStamps();
  EXPECT_TRUE(date == before.first || date == after.first) << date << " vs " << before.first;
  EXPECT_TRUE(before.second <= time && time <= after.second) << time << " vs " << before.second;
}

TEST(Versions, TheLibraryRegistersAtLoadAndOnRequest) {
  const std::regex form(R"(@\(#\)VER_INF0\|dal_storage\|\d+\.\d+\.\d+\|[^|]+\|)");
  bool atLoad = false;
  for (const auto& entry : FnxVr_Versions::Process().Entries()) {
    if (entry.first == "dal_storage") atLoad = std::regex_match(entry.second, form);
  }
  EXPECT_TRUE(atLoad);
  FnxVr_Versions versions;
  GetVersionsList_dal_storage(versions);
  ASSERT_EQ(versions.Entries().size(), 1u);
  EXPECT_TRUE(std::regex_match(versions.Entries()[0].second, form)) << versions.Entries()[0].second;
}

}  // namespace
