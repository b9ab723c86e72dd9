// dal_tape_lister: the table of contents of the volume in a drive, printed
// on standard output.
#include <iostream>
#include <memory>

#include "dal_configuration_tape.h"
#include "dal_tape_dev_win32.h"
#include "dal_tape_lister.h"
#include "dal_tape_lister_contents.h"
#include "fnx_log.h"

int dal_tape_lister(std::string drive) {
  CFnx_Dal_Trace trace("dal_tape_lister");
  // One record and one configuration for the process, as the tool expects;
  // nothing in the listing reads their names.
  static CFnx_Dal_ConfigValues values;
  static CFnx_Dal_ConfigurationTape config;
  values = CFnx_Dal_ConfigValues();
  values.m_maxPageSize = 11;
  values.m_maxFilesPerDir = 12;
  values.m_backupFlag = true;
  values.m_deviceName = "\\\\.\\TAPE" + drive;
  values.m_dasName = "DAS_DAS_350";
  values.m_volumeName = "MM_VOL1";
  values.m_newVolume2 = true;
  config.set_config_values(values);
  auto device = std::make_unique<CFnx_Dal_TapeDevWin32>(config);
  dal_tape_list_contents(*device, std::cout);
  std::cout.flush();
  return 0;
}
