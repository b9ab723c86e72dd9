#pragma once
// fnx_test_child, the second process of the multi-process tests: one program
// whose commands live beside the suites that use them. A command gets its
// arguments after the command name and returns the exit code: 0 done,
// 1 refused (a lock); a thrown exception exits 2, told on stderr. A command
// that blocks ends by itself, so a child left behind by a crashed test goes.
#include <string>
#include <vector>

using ChildArgs = std::vector<std::string>;

// tests/platform/platform_commands.cpp
//   random <count> <out>: <count> RandomNumber texts into <out>, one a line
int WriteRandomNumbers(const ChildArgs& args);

// tests/disk/disk_commands.cpp
//   write <root> <limit> <seed> <count> <list>: <count> new documents of
//       seeded content, 0 to 256 KiB, each announced in <list> once closed;
//       <list>.started is made before the first
//   delete <slot> <slots> <stop> <out> <list>...: deletes each announced
//       document whose place is <slot> modulo <slots>, recording it in <out>,
//       until <stop> exists and every announced document has been seen
//   hold-lockfile <root> <marker> [<release>]: take the root's lockfile
//   hold-document <location> <marker> [<release>]: open a document for update
//       (both make <marker>, then hold until <release> exists)
int WriteDocuments(const ChildArgs& args);
int DeleteDocuments(const ChildArgs& args);
int HoldLockfile(const ChildArgs& args);
int HoldDocument(const ChildArgs& args);

// tests/tape/tape_commands.cpp
//   tape-restore <library> <volumes> <documents>: restores every document of
//       <documents> from the virtual drive, the operator inserting the
//       cartridge of <volumes> ("volume id<TAB>cartridge" lines) asked for
int RestoreTapeDocuments(const ChildArgs& args);

// tests/vtape/vtape_commands.cpp
//   vtape-write <directory> <ack>: from the end of the data (from block 0 again
//       past block 8192), writes of 16 blocks, each word of a block its number;
//       before each a line "<end block>" in <ack>, the end that the writes
//       before vouch for; a failed write ends it (exit 2)
int WriteTapeBlocks(const ChildArgs& args);

// Blocks until `release` exists, two minutes at most.
void HoldUntil(const std::string& release);
