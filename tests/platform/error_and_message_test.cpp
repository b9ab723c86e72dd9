#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fnx_error.h"
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

// Every id that the library throws: each has its wording, the id leads the
// text, and the "Class::Operation: " context follows it directly.
TEST(Message, EveryIdOfTheLibraryHasItsWording) {
  const char* const ids[] = {"QRSDAL0005E", "QRSDAL0200E", "QRSDAL0501E", "QRSDAL0502E", "QRSDAL0503E",
                             "QRSDAL0504E", "QRSDAL0505E", "QRSDAL0506E", "QRSDAL0507E", "QRSDAL0508E",
                             "QRSDAL0509E", "QRSDAL0510E", "QRSDAL0512E", "QRSDAL0513E", "QRSDAL0514E",
                             "QRSDAL0515E", "QRSDAL0516E", "QRSDAL0637E", "QRSDAL0808E", "QRSDAL0D08E"};
  for (const char* id : ids) {
    const char* wording = MessageTemplate(id);
    ASSERT_NE(wording, nullptr) << id << " is not in the catalogue";
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

TEST(Message, ValuesAreTakenLiterally) {
  // A value that looks like a place holder, as a path may, stays as it is.
  const std::string text = Message("")["QRSDAL0504E"] << "Ctx: " << "/a/%2/%1";
  EXPECT_NE(text.find("'/a/%2/%1'"), std::string::npos) << text;
  const std::string none = Message("")["QRSDAL0200E"] << "Ctx: ";  // fewer values than places
  EXPECT_EQ(none.find('%'), std::string::npos) << none;
  EXPECT_EQ(MessageTemplate("QRSDAL0000E"), nullptr);
  EXPECT_EQ(MessageTemplate(""), nullptr);
}

TEST(Message, NumbersOfEveryWidthAreWritten) {
  const std::string text = Message("")["QRSDAL0508E"] << "DAFile:SetPosition: " << std::int64_t{5000000000}
                                                      << std::int32_t{-7};
  EXPECT_NE(text.find("5000000000"), std::string::npos) << text;
  EXPECT_NE(text.find("-7"), std::string::npos) << text;
}

namespace {
// The tape call wrapper's way: build first, set text and code afterwards.
class RetaggedError : public FNXError {
 public:
  RetaggedError() : FNXError("first", 1, 12, "src", 1) {
    SetText("QRSDAL0512E second");
    SetCode(1104);
  }
};
}  // namespace

TEST(FNXError, DerivedTextAndCodeSurviveCopyAndCatchByBase) {
  try {
    const RetaggedError original;
    throw original;  // thrown by value: a copy
  } catch (const FNXError& error) {
    EXPECT_STREQ(error.what(), "QRSDAL0512E second");
    EXPECT_EQ(error.Code(), 1104);
    EXPECT_EQ(error.Class(), 12);
    const FNXError copy = error;
    FNXError assigned("", 0, 0, "", 0);
    assigned = copy;
    EXPECT_EQ(assigned.Text(), "QRSDAL0512E second");
    EXPECT_EQ(assigned.Code(), 1104);
  }
}
