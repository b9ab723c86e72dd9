// Random calls of the seam and of the library's management on the virtual
// drive, against a model: each cartridge a byte array, the drive a few fields.
#include <algorithm>
#include <random>

#include "vtape_fixture.h"

namespace {

struct Model {
  std::string tape[2];  // the blocks of C001 and C002, back to back
  bool protect[2] = {}, loaded = true, owed = true, warned = false;
  int in = 0;  // the cartridge in the drive, -1 none
  std::uint64_t position = 0, zone = 16;  // the physical end lies 8 blocks behind the zone
  std::vector<FnxVtapeFault> faults;  // their counts of calls to come

  std::uint64_t Blocks() const { return tape[in].size() / 512; }
  // The number of the scripted fault that a call of this kind meets, or 0.
  std::uint32_t Fault(const std::string& call) {
    auto firing = faults.end();
    for (auto it = faults.begin(); it != faults.end(); ++it) {
      if (it->call != call) continue;
      if (it->at > 1) --it->at;
      else if (firing == faults.end()) firing = it;
    }
    const std::uint32_t error = firing == faults.end() ? 0 : firing->error;
    if (error && !firing->always) faults.erase(firing);
    return error;
  }
  // What a call starts with: a scripted fault's number, 1112, the owed 1110 or 0.
  std::uint32_t Start(const std::string& call, bool consume = true) {
    const std::uint32_t error = Fault(call);
    if (error || in < 0 || !loaded) return error ? error : OS_TAPE_NO_MEDIA_IN_DRIVE;
    const bool pay = consume && owed;
    owed = owed && !pay;
    return pay ? OS_TAPE_MEDIA_CHANGED : 0;
  }
};

TEST_F(VtapeTest, RandomCallsMatchAModelOfTheDriveAndItsCartridges) {
  MakeLibrary(24);
  const std::string dir = m_dir.path();
  const char* const names[] = {"C001", "C002"};
  Model model;
  os_tape_handle tape = Open();
  std::mt19937 random(20261123);
  const auto pick = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
  for (int step = 0; step < 1500; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    const std::uint32_t what = pick(17), c = pick(2), count = 1 + pick(6), target = pick(30);
    std::string data(pick(8) ? count * 512 : 700, '\0'), wanted;
    std::uint32_t expected = what < 11 ? model.Start(what < 5 ? "write" : what < 8 ? "read" : "set_position") : 0;
    if (what < 5) {  // a write, now and then not of whole blocks
      for (char& byte : data) byte = static_cast<char>(random());
      const bool beyond = model.position + count > model.zone;
      if (!expected && model.protect[model.in]) expected = OS_TAPE_WRITE_PROTECT;
      if (!expected && data.size() % 512) expected = OS_TAPE_INVALID_PARAMETER;
      if (!expected && beyond && !model.warned) expected = OS_TAPE_END_OF_MEDIA;
      if (!expected && model.position + count > model.zone + 8) expected = OS_TAPE_EOM_OVERFLOW;
      if (!expected || expected == OS_TAPE_END_OF_MEDIA) model.warned = beyond;
      if (!expected) model.tape[model.in] = model.tape[model.in].substr(0, model.position * 512) + data;
      if (!expected) model.position += count;
      ASSERT_EQ(Transfer(tape, true, data), expected);
    } else if (what < 8) {  // a read, now and then not of whole blocks
      if (!expected && data.size() % 512) expected = OS_TAPE_INVALID_PARAMETER;
      if (!expected && model.position >= model.Blocks()) expected = OS_TAPE_NO_DATA_DETECTED;
      if (!expected) wanted = model.tape[model.in].substr(model.position * 512, data.size());
      model.position += wanted.size() / 512;
      ASSERT_EQ(Transfer(tape, false, data), expected);
      ASSERT_EQ(data, wanted);
    } else if (what < 11) {  // a rewind, to a block (absolute or logical), to the end of the data
      const std::uint32_t methods[] = {OS_TAPE_REWIND, 1, OS_TAPE_LOGICAL_BLOCK, OS_TAPE_SPACE_END_OF_DATA};
      const std::uint32_t method = methods[c + 2 * pick(2)];
      const bool to_block = method == 1 || method == OS_TAPE_LOGICAL_BLOCK;
      const std::uint32_t partition = count % 3;  // 0 (the current one) and 1 name the one partition
      if (!expected && to_block && partition > 1) expected = OS_TAPE_INVALID_PARAMETER;
      if (!expected) model.position = method == OS_TAPE_REWIND ? 0 : std::min<std::uint64_t>(target, model.Blocks());
      if (!expected && method == OS_TAPE_SPACE_END_OF_DATA) model.position = model.Blocks();
      if (!expected && to_block && target >= model.Blocks()) expected = OS_TAPE_NO_DATA_DETECTED;
      ASSERT_EQ(os_tape_set_position(tape, method, partition, target, 0, false), expected);
    } else if (what == 11) {
      ASSERT_EQ(os_tape_get_status(tape), model.Start("get_status"));
    } else if (what == 12) {  // a close, and opens until no scripted fault refuses one
      os_tape_close(tape);
      const auto for_good = [](const FnxVtapeFault& f) { return f.call == "open" && f.always && f.at == 1; };
      while (const std::uint32_t refused = model.Fault("open")) {
        ASSERT_EQ(os_tape_open("vtape:" + dir), os_tape_invalid_handle);
        ASSERT_EQ(os_tape_last_error(), refused);
        if (std::any_of(model.faults.begin(), model.faults.end(), for_good)) {
          FnxVtapeClearFaults(dir);
          model.faults.clear();
          model.zone = 16;
        }
      }
      tape = Open();
      model.warned = false;
    } else if (what == 13) {  // a cartridge in; or out: ejected, or taken out by a fault
      const bool insert = pick(8) != 0;
      if (insert) FnxVtapeInsert(dir, names[c]);
      else if (c) FnxVtapeEject(dir);
      else FnxVtapeScriptFault(dir, {.kind = FnxVtapeFaultKind::RemoveCartridge, .call = ""});
      model.in = insert ? static_cast<int>(c) : -1;
      model.loaded = model.owed = true;
      model.warned = false;
      model.position = 0;
    } else if (what == 14) {  // a cartridge's switch; the one in the drive's through a fault
      model.protect[c] = pick(4) == 0;
      const auto kind = model.protect[c] ? FnxVtapeFaultKind::WriteProtect : FnxVtapeFaultKind::WriteEnable;
      if (static_cast<int>(c) == model.in) FnxVtapeScriptFault(dir, {.kind = kind, .call = ""});
      else FnxVtapeProtect(dir, names[c], model.protect[c]);
    } else if (what == 15) {  // a load, or an unload
      const bool load = target % 8 != 0;
      expected = model.in < 0 ? OS_TAPE_NO_MEDIA_IN_DRIVE : 0;
      if (!expected) {
        model.owed = load && (model.owed || !model.loaded);
        model.loaded = load;
        model.warned = false;
        model.position = 0;
      }
      ASSERT_EQ(os_tape_prepare(tape, load ? OS_TAPE_LOAD : OS_TAPE_UNLOAD, false), expected);
    } else if (pick(4) == 0) {
      FnxVtapeClearFaults(dir);
      model.faults.clear();
      model.zone = 16;
    } else {  // a scripted fault: a call fails, the early warning comes sooner, or a media change
      const char* const calls[] = {"read", "write", "get_status", "set_position", "open"};
      FnxVtapeFault fault{FnxVtapeFaultKind::FailCall, target, calls[pick(5)], count % 3 + 1, 23 + c, pick(6) == 0};
      if (target % 4 < 2) fault.kind = FnxVtapeFaultKind::EndOfMedium;
      if (target % 4 == 1 && model.in >= 0) fault.kind = FnxVtapeFaultKind::MediaChange;
      FnxVtapeScriptFault(dir, fault);
      if (fault.kind == FnxVtapeFaultKind::FailCall) model.faults.push_back(fault);
      if (fault.kind == FnxVtapeFaultKind::MediaChange) model.owed = true;
      if (fault.kind == FnxVtapeFaultKind::EndOfMedium) model.zone = std::min<std::uint64_t>(model.zone, target);
    }
    // The position and the media record answer without taking a 1110.
    TAPE_GET_MEDIA_PARAMETERS media{};
    std::uint32_t size = sizeof media;
    expected = model.Start("", false);
    ASSERT_EQ(os_tape_get_parameters(tape, OS_TAPE_GET_MEDIA_INFORMATION, &size, &media), expected);
    ASSERT_EQ(Position(tape), expected ? expected : model.position);
    ASSERT_TRUE(expected || (media.WriteProtected != 0) == model.protect[model.in]);
    ASSERT_TRUE(expected || media.Remaining.QuadPart == static_cast<std::int64_t>((24 - model.position) * 512));
  }
  os_tape_close(tape);
  const FnxVtapeStatus status = FnxVtapeGetStatus(dir);
  EXPECT_EQ(status.inDrive, model.in < 0 ? "" : names[model.in]);
  EXPECT_EQ(status.position, model.in < 0 ? 0 : model.position) << "the position the drive kept at its close";
  for (int c = 0; c < 2; ++c) EXPECT_EQ(status.cartridges.at(c).usedBlocks, model.tape[c].size() / 512);
}

}  // namespace
