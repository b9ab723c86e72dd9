// Message texts and FNXError.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "fnx_error.h"
#include "fnx_message.h"

// Every id the library throws has its wording: the id leads, the
// "Class::Operation: " context follows directly, and every value is placed
// (surplus ones at the end).
TEST(Message, EveryIdOfTheLibraryHasItsWording) {
  const char* const ids[] = {"QRSDAL0005E", "QRSDAL0200E", "QRSDAL0501E", "QRSDAL0502E", "QRSDAL0503E",
                             "QRSDAL0504E", "QRSDAL0505E", "QRSDAL0506E", "QRSDAL0507E", "QRSDAL0508E",
                             "QRSDAL0509E", "QRSDAL0510E", "QRSDAL0512E", "QRSDAL0513E", "QRSDAL0514E",
                             "QRSDAL0515E", "QRSDAL0516E", "QRSDAL0637E", "QRSDAL0808E", "QRSDAL0D08E"};
  for (const char* id : ids) {
    ASSERT_NE(MessageTemplate(id), nullptr) << id << " is not in the catalogue";
    const std::string text = Message("")[id] << "Cls::Op: " << "<v2>" << "<v3>" << "<v4>";
    EXPECT_EQ(text.rfind(std::string(id) + " Cls::Op: ", 0), 0u) << text;
    EXPECT_GT(text.size(), std::string(id).size() + 10) << "no wording after the context: " << text;
    for (const char* p = text.c_str(); *p; ++p) {
      EXPECT_FALSE(p[0] == '%' && p[1] >= '1' && p[1] <= '9') << "unfilled place in " << text;
    }
    for (const char* value : {"<v2>", "<v3>", "<v4>"}) {
      EXPECT_NE(text.find(value), std::string::npos) << value << " lost from " << text;
    }
  }
}

TEST(Message, ValuesAreKeptLiterallyAndUnknownIdsPassThrough) {
  // A path may look like a place holder.
  const std::string text = Message("")["QRSDAL0504E"] << "Ctx: " << "/a/%2/%1";
  EXPECT_NE(text.find("'/a/%2/%1'"), std::string::npos) << text;
  const std::string none = Message("")["QRSDAL0200E"] << "Ctx: ";  // fewer values than places
  EXPECT_EQ(none.find('%'), std::string::npos) << none;
  const std::string numbers = Message("")["QRSDAL0508E"] << "Ctx: " << std::int64_t{5000000000} << std::int32_t{-7};
  EXPECT_NE(numbers.find("5000000000"), std::string::npos) << numbers;
  EXPECT_NE(numbers.find("-7"), std::string::npos) << numbers;
  EXPECT_EQ(std::string(Message("")["QRSDAL9999E"] << "a" << "b"), "QRSDAL9999E a b");
  EXPECT_EQ(MessageTemplate("QRSDAL0000E"), nullptr);
}

TEST(FNXError, DerivedTextAndCodeSurviveCopyAndCatchByBase) {
  // The tape call wrapper's way: build first, set text and code afterwards.
  struct RetaggedError : FNXError {
    RetaggedError() : FNXError("first", 1, 12, "src", 1) {
      SetText("QRSDAL0512E second");
      SetCode(1104);
    }
  };
  try {
    const RetaggedError original;
    throw original;
  } catch (const FNXError& error) {
    EXPECT_STREQ(error.what(), "QRSDAL0512E second");
    EXPECT_EQ(error.Code(), 1104);
    EXPECT_EQ(error.Class(), 12);
    FNXError assigned("", 0, 0, "", 0);
    assigned = error;
    EXPECT_STREQ(assigned.what(), "QRSDAL0512E second");
    EXPECT_EQ(assigned.Code(), 1104);
  }
}
