#pragma once
// Message: builds the text of a failure from a message id and the values
// streamed behind it. The id always stands at the start of the text; the
// wording comes from the library's own catalogue (message_catalogue.cpp).
//
//   std::string text = Message("")["QRSDAL0504E"] << "DAFileSystem:OpenForReading: " << path;
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

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

  // The catalogue's wording for the id with the streamed values put in.
  operator std::string() const;

 private:
  std::string m_base;
  std::string m_id;
  std::vector<std::string> m_values;
};

// The catalogue's wording of an id, with %1..%9 where streamed values go;
// null when the id is not in the catalogue.
const char* MessageTemplate(const std::string& id);
