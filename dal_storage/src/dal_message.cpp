#include "dal_message.h"

// Puts the streamed values into the table's wording: %1..%9 name them in
// order; values that the wording does not use are appended, so that nothing
// the thrower streamed is ever lost. An id outside the table lists its
// values alone.
Message::operator std::string() const {
  std::string text = m_base;
  if (!m_id.empty()) {
    if (!text.empty()) text += ' ';
    text += m_id;
  }
  std::vector<bool> used(m_values.size(), false);
  std::string body;
  if (const DalMessage* message = DalMessageFor(m_id)) {
    for (const char* p = message->wording; *p; ++p) {
      if (p[0] == '%' && p[1] >= '1' && p[1] <= '9') {
        const std::size_t index = static_cast<std::size_t>(p[1] - '1');
        if (index < m_values.size()) {
          body += m_values[index];
          used[index] = true;
        }
        ++p;
      } else {
        body += *p;
      }
    }
  }
  for (std::size_t i = 0; i < m_values.size(); ++i) {
    if (used[i]) continue;
    if (!body.empty() && body.back() != ' ') body += ' ';
    body += m_values[i];
  }
  if (!body.empty()) {
    if (!text.empty()) text += ' ';
    text += body;
  }
  return text;
}
