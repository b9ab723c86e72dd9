// The media and configuration factories, the configuration records and the
// version registration.
#include <gtest/gtest.h>

#include <ctime>
#include <list>
#include <memory>
#include <regex>
#include <string>

#include "dal_configuration.h"
#include "dal_configuration_centera.h"
#include "dal_configuration_tape.h"
#include "dal_media.h"
#include "dal_versions.h"
#include "osl_directory.h"

namespace {

TEST(Factories, MakeDistinctObjectsForAnyCaseOfTheirNames) {
  CFnx_Dal_MediaFactory* factory = CFnx_Dal_MediaFactory::Instance();
  std::unique_ptr<DAMedia> lower(factory->Create("disk"));
  std::unique_ptr<DAMedia> mixed(factory->Create("dIsK"));
  ASSERT_TRUE(lower && mixed);
  EXPECT_NE(lower.get(), mixed.get());
  EXPECT_EQ(mixed->GetMediaName(), "disk");
  for (const char* unknown : {"centera", "", "floppy"}) EXPECT_EQ(factory->Create(unknown), nullptr) << unknown;
  std::list<std::string> names{"stale"};
  factory->GetRegistered(names);
  EXPECT_EQ(names, (std::list<std::string>{"DISK", "TAPE"}));
  CFnx_Dal_ConfigurationFactory::Instance()->GetRegistered(names);
  EXPECT_EQ(names, std::list<std::string>{"DISK"});
}

// Disk and centera keep three values, the root with the platform's
// separators; tape keeps the whole record. A clone has no values.
TEST(Configurations, KeepTheirValuesAndCloneEmpty) {
  CFnx_Dal_ConfigValues values;
  values.m_maxPageSize = 1;
  values.m_maxFilesPerDir = 2;
  values.m_location = "a/b\\c";
  values.m_volumeInfo = "info";
  values.m_carriedNumber2 = 18;
  std::string root = "a/b/c";
  DalParsePathSeparators(root);
  std::unique_ptr<CFnx_Dal_Configuration> centera(CFnx_Dal_ConfigurationCentera().Clone());
  centera->SetValues(values);
  for (CFnx_Dal_Configuration* config : {Create_Dal_Configuration("DiSK", values), centera.get()}) {
    std::unique_ptr<CFnx_Dal_Configuration> owned(config == centera.get() ? nullptr : config);
    EXPECT_EQ(config->GetMaxPageSize(), 1);
    EXPECT_EQ(config->Get_Location(), root);
    CFnx_Dal_ConfigValues out;
    out.m_volumeInfo = "untouched";
    config->GetValues(out);
    EXPECT_EQ(out.m_maxPageSize + out.m_maxFilesPerDir, 3);
    EXPECT_EQ(out.m_location + " " + out.m_volumeInfo, root + " untouched");
    EXPECT_EQ(std::unique_ptr<CFnx_Dal_Configuration>(config->Clone())->Get_Location(), "");
  }
  EXPECT_EQ(centera->GetName(), "centera");
  CFnx_Dal_ConfigurationTape tape;
  tape.SetValues(values);
  CFnx_Dal_ConfigValues out;
  CFnx_Dal_ConfigurationTape(tape).GetValues(out);
  EXPECT_EQ(out.m_location + " " + out.m_volumeInfo + " " + std::to_string(out.m_carriedNumber2), "a/b\\c info 18");
  EXPECT_EQ(tape.GetName() + std::to_string(tape.GetMaxPageSize()), "tape1");
  EXPECT_EQ(std::unique_ptr<CFnx_Dal_Configuration>(tape.Clone())->Get_Location(), "");
}

// A centera document is named like a disk one but in its root, and nothing
// is made on disk.
TEST(Configurations, CenteraNamesNewFilesInItsRoot) {
  CFnx_Dal_ConfigurationCentera centera;
  CFnx_Dal_ConfigValues values;
  values.m_location = "store";
  centera.SetValues(values);
  std::string directory, first, second;
  centera.GetNewLocation(directory, first);
  centera.GetNewLocation(directory, second);
  EXPECT_EQ(directory, "store");
  EXPECT_EQ(first.rfind("fnx_das_", 0), 0u);
  EXPECT_NE(first, second);
  EXPECT_FALSE(Osl_File_System::exists("store"));
}

// Tape labels carry the local date and time as "YYYY.MM.DD" and "hh.mm.ss".
TEST(Configurations, TapeStampsTheLocalDateAndTime) {
  const auto stamp = [](const char* format) {
    const std::time_t now = std::time(nullptr);
    char text[32];
    std::strftime(text, sizeof text, format, std::localtime(&now));
    return std::string(text);
  };
  const CFnx_Dal_ConfigurationTape config;
  const std::string date = stamp("%Y.%m.%d"), before = stamp("%H.%M.%S");
  const std::string time = config.GetCurTimeFormat();
  EXPECT_TRUE(config.GetCurDateFormat() == date || config.GetCurDateFormat() == stamp("%Y.%m.%d"));
  EXPECT_TRUE(before <= time && time <= stamp("%H.%M.%S")) << time << " vs " << before;
}

TEST(Versions, TheLibraryRegistersAtLoadAndOnRequest) {
  const std::regex form(R"(@\(#\)VER_INF0\|dal_storage\|\d+\.\d+\.\d+\|[^|]+\|)");
  FnxVr_Versions versions;
  GetVersionsList_dal_storage(versions);
  EXPECT_TRUE(std::regex_match(versions.Entries().at(0).second, form));
  bool atLoad = false;
  for (const auto& entry : FnxVr_Versions::Process().Entries()) {
    if (entry.first == "dal_storage") atLoad = std::regex_match(entry.second, form);
  }
  EXPECT_TRUE(atLoad);
}

}  // namespace
