// The open options on real files: one writer at a time (a second open is
// refused at once, or gets in once the first lets go within its timeout),
// read-only opens that share the file, refuse changes with a clear status
// and leave the file's bytes alone.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "db/database.h"
#include "harness/engine.h"

namespace parvex {
namespace {

std::unique_ptr<ParvexDatabase> OpenWith(const std::string& path, bool readOnly, int32_t timeoutMs,
                                         ParvexStatus* status) {
  ParvexOpenOptions options;
  options.create = !readOnly;
  options.readOnly = readOnly;
  options.lockTimeoutMs = timeoutMs;
  return std::unique_ptr<ParvexDatabase>(ParvexOpenDatabase(string(path), options, status));
}

TEST(OpenOptionsTest, OneWriterAtATimeWhileReadersShare) {
  TempFolder folder;
  const std::string path = folder.File("locks.pvx");
  ParvexStatus status;
  auto writer = OpenWith(path, false, 0, &status);
  ASSERT_NE(writer, nullptr);
  ASSERT_EQ(Exec(*writer, "CREATE TABLE t (a Integer)"), "[00000] Success");
  writer->Commit(&status);

  // Refused at once, read-write or read-only, whatever this process holds.
  for (bool readOnly : {false, true}) {
    status = ParvexStatus();
    EXPECT_EQ(OpenWith(path, readOnly, 0, &status), nullptr);
    EXPECT_EQ(status.State(), kPXDatabaseLocked);
    EXPECT_EQ(status.Description().view(), "Error: The database is locked by another process.");
  }

  // A waiting open gets in when the writer lets go.
  std::thread closer([&writer] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ParvexStatus ignored;
    Exec(*writer, "INSERT INTO t VALUES (1)");
    writer->Commit(&ignored);
    writer.reset();
  });
  auto waiter = OpenWith(path, false, 30000, &status);
  closer.join();
  ASSERT_NE(waiter, nullptr) << status.Description().view();
  EXPECT_EQ(Rows(*waiter, "SELECT a FROM t"), std::vector<std::string>{"1"});
  waiter.reset();

  // Readers share; a writer is refused while they read.
  const std::string bytes = testing::ReadFile(path);
  auto first = OpenWith(path, true, 0, &status);
  auto second = OpenWith(path, true, 0, &status);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(first->ReadOnly());
  EXPECT_EQ(OpenWith(path, false, 0, &status), nullptr);
  EXPECT_EQ(status.State(), kPXDatabaseLocked);
  EXPECT_EQ(Rows(*second, "SELECT a FROM t"), std::vector<std::string>{"1"});

  // Changes are refused by the statement, or at the latest by the commit.
  EXPECT_EQ(Exec(*first, "INSERT INTO t VALUES (2)"), "[25006] Error: The database is open read-only.");
  EXPECT_EQ(Exec(*first, "DROP TABLE t"), "[25006] Error: The database is open read-only.");
  EXPECT_EQ(Exec(*first, "COMMIT"), "[00000] Success");
  ParvexValueList values;
  values.push_back(new ParvexValueWithID(ParvexValue::Integer(3), 1));
  first->FindTable(string("t"))->AddRow(values, true);
  first->Commit(&status);
  EXPECT_EQ(status.State(), kPXReadOnlyDatabase);
  EXPECT_EQ(status.Description().view(), "Error: The database is open read-only; nothing was committed.");
  EXPECT_FALSE(first->TransactionInProgress());
  EXPECT_EQ(Rows(*first, "SELECT a FROM t"), std::vector<std::string>{"1"});
  first.reset();
  second.reset();
  EXPECT_EQ(testing::ReadFile(path), bytes);

  // A read-only open never creates.
  EXPECT_EQ(OpenWith(folder.File("missing.pvx"), true, 0, &status), nullptr);
  EXPECT_EQ(status.Description().view(), "Error: Database file " + folder.File("missing.pvx") + " not found.");
}

}  // namespace
}  // namespace parvex
