#pragma once
// The configuration of the media "tape": keeps the whole record, because the
// tape device reads and writes its values during a run.
#include <string>

#include "dal_configuration.h"

class FNX_API CFnx_Dal_ConfigurationTape : public CFnx_Dal_Configuration {
 public:
  CFnx_Dal_ConfigurationTape();
  CFnx_Dal_ConfigurationTape(const CFnx_Dal_ConfigurationTape& other);
  CFnx_Dal_ConfigurationTape& operator=(const CFnx_Dal_ConfigurationTape& other);

  CFnx_Dal_Configuration* Clone() const override;
  void SetValues(const CFnx_Dal_ConfigValues& values) override;
  void GetValues(CFnx_Dal_ConfigValues& values) override;
  ~CFnx_Dal_ConfigurationTape() override;
  const std::string& GetName() const override;
  std::int32_t GetMaxPageSize() const override;
  std::string Get_Location() override;

  void Init();
  void set_config_values(CFnx_Dal_ConfigValues& values);
  // Today as "%Y.%m.%d" and now as "%H.%M.%S": the stamps of tape labels.
  std::string GetCurDateFormat() const;
  std::string GetCurTimeFormat() const;

 private:
  CFnx_Dal_ConfigValues m_values;
};
