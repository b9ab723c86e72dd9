#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fnx_error.h"
#include "fnx_log.h"
#include "fnx_message.h"

TEST(Message, IdLeadsAndValuesFillTheWording) {
  const std::string text = Message("")["QRSDAL0504E"] << "DAFileSystem:OpenForReading: " << "/x/y";
  EXPECT_EQ(text.rfind("QRSDAL0504E ", 0), 0u) << text;
  EXPECT_NE(text.find("DAFileSystem:OpenForReading: "), std::string::npos);
  EXPECT_NE(text.find("'/x/y'"), std::string::npos) << text;
}

TEST(Message, ValuesBeyondTheWordingAndUnknownIdsAreKept) {
  const std::string extra = Message("")["QRSDAL0503E"] << "Ctx: " << "surplus" << 42;
  EXPECT_NE(extra.find("surplus 42"), std::string::npos) << extra;
  const std::string unknown = Message("")["QRSDAL9999E"] << "a" << "b";
  EXPECT_EQ(unknown, "QRSDAL9999E a b");
}

TEST(FNXError, CarriesTextCodeClassAndPlace) {
  try {
    throw FNXError("QRSDAL0510E x", 1282, 8, "dal_storage/src/dal_storage", 17);
  } catch (const std::exception& caught) {
    const auto& error = dynamic_cast<const FNXError&>(caught);
    EXPECT_STREQ(error.what(), "QRSDAL0510E x");
    EXPECT_EQ(error.Code(), 1282);
    EXPECT_EQ(error.Class(), 8);
    EXPECT_EQ(error.SourceFile(), "dal_storage/src/dal_storage");
    EXPECT_EQ(error.Line(), 17);
  }
}

namespace {
struct Captured {
  std::vector<std::string> lines;
};
void Capture(int severity, const char* component, const char* text, void* context) {
  static_cast<Captured*>(context)->lines.push_back(std::to_string(severity) + "|" +
                                                   (component ? component : "") + "|" + text);
}
}  // namespace

TEST(Log, NothingWithoutASinkAndLevelFilters) {
  Captured captured;
  { CLogMsg(nullptr, nullptr, 1) << LogSeverity{1} << "unseen" << flush; }
  Fnx_SetLogSink(5, &Capture, &captured);
  {
    CLogMsg line(nullptr, "media-request", 5);
    line << LogSeverity{5} << "load " << 3ul << flush;
    line << "again" << flush;  // one object, flushed twice
    CFnx_Dal_Trace trace("Not::Reported");  // severity 9 is above the level
  }
  Fnx_SetLogSink(FNX_TRACE_SEVERITY, &Capture, &captured);
  { CFnx_Dal_Trace trace("Class::Operation"); }
  Fnx_SetLogSink(0, nullptr, nullptr);
  { CLogMsg(nullptr, nullptr, 1) << "unseen" << flush; }
  const std::vector<std::string> expected{"5|media-request|load 3", "5|media-request|again",
                                          "9||enter Class::Operation", "9||leave Class::Operation"};
  EXPECT_EQ(captured.lines, expected);
}
