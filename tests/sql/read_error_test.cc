// A read the disk refuses (EIO) fails the statement that needed it with a
// status naming the table, and nothing is written over it; once the disk
// reads again, a reopened database answers in full.
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>

#include "db/database.h"
#include "platform/fault_injection.h"
#include "platform/memory_file_system.h"
#include "harness/engine.h"

namespace parvex {
namespace {

constexpr char kPath[] = "/db/reads.pvx";

std::unique_ptr<ParvexDatabase> OpenOn(ParvexFileSystem* fileSystem, ParvexStatus* status) {
  ParvexOpenOptions options;
  options.create = true;
  options.fileSystem = fileSystem;
  options.cachePages = 8;  // the table does not fit: reading it reads the file
  return std::unique_ptr<ParvexDatabase>(ParvexOpenDatabase(string(kPath), options, status));
}

TEST(ReadErrorTest, AnEIOFailsTheStatementThatReadsAndTheDiskRecovering) {
  MemoryFileSystem memory;
  FaultInjectingFileSystem disk(&memory);
  ParvexStatus status;
  {
    auto db = OpenOn(&disk, &status);
    ASSERT_NE(db, nullptr) << status.Description().view();
    ASSERT_EQ(Exec(*db, "CREATE TABLE t (s String)"), "[00000] Success");
    for (int i = 0; i < 400; ++i) Exec(*db, "INSERT INTO t VALUES ('" + std::string(200, 'a' + i % 26) + "')");
    ASSERT_EQ(Exec(*db, "COMMIT"), "[00000] Success");
  }
  auto db = OpenOn(&disk, &status);
  ASSERT_NE(db, nullptr) << status.Description().view();
  disk.FailAt(FaultInjectingFileSystem::kRead, 1, EIO, true);
  EXPECT_EQ(Rows(*db, "SELECT COUNT(*) FROM t WHERE s = 'x'", &status), std::vector<std::string>{"(null)"});
  EXPECT_EQ(status.State(), kPXIOError);
  const std::string message(status.Description().view());
  EXPECT_EQ(message.rfind("Error: Cannot read table t: t.dat can't be read at offset ", 0), 0u) << message;
  EXPECT_NE(message.find(": Input/output error."), std::string::npos) << message;
  // Nothing is added to a table that can't be read.
  EXPECT_EQ(Exec(*db, "INSERT INTO t VALUES ('late')"), "[58030] " + message);

  disk.ClearFaults();
  db.reset();
  db = OpenOn(&disk, &status);
  ASSERT_NE(db, nullptr) << status.Description().view();
  EXPECT_EQ(Rows(*db, "SELECT COUNT(*) FROM t WHERE s > ''"), std::vector<std::string>{"400"});
}

}  // namespace
}  // namespace parvex
