// Message texts and FNXError.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "dal_throw.h"
#include "fnx_error.h"

// Every id of the table has its wording: the id leads, the
// "Class::Operation: " context follows directly, and every value is placed
// (surplus ones at the end); the error of the throw helper carries the
// table's code and class unless the site gives a code of its own.
TEST(Message, EveryIdOfTheTableHasItsWordingCodeAndClass) {
  for (const DalMessage& message : kDalMessages) {
    const std::string id = message.id;
    const std::string text = Message("")[message.id] << "Cls::Op: " << "<v2>" << "<v3>" << "<v4>";
    EXPECT_EQ(text.rfind(id + " Cls::Op: ", 0), 0u) << text;
    EXPECT_GT(text.size(), id.size() + 10) << "no wording after the context: " << text;
    for (const char* p = text.c_str(); *p; ++p) {
      EXPECT_FALSE(p[0] == '%' && p[1] >= '1' && p[1] <= '9') << "unfilled place in " << text;
    }
    for (const char* value : {"<v2>", "<v3>", "<v4>"}) {
      EXPECT_NE(text.find(value), std::string::npos) << value << " lost from " << text;
    }
    EXPECT_TRUE(message.errorClass == 8 || message.errorClass == 12) << id;
  }
  const FNXError usual = DalError("src", 7, "QRSDAL0512E", "DAFileSystem:OpenForReading: ", "disk");
  EXPECT_EQ(usual.Text(), std::string(Message("")["QRSDAL0512E"] << "DAFileSystem:OpenForReading: " << "disk"));
  EXPECT_EQ(usual.Code(), 52);
  EXPECT_EQ(usual.Class(), 8);
  EXPECT_EQ(usual.Line(), 7);
  const FNXError own = DalError("src", 7, DalCode{1281}, "QRSDAL0512E", "DATape:OpenForReading: ", "Resize");
  EXPECT_EQ(own.Code(), 1281);
  EXPECT_EQ(own.Class(), 8);
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
  EXPECT_EQ(DalMessageFor("QRSDAL0000E"), nullptr);
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
