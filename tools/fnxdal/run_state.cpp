#include "run_state.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <vector>

#include "commands.h"

namespace fnxdal {
namespace {

constexpr const char kHeader[] = "# fnxdal run state 1";

// One kept value: its key and how it goes to and from text.
struct Field {
  const char* key;
  std::function<std::string(const CFnx_Dal_ConfigValues&)> get;
  std::function<bool(CFnx_Dal_ConfigValues&, const std::string&)> set;
};

template <typename Number>
bool ParseNumber(const std::string& text, Number& value) {
  std::istringstream in(text);
  Number parsed{};
  if (!(in >> parsed) || !in.eof()) return false;
  value = parsed;
  return true;
}

Field Text(const char* key, std::string CFnx_Dal_ConfigValues::*member) {
  return {key, [member](const CFnx_Dal_ConfigValues& v) { return v.*member; },
          [member](CFnx_Dal_ConfigValues& v, const std::string& t) { v.*member = t; return true; }};
}

template <typename Number>
Field Numeric(const char* key, Number CFnx_Dal_ConfigValues::*member) {
  return {key, [member](const CFnx_Dal_ConfigValues& v) { return std::to_string(v.*member); },
          [member](CFnx_Dal_ConfigValues& v, const std::string& t) { return ParseNumber(t, v.*member); }};
}

Field Flag(const char* key, bool CFnx_Dal_ConfigValues::*member) {
  return {key, [member](const CFnx_Dal_ConfigValues& v) { return std::string(v.*member ? "1" : "0"); },
          [member](CFnx_Dal_ConfigValues& v, const std::string& t) {
            if (t != "0" && t != "1") return false;
            v.*member = t == "1";
            return true;
          }};
}

const std::vector<Field>& Fields() {
  using V = CFnx_Dal_ConfigValues;
  static const std::vector<Field> fields = {
      Text("device", &V::m_deviceName),       Text("das", &V::m_dasName),
      Text("name", &V::m_name),               Numeric("type", &V::m_type),
      Text("volume-name", &V::m_volumeName),  Text("volume-info", &V::m_volumeInfo),
      Numeric("end-block", &V::m_endBlock),   Flag("backup", &V::m_backupFlag),
      Flag("new-volume-1", &V::m_newVolume1), Flag("new-volume-2", &V::m_newVolume2),
      Flag("force-label", &V::m_forceLabel),  Text("status", &V::m_statusLine),
      Text("location", &V::m_location),
  };
  return fields;
}

// Values stay on one line: a line end and the backslash are escaped.
std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '\\') out += "\\\\";
    else if (c == '\n') out += "\\n";
    else if (c == '\r') out += "\\r";
    else out += c;
  }
  return out;
}

bool Unescape(const std::string& text, std::string& out) {
  out.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      out += text[i];
      continue;
    }
    if (++i == text.size()) return false;
    if (text[i] == '\\') out += '\\';
    else if (text[i] == 'n') out += '\n';
    else if (text[i] == 'r') out += '\r';
    else return false;
  }
  return true;
}

}  // namespace

CFnx_Dal_ConfigValues LoadRunState(const std::string& path) {
  CFnx_Dal_ConfigValues values;
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    if (std::filesystem::exists(path)) throw UsageError("cannot read the state file " + path);
    return values;
  }
  const auto corrupt = [&path](int line, const std::string& why) {
    return UsageError("state file " + path + " line " + std::to_string(line) + ": " + why +
                      " (not a state file of fnxdal, or damaged)");
  };
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    if (number == 1) {
      if (line != kHeader) throw corrupt(number, "unknown header");
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) throw corrupt(number, "no '='");
    const std::string key = line.substr(0, equals);
    std::string value;
    if (!Unescape(line.substr(equals + 1), value)) throw corrupt(number, "bad escape");
    bool known = false;
    for (const Field& field : Fields()) {
      if (key != field.key) continue;
      known = true;
      if (!field.set(values, value)) throw corrupt(number, "bad value for " + key);
    }
    if (!known) throw corrupt(number, "unknown key " + key);
  }
  if (number == 0) throw corrupt(1, "empty file");
  return values;
}

void SaveRunState(const std::string& path, const CFnx_Dal_ConfigValues& values) {
  std::ostringstream text;
  text << kHeader << "\n";
  for (const Field& field : Fields()) text << field.key << "=" << Escape(field.get(values)) << "\n";

  // A name of its own for the new file, so that two savers never share one.
  std::random_device random;
  const std::string fresh = path + ".new-" + std::to_string(random());
  {
    std::ofstream out(fresh, std::ios::binary | std::ios::trunc);
    out << text.str();
    out.flush();
    if (!out) {
      std::error_code ignored;
      std::filesystem::remove(fresh, ignored);
      throw UsageError("cannot write the state file " + fresh);
    }
  }
  std::error_code error;
  std::filesystem::rename(fresh, path, error);
  if (error) {
    std::error_code ignored;
    std::filesystem::remove(fresh, ignored);
    throw UsageError("cannot replace the state file " + path + ": " + error.message());
  }
}

}  // namespace fnxdal
