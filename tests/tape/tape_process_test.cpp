// The tape logic on the tape device over the virtual drive, in real
// processes that share one library directory: a backup run in one, the
// restore of every file in the next, each a host of the exported interface.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "child_process.h"
#include "fnx_vtape.h"
#include "temp_dir.h"

TEST(TapeProcesses, BackupInOneProcessRestoreInTheNext) {
  constexpr int kFiles = 12;
  for (const std::uint32_t block_size : {512u, 65536u}) {
    TempDir dir;
    const std::string library = dir.Join("library");
    FnxVtapeLibrarySpec spec;
    spec.blockSize = block_size;
    spec.capacityBytes = 64ull * 1024 * 1024;
    FnxVtapeCreateLibrary(library, spec);
    FnxVtapeInsert(library, "C001");
    const std::string device = "vtape:" + library;
    const std::string locations = dir.Join("locations");

    ChildProcess backup("dal_tape_worker", {"backup", device, std::to_string(kFiles), "41", locations});
    ASSERT_EQ(backup.Wait(), 0) << "backup, block size " << block_size;
    ChildProcess restore("dal_tape_worker", {"restore", device, "41", locations});
    EXPECT_EQ(restore.Wait(), 0) << "restore, block size " << block_size;
    const FnxVtapeStatus status = FnxVtapeGetStatus(library);
    EXPECT_GT(status.cartridges.at(0).usedBlocks, kFiles * 2u) << "labels and data on the cartridge";
  }
}
