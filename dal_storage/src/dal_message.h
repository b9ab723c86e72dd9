#pragma once
// The messages of this library: one table of ids with the code and class
// they go with and their wording, and Message, which builds the text of a
// failure from an id and the values streamed behind it. The id always
// stands at the start of the text.
//
//   std::string text = Message("")["QRSDAL0504E"] << "DAFileSystem:OpenForReading: " << path;
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// One message: its id, the code and class it usually goes with, and its
// wording, with %1..%9 where the streamed values go. %1 is always the
// "Class::Operation: " context that the thrower streams first.
struct DalMessage {
  const char* id;
  std::int32_t code;
  std::int32_t errorClass;
  const char* wording;
};

inline constexpr DalMessage kDalMessages[] = {
    {"QRSDAL0005E", 51, 12, "%1not enough memory to create an object"},
    {"QRSDAL0200E", 1287, 8, "%1cannot open the file '%2' (system error %3)"},
    {"QRSDAL0501E", 1282, 12, "%1the location is empty"},
    {"QRSDAL0502E", 1282, 12, "%1the file location is malformed: bad %2 part"},
    {"QRSDAL0503E", 1283, 12, "%1the stored file has no path"},
    {"QRSDAL0504E", 1284, 8, "%1the file '%2' does not exist"},
    {"QRSDAL0505E", 1285, 8, "%1the file '%2' already exists"},
    {"QRSDAL0506E", 1286, 8, "%1the file '%2' does not exist"},
    {"QRSDAL0507E", 1287, 8, "%1the configuration '%2' does not belong to the media type '%3'"},
    {"QRSDAL0508E", 1288, 8, "%1the position %2 lies beyond the end of the document of %3 bytes"},
    {"QRSDAL0509E", 1289, 8, "%1the document would grow beyond the files of its location"},
    {"QRSDAL0510E", 1282, 8, "%1the location '%2' names no file"},
    {"QRSDAL0512E", 52, 8, "%1the operation is not supported by the media '%2'"},  // the disk media's code
    {"QRSDAL0513E", 1290, 8, "%1no backup run is open for this tape configuration"},
    {"QRSDAL0514E", 1287, 8, "%1cannot lock the file '%2'"},
    {"QRSDAL0515E", 1280, 12, "%1no configuration of the type '%2' is registered"},
    {"QRSDAL0516E", 1280, 12, "%1no media of the name '%2' is registered"},
    {"QRSDAL0540E", 1291, 8,
     "%1the tape block size %2 does not suit the tape format: it has to be at least 512 and divide 65536"},
    {"QRSDAL0541E", 1292, 8,
     "%1block %2 is no data record of the tape format: its length word %3 lies outside 5 to 65532"},
    {"QRSDAL0542E", 1293, 8,
     "%1the file would grow to %2 bytes, beyond the %3 bytes that a file on tape can hold; the bytes were not taken"},
    {"QRSDAL0543E", 1294, 8, "%1no file is open for writing on this device; %2"},
    {"QRSDAL0544E", 1295, 8,
     "%1file %4 is not where its location leads: block %2 of the volume %3 holds no start label of it"},
    {"QRSDAL0637E", 1281, 8, "%1the directory is full and the limit %2 = %3 is below 10; correct the %4"},
    {"QRSDAL0808E", 1281, 8, "%1short write of the count file (%2)"},
    {"QRSDAL0D08E", 3329, 8, "%1cannot remove '%2' (system error %3)"},
};

// The entry of id; null when id is none of this library's.
constexpr const DalMessage* DalMessageFor(std::string_view id) {
  for (const DalMessage& message : kDalMessages) {
    if (std::string_view(message.id) == id) return &message;
  }
  return nullptr;
}

// An id of the table, checked when the program is compiled: a literal that
// is not in the table does not compile.
class DalMessageId {
 public:
  consteval DalMessageId(const char* id) : m_entry(Find(id)) {}
  const DalMessage& entry() const { return *m_entry; }

 private:
  // No comparison of the entry with null: under the undefined-behaviour
  // sanitizer GCC takes that for no constant expression.
  static consteval const DalMessage* Find(std::string_view id) {
    for (const DalMessage& message : kDalMessages) {
      if (std::string_view(message.id) == id) return &message;
    }
    throw "not a message id of this library";  // stops the compilation
  }
  const DalMessage* m_entry;
};

class Message {
 public:
  explicit Message(const std::string& base) : m_base(base) {}

  Message& operator[](const char* id) {
    m_id = id ? id : "";
    return *this;
  }
  Message& operator<<(const char* text) {
    m_values.emplace_back(text ? text : "");
    return *this;
  }
  Message& operator<<(const std::string& text) {
    m_values.push_back(text);
    return *this;
  }
  template <typename Integer, typename = std::enable_if_t<std::is_integral_v<Integer>>>
  Message& operator<<(Integer value) {
    m_values.push_back(std::to_string(value));
    return *this;
  }

  // The table's wording for the id with the streamed values put in.
  operator std::string() const;

 private:
  std::string m_base;
  std::string m_id;
  std::vector<std::string> m_values;
};
