#include "tape_dev_fixture.h"

#include <algorithm>

#include "os_tape.h"
#include "vtape_cartridge.h"
#include "vtape_library.h"

TapeDevTest::TapeDevTest() {
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  // One operator key per test: the operator table is process-wide.
  values.m_name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
  values.m_dasName = "DAS_TEST";
  values.m_volumeName = "VOL_A";
  SetValues(values);
  UseLibrary(512, 1 << 20);
}

void TapeDevTest::UseLibrary(std::uint32_t block_size, std::uint64_t end_of_medium, int cartridges) {
  m_library = m_dir.Join("library" + std::to_string(++m_libraries));
  m_block_size = block_size;
  const std::uint64_t unit = std::max(block_size, 512u);
  FnxVtapeCreateLibrary(m_library, {.cartridges = static_cast<unsigned>(cartridges),
                                    .blockSize = block_size,
                                    .capacityBytes = (end_of_medium + 8) * unit,
                                    .warningBytes = 8 * unit});
  FnxVtapeInsert(m_library, "C001");
  CFnx_Dal_ConfigValues values = Values();
  values.m_deviceName = "vtape:" + m_library;
  values.m_volumeInfo.clear();  // no volume of the new library is known yet
  SetValues(values);
}

CFnx_Dal_ConfigValues TapeDevTest::Values() {
  CFnx_Dal_ConfigValues values;
  m_config.GetValues(values);
  return values;
}

CFnx_Dal_OperatorItemID TapeDevTest::Console() {
  const CFnx_Dal_ConfigValues values = Values();
  return CFnx_Dal_OperatorItemID(values.m_type, values.m_name, values.m_dasName);
}

void TapeDevTest::Operate(const std::vector<OperatorStep>& steps, const std::function<void()>& call) {
  std::size_t asked = 0;
  std::vector<std::string> errors;  // written by the operator's thread, read after Finish
  ScriptedOperator console(Console(), [&](const std::string& question, const std::vector<std::string>& options) {
    if (asked == steps.size()) {
      errors.push_back("unexpected: " + question);
      return std::string("Cancel");
    }
    const OperatorStep& step = steps[asked++];
    if (question != step.question || options != step.options) {
      errors.push_back("asked \"" + question + "\" where \"" + step.question + "\" was due");
    }
    if (step.action) step.action();
    return step.answer;
  });
  call();
  console.Finish();
  EXPECT_EQ(errors, std::vector<std::string>{});
  EXPECT_EQ(asked, steps.size());
}

bool TapeDevTest::Aborts(const std::function<void()>& call) {
  try {
    call();
  } catch (const tape_user_abort& abort) {
    EXPECT_EQ(abort.SourceFile(), kTapeDevSource);
    return true;
  }
  return false;
}

void TapeDevTest::StartRunOnNewVolume() {
  CFnx_Dal_ConfigValues values = Values();
  values.m_forceLabel = true;
  SetValues(values);
  Device()->BackupStart();
  m_config.GetValues(values);
  values.m_forceLabel = false;
  SetValues(values);
}

std::string TapeDevTest::WriteFile(const std::string& content, std::size_t chunk) {
  for (;;) {
    const std::unique_ptr<CFnx_Dal_TapeDev> device = Device();
    device->FileWriteStart();
    bool given_up = false;
    for (std::size_t done = 0; done < content.size() && !given_up;) {
      const auto piece = static_cast<std::uint32_t>(std::min(chunk, content.size() - done));
      std::string bytes = content.substr(done, piece);
      std::uint32_t written = 0;
      if (!device->FileWrite(bytes.data(), piece, written)) return "FileWrite refused";
      given_up = written != piece;
      done += written;
    }
    CFnx_Dal_Tape_Location location;
    device->FileWriteEnd(location);
    std::string text;
    location.put_to_string(text);
    if (!given_up) return text;
  }
}

std::string TapeDevTest::RestoreFile(const std::string& location_text, std::size_t chunk) {
  CFnx_Dal_Tape_Location location;
  location.get_from_string(location_text);
  const std::unique_ptr<CFnx_Dal_TapeDev> device = Device();
  device->ReadStart(location);
  std::string restored;
  std::string piece(chunk, '\0');
  for (std::uint32_t read = static_cast<std::uint32_t>(chunk); read == chunk;) {
    device->ReadRead(piece.data(), static_cast<std::uint32_t>(chunk), read);
    restored.append(piece.data(), read);
  }
  device->ReadEnd();
  return restored;
}

void TapeDevTest::Fail(const std::string& call, std::uint32_t error, std::uint64_t at, bool always) {
  FnxVtapeScriptFault(m_library, {.call = call, .at = at, .error = error, .always = always});
}

std::vector<std::string> TapeDevTest::Blocks(const std::string& cartridge) {
  vtape_cartridge image;
  image.open(vtape_library(m_library).image_path(cartridge), cartridge, m_block_size, /*for_writing=*/false);
  std::vector<std::string> blocks(image.end_of_data(), std::string(m_block_size, '\0'));
  for (std::size_t n = 0; n < blocks.size(); ++n) EXPECT_EQ(image.read(n, 1, blocks[n].data()), 0u);
  return blocks;
}

// Block n replaced; the blocks behind it stay.
void TapeDevTest::PutBlock(const std::string& cartridge, std::uint64_t n, const std::string& bytes) {
  std::vector<std::string> blocks = Blocks(cartridge);
  blocks.resize(std::max<std::size_t>(blocks.size(), n + 1));
  blocks[n] = bytes;
  blocks[n].resize(m_block_size, ' ');
  vtape_cartridge image;
  image.open(vtape_library(m_library).image_path(cartridge), cartridge, m_block_size, /*for_writing=*/true);
  for (std::uint64_t i = n; i < blocks.size(); ++i) ASSERT_EQ(image.write(i, 1, blocks[i].data()), 0u);
}

void TapeDevTest::LabelOther(const std::string& cartridge) {
  tape_volume_label label;
  label.set("OLD_VOL", "DAS_OTHER", "2020.01.02", "03.04.05");
  PutBlock(cartridge, 0, std::string(label.bytes(), kTapeLabelSize));
}

void TapeDevTest::FillForeign(const std::string& cartridge) {
  for (char fill : {'a', 'b', 'c'})
    PutBlock(cartridge, static_cast<std::uint64_t>(fill - 'a'), std::string(m_block_size, fill));
}

std::string Cartridge(int n) {
  const std::string number = std::to_string(n);
  return "C" + std::string(3 - number.size(), '0') + number;
}

std::string DriveFailure(const std::string& call, std::uint32_t error) {
  const std::string system = os_tape_error_text(error);
  return call + ":Err(" + std::to_string(error) + ")" + (system.empty() ? "" : " " + system);
}
